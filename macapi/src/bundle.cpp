// The main bundle: where it is, and what its Info.plist says.
#include "macapi/src/executable.h"
#include "macapi/src/plist.h"
#include "macapi/src/url.h"
#include "macapi/src/values.h"

#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

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

static const off_t sc_mostBytes = 16 << 20; // more than any Info.plist needs

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

// Empty, which is no property list, when it cannot be read.
static std::string contentsOf(const std::string& path)
{
    std::string contents;
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); // a pipe of that name must not hold us up
    if (file < 0) {
        return contents;
    }
    struct stat status;
    if (fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_size <= sc_mostBytes) {
        contents.resize(status.st_size);
        size_t length = 0;
        ssize_t got = 1;
        while (length < contents.size() && got > 0) {
            got = read(file, &contents[length], contents.size() - length);
            length += got > 0 ? got : 0;
        }
        contents.resize(length);
    }
    close(file);
    return contents;
}

// Read until it could be, and kept from then on: what was lent stays good.
static const __CFDictionary* infoDictionary(const __CFBundle& bundle)
{
    static std::mutex s_mutex;
    static const __CFDictionary* s_dictionary;

    const std::lock_guard<std::mutex> lock(s_mutex);
    if (!s_dictionary) {
        Ref<Object> plist = readPlist(contentsOf(bundle.info));
        if (as<__CFDictionary>(plist.get())) {
            // core is known to release the version, which it was only lent. An immortal one bears that.
            s_dictionary = as<__CFDictionary>(immortal(std::move(plist)));
        }
    }
    return s_dictionary;
}

CFBundleRef CFBundleGetMainBundle()
{
    return const_cast<CFBundleRef>(mainBundle());
}

static const Constant<__CFString> s_versionKey("CFBundleVersion");
const CFStringRef kCFBundleVersionKey = &s_versionKey.object;

CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef reference)
{
    const __CFBundle* bundle = as<__CFBundle>(reference);
    return bundle ? infoDictionary(*bundle) : nullptr;
}

CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef reference, CFStringRef key)
{
    const __CFBundle* bundle = as<__CFBundle>(reference);
    const __CFDictionary* dictionary = bundle ? infoDictionary(*bundle) : nullptr;
    const __CFString* name = as<__CFString>(key);
    return dictionary && name ? dictionary->find(name->text) : nullptr;
}

CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef reference)
{
    const __CFBundle* bundle = as<__CFBundle>(reference);
    return bundle ? makeFileURL(bundle->resources, true).release() : nullptr;
}
