// The Reg calls: values in the store, and markers.
//
// 1. The store's key is the caller's key alone. The section is ignored, deliberately: docs/architecture.md, "File
//    formats".
// 2. Each write synchronises the store at once. docs/architecture.md, "Orders of calls", freezes the two calls of a
//    write.
// 3. A null key or text stores nothing and reports nothing. The system would remove the value for a null text.
#include "core/platform.h"

#include <CoreFoundation/CoreFoundation.h>

#include <stdio.h>
#include <string.h>

static CFStringRef createString(const char* text)
{
    return text ? CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingMacRoman) : nullptr;
}

static void release(CFTypeRef object)
{
    if (object) {
        CFRelease(object);
    }
}

// Stores the value in the store and on the disk, and releases it. Stores nothing when key or value is null.
static void store(const char* key, CFPropertyListRef value)
{
    const CFStringRef name = createString(key);
    if (name && value) {
        CFPreferencesSetAppValue(name, value, kCFPreferencesCurrentApplication);
        CFPreferencesSynchronize(kCFPreferencesCurrentApplication, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
    }
    release(value);
    release(name);
}

bool Platform::RegInit(const char*, bool& created)
{
    created = false;
    return true;
}

bool Platform::RegSetInt32(const char*, const char* key, int value)
{
    store(key, CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &value));
    return true;
}

bool Platform::RegSetString(const char*, const char* key, char* value)
{
    store(key, createString(value));
    return true;
}

int Platform::RegGetInt32(const char*, const char* key, int defaultValue)
{
    const CFStringRef name = createString(key);
    if (!name) {
        return defaultValue;
    }
    Boolean valid = false;
    const CFIndex value = CFPreferencesGetAppIntegerValue(name, kCFPreferencesCurrentApplication, &valid);
    CFRelease(name);
    // On 64-bit builds the store can return a number that is out of the range of int. On 32-bit builds the store
    // itself reports such a number as invalid. This check gives the same answer on both.
    const int number = static_cast<int>(value);
    return valid && number == value ? number : defaultValue;
}

static const CFIndex sc_stringRoom = 1024; // bytes, with the NUL: each caller's buffer has this room

// Returns the value of that key, which the caller releases; null if there is none.
static CFStringRef copyValue(CFStringRef name)
{
    const CFPropertyListRef value = CFPreferencesCopyAppValue(name, kCFPreferencesCurrentApplication);
    if (!value || CFStringGetLength(static_cast<CFStringRef>(value)) < sc_stringRoom) {
        return static_cast<CFStringRef>(value);
    }
    // The text is longer than sc_stringRoom. The game gives a buffer with room for a longer text only if it has
    // stored that text itself, for this user. So read the value of this user alone: not those that all users share.
    CFRelease(value);
    return static_cast<CFStringRef>(CFPreferencesCopyValue(name, kCFPreferencesCurrentApplication,
                                                           kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
}

char* Platform::RegGetString(const char*, const char* key, char* defaultValue, char* out)
{
    const CFStringRef name = createString(key);
    const CFStringRef value = name ? copyValue(name) : nullptr;
    release(name);
    const bool converted =
        value && out && CFStringGetCString(value, out, CFStringGetLength(value) + 1, kCFStringEncodingMacRoman);
    release(value);
    if (!converted && out) {
        const char* text = defaultValue ? defaultValue : "";
        memmove(out, text, strlen(text) + 1); // memmove: the default may lie in out
    }
    return out;
}

// Returns true if the marker exists.
static bool hasMarker(CFStringRef key)
{
    const CFPropertyListRef marker =
        CFPreferencesCopyValue(key, kCFPreferencesAnyApplication, kCFPreferencesAnyUser, kCFPreferencesCurrentHost);
    release(marker);
    return marker != nullptr;
}

static void makeMarker(CFStringRef key)
{
    const CFStringRef empty = createString("");
    if (empty) {
        CFPreferencesSetValue(key, empty, kCFPreferencesAnyApplication, kCFPreferencesAnyUser,
                              kCFPreferencesCurrentHost);
        CFPreferencesSynchronize(kCFPreferencesAnyApplication, kCFPreferencesAnyUser, kCFPreferencesCurrentHost);
    }
    release(empty);
}

bool Platform::RegInitSecureKey(const char* name, bool& created)
{
    created = false;
    char text[1024];
    snprintf(text, sizeof(text), "Ostrel Works/%s", name ? name : "");
    const CFStringRef key = name ? createString(text) : nullptr;
    if (!key) {
        return false;
    }
    bool exists = hasMarker(key);
    if (!exists) {
        makeMarker(key);
        created = true; // deliberate: also if the marker could not be made; the function then returns false
        exists = hasMarker(key);
    }
    CFRelease(key);
    return exists;
}
