// Takes the place of the system's strings, numbers and preferences. A program that includes this writes down what the
// library asks of them, in order:
//
//     EXPECT_EQ(takeLog(), "string a/b = #1, copy #1 of this application = null, release #1");
//
// Objects are numbered as they are made. Strings are made and read as Mac Roman, or the test fails.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

#include <deque>
#include <string.h>
#include <string>
#include <utility>

static std::string s_log;

static void note(const std::string& what)
{
    s_log += (s_log.empty() ? "" : ", ") + what;
}

// What was asked since the last call.
static std::string takeLog()
{
    return std::exchange(s_log, "");
}

struct WatchedObject {
    std::string name; // as the log has it
    std::string text; // of a string
    bool isText;      // false: a number
};

static std::deque<WatchedObject> s_objects; // never moves one
static int s_made = 0;

static const WatchedObject* makeObject(const std::string& text, bool isText)
{
    s_objects.push_back({"#" + std::to_string(++s_made), text, isText});
    return &s_objects.back();
}

static CFStringRef makeText(const std::string& text)
{
    return reinterpret_cast<CFStringRef>(makeObject(text, true));
}

static std::string nameOf(CFTypeRef object)
{
    return object ? static_cast<const WatchedObject*>(object)->name : "null";
}

// What a test decides.
static std::string s_refused = "(none)"; // a string of this text can't be made
static CFTypeRef s_value = nullptr;      // what is stored, under whatever key
static CFIndex s_number = 0;             // what it is as a number
static bool s_isNumber = false;
static bool s_keepsMarks = true; // what is set without an application can be found

extern "C" {

static const WatchedObject sc_thisApplication{"this application", "", true};
static const WatchedObject sc_anyApplication{"any application", "", true};
static const WatchedObject sc_thisUser{"this user", "", true};
static const WatchedObject sc_anyUser{"any user", "", true};
static const WatchedObject sc_thisHost{"this host", "", true};
static const WatchedObject sc_anyHost{"any host", "", true};
const CFStringRef kCFPreferencesCurrentApplication = reinterpret_cast<CFStringRef>(&sc_thisApplication);
const CFStringRef kCFPreferencesAnyApplication = reinterpret_cast<CFStringRef>(&sc_anyApplication);
const CFStringRef kCFPreferencesCurrentUser = reinterpret_cast<CFStringRef>(&sc_thisUser);
const CFStringRef kCFPreferencesAnyUser = reinterpret_cast<CFStringRef>(&sc_anyUser);
const CFStringRef kCFPreferencesCurrentHost = reinterpret_cast<CFStringRef>(&sc_thisHost);
const CFStringRef kCFPreferencesAnyHost = reinterpret_cast<CFStringRef>(&sc_anyHost);

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* text, CFStringEncoding encoding)
{
    EXPECT_EQ(encoding, kCFStringEncodingMacRoman);
    const CFStringRef string = text == s_refused ? nullptr : makeText(text);
    note("string " + std::string(text) + " = " + nameOf(string));
    return string;
}

CFIndex CFStringGetLength(CFStringRef string)
{
    return static_cast<CFIndex>(reinterpret_cast<const WatchedObject*>(string)->text.size());
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding encoding)
{
    EXPECT_EQ(encoding, kCFStringEncodingMacRoman);
    const WatchedObject* object = reinterpret_cast<const WatchedObject*>(string);
    const bool fits = object->isText && object->text.size() < static_cast<size_t>(size);
    if (fits) {
        memcpy(buffer, object->text.c_str(), object->text.size() + 1);
    }
    note("convert " + object->name + " into " + std::to_string(size) + (fits ? "" : " = no"));
    return fits;
}

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType type, const void* value)
{
    EXPECT_EQ(type, kCFNumberSInt32Type);
    int number;
    memcpy(&number, value, sizeof(number));
    const WatchedObject* object = makeObject(std::to_string(number), false);
    note("number " + object->text + " = " + object->name);
    return reinterpret_cast<CFNumberRef>(object);
}

void CFRelease(CFTypeRef object)
{
    note("release " + nameOf(object));
}

CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef application)
{
    note("copy " + nameOf(key) + " of " + nameOf(application) + " = " + nameOf(s_value));
    return s_value;
}

CFIndex CFPreferencesGetAppIntegerValue(CFStringRef key, CFStringRef application, Boolean* valid)
{
    note("number at " + nameOf(key) + " of " + nameOf(application));
    *valid = s_isNumber;
    return s_number;
}

void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value, CFStringRef application)
{
    note("set " + nameOf(key) + " of " + nameOf(application) + " to " + nameOf(value));
}

Boolean CFPreferencesAppSynchronize(CFStringRef application)
{
    note("synchronise " + nameOf(application));
    return true;
}

CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef application, CFStringRef user, CFStringRef host)
{
    note("copy " + nameOf(key) + " of " + nameOf(application) + ", " + nameOf(user) + ", " + nameOf(host) + " = " +
         nameOf(s_value));
    return s_value;
}

void CFPreferencesSetValue(CFStringRef key, CFPropertyListRef value, CFStringRef application, CFStringRef user,
                           CFStringRef host)
{
    note("set " + nameOf(key) + " of " + nameOf(application) + ", " + nameOf(user) + ", " + nameOf(host) + " to " +
         nameOf(value));
    s_value = s_keepsMarks ? value : nullptr;
}

Boolean CFPreferencesSynchronize(CFStringRef application, CFStringRef user, CFStringRef host)
{
    note("synchronise " + nameOf(application) + ", " + nameOf(user) + ", " + nameOf(host));
    return true;
}

} // extern "C"
