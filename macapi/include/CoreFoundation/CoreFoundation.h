// Core Foundation, the part that core uses: strings, numbers, dictionaries, URLs, the main bundle and preferences.
//
//     CFStringRef name = CFStringCreateWithCString(kCFAllocatorDefault, "Brackenlow", kCFStringEncodingASCII);
//     char bytes[64];
//     if (CFStringGetCString(name, bytes, sizeof(bytes), kCFStringEncodingMacRoman)) {
//         puts(bytes);
//     }
//     CFRelease(name);
//
// The result of a call with Create or Copy in its name belongs to the caller, who releases it once. The result of a
// call with Get in its name is lent, and lives as long as the object it came from. Objects do not change after they
// are made. Any thread may make any call. For a null argument, or an object of another kind, a call returns null,
// false or 0.
#ifndef MACAPI_COREFOUNDATION_H
#define MACAPI_COREFOUNDATION_H

#include <stddef.h>

#pragma GCC visibility push(default)
#ifdef __cplusplus
extern "C" {
#endif

// The Mac's names for plain types. They have the same width on every host.
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
typedef const void* CFTypeRef; // any object of this header
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFString* CFStringRef;
typedef const struct __CFNumber* CFNumberRef;
typedef const struct __CFBoolean* CFBooleanRef;
typedef const struct __CFDictionary* CFDictionaryRef;
typedef const struct __CFURL* CFURLRef;
typedef struct __CFBundle* CFBundleRef;

// Null, the only allocator. Memory comes from the C library, whatever allocator a caller passes.
extern const CFAllocatorRef kCFAllocatorDefault;

CFTypeRef CFRetain(CFTypeRef object); // returns object
void CFRelease(CFTypeRef object);

// Strings. A call that converts to or from an encoding fails if the encoding cannot hold the whole text. No character
// is replaced or dropped.
typedef UInt32 CFStringEncoding;
enum {
    kCFStringEncodingMacRoman = 0,
    kCFStringEncodingASCII = 0x0600, // bytes 1 to 127
    kCFStringEncodingUTF8 = 0x08000100
};

// Returns a string for a literal, the same string each time. It is never released.
#define CFSTR(literal) __CFStringMakeConstantString("" literal "")
CFStringRef __CFStringMakeConstantString(const char* text);

CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding);
CFIndex
CFStringGetLength(CFStringRef string); // UTF-16 units; for a text that Mac Roman can hold, its number of characters

// Returns false, and does not change the buffer, if the text with its NUL has more than size bytes.
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding encoding);

// Numbers: 64-bit integers and doubles.
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

// Returns false if the type cannot hold the number; *value then becomes the nearest number that it can hold.
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);

extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;
Boolean CFBooleanGetValue(CFBooleanRef boolean);

// Dictionaries from strings to objects. A program cannot make one; it gets them from other calls.
CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary);
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key); // lent

// URLs. Returns null for an empty text, for a character that must be escaped in a URL, and for a % that two
// hexadecimal digits do not follow. If base is not null, also returns null for a text without a scheme, because this
// call does not join a base and a relative URL.
CFURLRef CFURLCreateWithString(CFAllocatorRef allocator, CFStringRef text, CFURLRef base);

// Returns the file URL of a path. The path has length bytes, of any value except 0, and needs no NUL. A relative path
// begins at the working folder.
CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* path, CFIndex length,
                                                 Boolean isFolder);

CFStringRef CFURLGetString(CFURLRef url); // lent

// Writes the path of a file URL, without a slash at its end. Returns false, and does not change the buffer, if the
// URL does not name a file on this machine, or if the path with its NUL has more than size bytes.
Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer, CFIndex size);

// The main bundle: the folder X.app if the executable is in X.app/Contents/MacOS, else the executable's own folder.
CFBundleRef CFBundleGetMainBundle(void);

extern const CFStringRef kCFBundleVersionKey; // "CFBundleVersion"

// Returns the values of Info.plist. If the file cannot be read now, returns the values that were read last; null if
// there are none. The dictionary and all objects in it live until the process ends, also after the file changes. To
// release them has no effect.
CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef bundle);
CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef bundle, CFStringRef key); // lent

CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef bundle);

// Preferences: values under names. Each domain belongs to an application, a user and a host, and is a property-list
// file in the Preferences folder of the user or of the machine.
typedef CFTypeRef CFPropertyListRef; // a string, number, boolean, date, data, array or dictionary

extern const CFStringRef kCFPreferencesAnyApplication;
extern const CFStringRef
    kCFPreferencesCurrentApplication; // the main bundle's identifier; if it has none, the process's name
extern const CFStringRef kCFPreferencesAnyHost;
extern const CFStringRef kCFPreferencesCurrentHost;
extern const CFStringRef kCFPreferencesAnyUser; // the machine's folder
extern const CFStringRef kCFPreferencesCurrentUser;

// Returns an application's value for the current user; null if there is none. These domains are searched in this
// order:
//
//   User       Application          Host
//   current    the application      current, then any
//   current    any                  current, then any
//   any        the application      current, then any
//   any        any                  current, then any
CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef application);

// Returns the value as a whole number. *valid, if valid is not null, becomes true if the value is a number (a
// real loses its fraction), a boolean, or a string of decimal digits with an optional sign, and CFIndex can hold it.
// Otherwise *valid becomes false, and the result is 0.
CFIndex CFPreferencesGetAppIntegerValue(CFStringRef key, CFStringRef application, Boolean* valid);

// Sets a value in the domain of the current user, the application and any host; null removes the value. The change is
// pending until the application is synchronised: only this process sees it. Does nothing for an object of a type that
// property lists do not have.
void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value, CFStringRef application);

// Merges the pending values of the domains above into their files, and waits until they are on the disk. Later reads
// read the files again. Returns false if a value could not be written; the value is then dropped.
Boolean CFPreferencesAppSynchronize(CFStringRef application);

// The same calls for one domain.
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
