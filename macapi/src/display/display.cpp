// The exported calls for the main display and the user's session.
#include <ApplicationServices/ApplicationServices.h>

#include "macapi/src/display/windowserver.h"
#include "macapi/src/objects/values.h"

#include <exception>
#include <mutex>
#include <unistd.h>
#include <vector>

using namespace macapi;

// Above GNUstep's own levels; the highest of them is that of the screen saver, 1000. For some of its own levels
// GNUstep tells the window manager a window type (dock, menu, dialog), and window managers place and decorate such
// windows in their own way. A window of level 2000 is an ordinary window above all windows of lower levels. A program
// may use higher levels.
static const CGWindowLevel sc_shieldingLevel = 2000;

static const Constant<__CFString> s_width("Width");
static const Constant<__CFString> s_height("Height");
static const Constant<__CFString> s_bitsPerPixel("BitsPerPixel");
static const Constant<__CFString> s_refreshRate("RefreshRate");
static const Constant<__CFString> s_userID("kCGSSessionUserIDKey");

const CFStringRef kCGDisplayWidth = &s_width.object;
const CFStringRef kCGDisplayHeight = &s_height.object;
const CFStringRef kCGDisplayBitsPerPixel = &s_bitsPerPixel.object;
const CFStringRef kCGDisplayRefreshRate = &s_refreshRate.object;
const CFStringRef kCGSessionUserIDKey = &s_userID.object;

static Ref<__CFDictionary> dictionaryOf(const DisplayMode& mode)
{
    __CFDictionary::Entries entries;
    entries[s_width.object.text] = makeInteger(mode.width);
    entries[s_height.object.text] = makeInteger(mode.height);
    entries[s_bitsPerPixel.object.text] = makeInteger(mode.bitsPerPixel);
    entries[s_refreshRate.object.text] = make<__CFNumber>(mode.refreshRate);
    return make<__CFDictionary>(std::move(entries));
}

// Returns a dictionary that lives until the process ends, because callers never release it. There is one dictionary
// for each mode that was asked for, so repeated calls take no more memory.
static CFDictionaryRef lendMode(const DisplayMode& mode)
{
    struct KnownMode {
        DisplayMode mode;
        const __CFDictionary* dictionary;
    };
    static std::mutex s_mutex;
    static auto& s_known = *new std::vector<KnownMode>;

    const std::lock_guard<std::mutex> lock(s_mutex);
    for (const KnownMode& known : s_known) {
        if (known.mode == mode) {
            return known.dictionary;
        }
    }
    s_known.reserve(s_known.size() + 1); // so that the dictionary is not lost if there is no memory for its entry
    s_known.push_back({mode, immortal(dictionaryOf(mode))});
    return s_known.back().dictionary;
}

CGDirectDisplayID CGMainDisplayID()
{
    return hasWindowServer() ? sc_mainDisplay : kCGNullDirectDisplay;
}

static bool modeOf(CGDirectDisplayID display, DisplayMode* mode)
{
    return display == sc_mainDisplay && mainDisplayMode(mode);
}

CFDictionaryRef CGDisplayCurrentMode(CGDirectDisplayID display)
try {
    DisplayMode mode;
    return modeOf(display, &mode) ? lendMode(mode) : nullptr;
} catch (const std::exception&) {
    return nullptr;
}

size_t CGDisplayPixelsWide(CGDirectDisplayID display)
{
    DisplayMode mode;
    return modeOf(display, &mode) ? mode.width : 0;
}

size_t CGDisplayPixelsHigh(CGDirectDisplayID display)
{
    DisplayMode mode;
    return modeOf(display, &mode) ? mode.height : 0;
}

size_t CGDisplayBitsPerPixel(CGDirectDisplayID display)
{
    DisplayMode mode;
    return modeOf(display, &mode) ? mode.bitsPerPixel : 0;
}

CGWindowLevel CGShieldingWindowLevel()
{
    return sc_shieldingLevel;
}

CFDictionaryRef CGSessionCopyCurrentDictionary()
try {
    if (!hasWindowServer()) {
        return nullptr;
    }
    __CFDictionary::Entries entries;
    entries[s_userID.object.text] = makeInteger(getuid());
    return make<__CFDictionary>(std::move(entries)).release();
} catch (const std::exception&) {
    return nullptr;
}
