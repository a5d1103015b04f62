// Settings: values by name in the system's store, one domain for all sections, and the machine's marks.
//
// Each write is flushed at once. A null name or text is refused quietly: the system would take a null text for an
// order to forget the value.
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

// Stores the value, and releases it.
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
    // A 64-bit host's store knows numbers that no int is; to the 32-bit target's they are none.
    const int number = static_cast<int>(value);
    return valid && number == value ? number : defaultValue;
}

static const CFIndex sc_stringRoom = 1024; // bytes that every caller's buffer has, with the NUL

// The value under that name; null without one. The caller's to release.
static CFStringRef copyValue(CFStringRef name)
{
    const CFPropertyListRef value = CFPreferencesCopyAppValue(name, kCFPreferencesCurrentApplication);
    if (!value || CFStringGetLength(static_cast<CFStringRef>(value)) < sc_stringRoom) {
        return static_cast<CFStringRef>(value);
    }
    // A text as long as this is the game's own, or another user has left it for the machine: a game has room for its own.
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
        memmove(out, text, strlen(text) + 1); // the default may be what out holds already
    }
    return out;
}

// Whether the machine carries the mark.
static bool hasMark(CFStringRef key)
{
    const CFPropertyListRef mark =
        CFPreferencesCopyValue(key, kCFPreferencesAnyApplication, kCFPreferencesAnyUser, kCFPreferencesCurrentHost);
    release(mark);
    return mark != nullptr;
}

static void makeMark(CFStringRef key)
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
    bool marked = hasMark(key);
    if (!marked) {
        makeMark(key);
        created = true; // also when that did not take; then the result says so
        marked = hasMark(key);
    }
    CFRelease(key);
    return marked;
}
