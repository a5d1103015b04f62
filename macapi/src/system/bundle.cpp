// The main bundle: its place, and the values of its Info.plist.
#include "macapi/src/system/bundle.h"

#include "macapi/src/objects/plist.h"
#include "macapi/src/objects/url.h"
#include "macapi/src/objects/values.h"
#include "macapi/src/system/disk.h"
#include "macapi/src/system/executable.h"

#include <errno.h>
#include <exception>
#include <mutex>
#include <string>
#include <vector>

using namespace macapi;

struct __CFBundle final : Object {
    static const Kind sc_kind = Kind::Bundle;

    __CFBundle(std::string infoFile, std::string resourcesFolder)
        : Object(sc_kind), info(std::move(infoFile)), resources(std::move(resourcesFolder))
    {
    }

    const std::string info; // paths
    const std::string resources;
};

static std::string parentOf(const std::string& path)
{
    return path.substr(0, path.rfind('/'));
}

static bool endsWith(const std::string& text, const std::string& end)
{
    return text.size() > end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

static Ref<__CFBundle> bundleOf(const std::string& executable)
{
    const std::string folder = parentOf(executable);
    const std::string contents = parentOf(folder);
    if (endsWith(folder, ".app/Contents/MacOS")) {
        return make<__CFBundle>(contents + "/Info.plist", contents + "/Resources");
    }
    return make<__CFBundle>(folder + "/Info.plist", folder + "/");
}

static const __CFBundle* mainBundle()
{
    static std::mutex s_mutex;
    static const __CFBundle* s_bundle;

    const std::lock_guard<std::mutex> lock(s_mutex);
    if (!s_bundle) {
        const std::string executable = executablePath();
        s_bundle = executable.empty() ? nullptr : immortal(bundleOf(executable));
    }
    return s_bundle;
}

// Returns the dictionary in Info.plist. If the file is missing or does not parse now, returns the dictionary that was
// read last; null if there is none. Every dictionary that was ever returned lives until the process ends, because
// callers may still use it. *error, if error is not null, becomes 0 or the errno value with which the file cannot be read.
static const __CFDictionary* infoDictionary(const __CFBundle& bundle, int* error = nullptr)
{
    static std::mutex s_mutex;
    static std::string s_text;
    static auto& s_lent = *new std::vector<const __CFDictionary*>;

    const std::lock_guard<std::mutex> lock(s_mutex);
    std::string text; // empty if the file cannot be read; an empty text does not parse
    int status = readFile(bundle.info, &text);
    if (text != s_text) {
        bool isTooMuch = false;
        Ref<Object> plist = readPlist(text, &isTooMuch);
        if (as<__CFDictionary>(plist.get())) {
            s_lent.reserve(s_lent.size() + 1); // throws before the object lives until the process ends
            // core releases the version, although it only borrows it. The release does nothing to an immortal object.
            s_lent.push_back(as<__CFDictionary>(immortal(std::move(plist))));
            s_text = std::move(text);
        } else if (isTooMuch) {
            status = ENOMEM;
        }
    }
    if (error) {
        *error = status;
    }
    return s_lent.empty() ? nullptr : s_lent.back();
}

// Whether a file that cannot be read with this errno value may be readable a moment later.
static bool isShortTrouble(int error)
{
    return error == EIO || error == ENOMEM || error == EMFILE || error == ENFILE || error == EAGAIN || error == EINTR;
}

namespace macapi {

std::optional<std::string> bundleIdentifier()
{
    const __CFBundle* bundle = mainBundle();
    int error = 0;
    const __CFDictionary* dictionary = bundle ? infoDictionary(*bundle, &error) : nullptr;
    if (!bundle || (!dictionary && isShortTrouble(error))) {
        return std::nullopt;
    }
    const __CFString* identifier = dictionary ? as<__CFString>(dictionary->find("CFBundleIdentifier")) : nullptr;
    return identifier ? identifier->text : "";
}

} // namespace macapi

CFBundleRef CFBundleGetMainBundle()
try {
    return const_cast<CFBundleRef>(mainBundle());
} catch (const std::exception&) {
    return nullptr;
}

static const Constant<__CFString> s_versionKey("CFBundleVersion");
const CFStringRef kCFBundleVersionKey = &s_versionKey.object;

CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef reference)
try {
    const __CFBundle* bundle = as<__CFBundle>(reference);
    return bundle ? infoDictionary(*bundle) : nullptr;
} catch (const std::exception&) {
    return nullptr;
}

CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef reference, CFStringRef key)
try {
    const __CFBundle* bundle = as<__CFBundle>(reference);
    const __CFDictionary* dictionary = bundle ? infoDictionary(*bundle) : nullptr;
    const __CFString* name = as<__CFString>(key);
    return dictionary && name ? dictionary->find(name->text) : nullptr;
} catch (const std::exception&) {
    return nullptr;
}

CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef reference)
try {
    const __CFBundle* bundle = as<__CFBundle>(reference);
    return bundle ? makeFileURL(bundle->resources, true).release() : nullptr;
} catch (const std::exception&) {
    return nullptr;
}
