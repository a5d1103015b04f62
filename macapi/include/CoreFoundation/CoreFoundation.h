// Core Foundation, as far as core asks for it: strings, numbers, dictionaries, URLs, the main bundle and preferences.
//
//     CFStringRef name = CFStringCreateWithCString(kCFAllocatorDefault, "Brackenlow", kCFStringEncodingASCII);
//     char bytes[64];
//     if (CFStringGetCString(name, bytes, sizeof(bytes), kCFStringEncodingMacRoman)) {
//         puts(bytes);
//     }
//     CFRelease(name);
//
// What a call with Create or Copy in its name returns is the caller's, to be released once; what a call with Get
// returns is lent, and lives as long as the object it came from. Objects never change once they are made. All calls
// may come from any thread. A null argument, or an object of another kind, is answered with null, false or 0.
#ifndef MACAPI_COREFOUNDATION_H
#define MACAPI_COREFOUNDATION_H

#include <stddef.h>

#pragma GCC visibility push(default)
#ifdef __cplusplus
extern "C" {
#endif

// The Mac's own names for plain types, of the same width on every host.
typedef unsigned char Boolean;
typedef unsigned char UInt8;
typedef signed char SInt8;
typedef unsigned short UInt16;
typedef signed short SInt16;
#ifdef __LP64__
typedef unsigned int UInt32;
typedef signed int SInt32;
#else
typedef unsigned long UInt32;
typedef signed long SInt32;
#endif
typedef SInt16 OSErr;
typedef SInt32 OSStatus;
typedef UInt32 FourCharCode;
typedef FourCharCode OSType; // four characters, the first in the top byte

enum { noErr = 0 };

typedef signed long CFIndex;
typedef const void* CFTypeRef; // any of the objects below
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFString* CFStringRef;
typedef const struct __CFNumber* CFNumberRef;
typedef const struct __CFBoolean* CFBooleanRef;
typedef const struct __CFDictionary* CFDictionaryRef;
typedef const struct __CFURL* CFURLRef;
typedef struct __CFBundle* CFBundleRef;

// Null, and the only allocator there is: memory comes from the C library, whatever an allocator argument says.
extern const CFAllocatorRef kCFAllocatorDefault;

CFTypeRef CFRetain(CFTypeRef object); // object itself
void CFRelease(CFTypeRef object);

// Strings. A text that an encoding cannot hold is refused whole, in both directions: nothing is replaced or dropped.
typedef UInt32 CFStringEncoding;
enum {
    kCFStringEncodingMacRoman = 0,
    kCFStringEncodingASCII = 0x0600, // bytes 1 to 127
    kCFStringEncodingUTF8 = 0x08000100
};

// A string for each literal, the same one every time and never to be released.
#define CFSTR(literal) __CFStringMakeConstantString("" literal "")
CFStringRef __CFStringMakeConstantString(const char* text);

CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding);
CFIndex CFStringGetLength(CFStringRef string); // in UTF-16 units: for what Mac Roman holds, its characters

// False, and the buffer as it was, when the text with its NUL takes more than size bytes.
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding encoding);

// Numbers: whole ones of 64 bits, and doubles.
enum {
    kCFNumberSInt8Type = 1,
    kCFNumberSInt16Type = 2,
    kCFNumberSInt32Type = 3,
    kCFNumberSInt64Type = 4,
    kCFNumberFloat32Type = 5,
    kCFNumberFloat64Type = 6,
    kCFNumberCharType = 7,
    kCFNumberShortType = 8,
    kCFNumberIntType = 9,
    kCFNumberLongType = 10,
    kCFNumberLongLongType = 11,
    kCFNumberFloatType = 12,
    kCFNumberDoubleType = 13,
    kCFNumberCFIndexType = 14
};
typedef CFIndex CFNumberType;

CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void* value);

// False when the type cannot hold the number; *value then is the nearest that it can.
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);

extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;
Boolean CFBooleanGetValue(CFBooleanRef boolean);

// Dictionaries from strings to objects; the system makes them.
CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary);
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key); // lent

// URLs. Null for a text that is empty, holds a character that a URL has to escape, or a % without two hexadecimal
// digits. Without a base a text may lack its scheme; with one it may not: nothing here is put together from two.
CFURLRef CFURLCreateWithString(CFAllocatorRef allocator, CFStringRef text, CFURLRef base);

// The URL of a path of length bytes, whatever they are; a relative one starts from the working folder.
CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* path, CFIndex length,
                                                 Boolean isFolder);

CFStringRef CFURLGetString(CFURLRef url); // lent

// The path a URL leads to, without a slash at its end. False, and the buffer as it was, when it leads to no file of
// this machine, or when the path with its NUL takes more than size bytes.
Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer, CFIndex size);

// The main bundle: the X.app that holds the executable in Contents/MacOS, otherwise the executable's own folder.
CFBundleRef CFBundleGetMainBundle(void);

extern const CFStringRef kCFBundleVersionKey; // "CFBundleVersion"

// What Info.plist says, or said when it could last be read; null as long as that never was. It and all it holds live to
// the end of the process, also when the file has changed, and one release too many does them no harm.
CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef bundle);
CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef bundle, CFStringRef key); // lent

CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef bundle);

// Preferences: values under names, kept in a property list for each domain, which is an application, a user and a host.
// Each domain is a file of the Preferences folder, the user's or the machine's.
typedef CFTypeRef CFPropertyListRef; // a string, number, boolean, date, data, array or dictionary

extern const CFStringRef kCFPreferencesAnyApplication;
extern const CFStringRef kCFPreferencesCurrentApplication; // the main bundle's identifier, else the process's name
extern const CFStringRef kCFPreferencesAnyHost;
extern const CFStringRef kCFPreferencesCurrentHost;
extern const CFStringRef kCFPreferencesAnyUser; // the machine's folder
extern const CFStringRef kCFPreferencesCurrentUser;

// An application's value for the current user: of the user's domains and then the machine's, and of each its own and
// then those of any application, and of each this host's and then those for any, the first that has one. Null when none
// has.
CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef application);

// The value as a whole number; *valid, where it is asked for, says whether there was one: a number, which loses its
// fraction, a boolean, or a string of an optional sign and decimal digits. 0 for one that is too large.
CFIndex CFPreferencesGetAppIntegerValue(CFStringRef key, CFStringRef application, Boolean* valid);

// Sets, or with null removes, a value of the current user's for any host. It is kept in the process until it is
// synchronised. An object that has no place in a property list changes nothing.
void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value, CFStringRef application);

// Writes what was set to the disk, merged with what other processes have written, and forgets what was read. False when
// something could not be written; it is dropped then.
Boolean CFPreferencesAppSynchronize(CFStringRef application);

// The same in one domain, which the three say.
CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef application, CFStringRef user,
                                         CFStringRef host);
void CFPreferencesSetValue(CFStringRef key, CFPropertyListRef value, CFStringRef application, CFStringRef user,
                           CFStringRef host);
Boolean CFPreferencesSynchronize(CFStringRef application, CFStringRef user, CFStringRef host);

#ifdef __cplusplus
}
#endif
#pragma GCC visibility pop

#endif
