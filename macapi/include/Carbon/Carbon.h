// Carbon, the part that core uses: the process, the system's folders, the processor's features, the clock, and
// QuickDraw's port.
//
//     FSRef folder;
//     UInt8 path[1024];
//     if (FSFindFolder(kUserDomain, kPreferencesFolderType, kCreateFolder, &folder) == noErr &&
//         FSRefMakePath(&folder, path, sizeof(path)) == noErr) {
//         ...
//     }
//
// Any thread may make any call. Outputs are written only if the call succeeds.
#ifndef MACAPI_CARBON_H
#define MACAPI_CARBON_H

#include <ApplicationServices/ApplicationServices.h>
#include <CoreFoundation/CoreFoundation.h>

#pragma GCC visibility push(default)
#ifdef __cplusplus
extern "C" {
#endif

enum {
    dskFulErr = -34,
    nsvErr = -35, // no such domain
    ioErr = -36,
    fnfErr = -43, // no such folder
    wPrErr = -44, // the disk is read-only
    paramErr = -50,
    permErr = -54,
    dirNFErr = -120, // a part of the path is not a folder
    procNotFound = -600,
    errFSBadFSRef = -1401,
    pathTooLongErr = -2110,
    afpAccessDenied = -5000, // a symbolic link of another user on the path
    gestaltUndefSelectorErr = -5551
};

// The process.
struct ProcessSerialNumber {
    UInt32 highLongOfPSN;
    UInt32 lowLongOfPSN;
};
typedef struct ProcessSerialNumber ProcessSerialNumber;

enum { kNoProcess = 0, kSystemProcess = 1, kCurrentProcess = 2 };

OSErr GetCurrentProcess(ProcessSerialNumber* process); // 0, kCurrentProcess

// Returns the file name of the executable. Knows only the current process. A name that is not UTF-8 is read as Mac
// Roman.
OSStatus CopyProcessName(const ProcessSerialNumber* process, CFStringRef* name);

// Folders.
struct FSRef {
    UInt8 hidden[80];
};
typedef struct FSRef FSRef; // valid until the process ends, and only in this process

enum {
    kLocalDomain = -32765, // the machine's Library folder, MACAPI_LIBRARY
    kUserDomain = -32763   // the user's Library folder, MACAPI_USER_LIBRARY
};
enum {
    kApplicationSupportFolderType = 0x61737570, // 'asup'
    kPreferencesFolderType = 0x70726566         // 'pref'
};
enum { kDontCreateFolder = 0, kCreateFolder = 1 };

// Finds a folder; reads the environment at each call. If the folder is missing, returns fnfErr, or with createFolder
// makes it and the folders around it. Returns afpAccessDenied if the path has another user's symbolic link.
OSErr FSFindFolder(short domain, OSType folderType, Boolean createFolder, FSRef* folder);

// Writes the path. Returns pathTooLongErr if the path with its NUL has more than size bytes, and errFSBadFSRef for a
// reference that FSFindFolder did not make in this process.
OSStatus FSRefMakePath(const FSRef* folder, UInt8* path, UInt32 size);

// The processor. Returns gestaltUndefSelectorErr for every other selector, and on every other processor.
enum {
    gestaltPowerPCProcessorFeatures = 0x70706366, // 'ppcf', PowerPC only; each feature has one bit
    gestaltPowerPCHasVectorInstructions = 4
};

OSErr Gestalt(OSType selector, SInt32* response);

// Time. The two words of a 64-bit number have the processor's own order.
struct UnsignedWide {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    UInt32 hi;
    UInt32 lo;
#else
    UInt32 lo;
    UInt32 hi;
#endif
};
typedef struct UnsignedWide UnsignedWide;
typedef UnsignedWide Nanoseconds;
typedef UnsignedWide AbsoluteTime; // of the monotonic clock; treat the unit as unknown

void Microseconds(UnsignedWide* microseconds); // since the machine was started
AbsoluteTime UpTime(void);
AbsoluteTime AddNanosecondsToAbsolute(Nanoseconds nanoseconds, AbsoluteTime time);

// Returns at that moment; at once if it is past. Signals do not shorten the wait.
OSStatus MPDelayUntil(AbsoluteTime* moment);

// QuickDraw: the port, and points.
struct Point {
    short v; // down
    short h; // to the right
};
typedef struct Point Point;
struct Rect {
    short top;
    short left;
    short bottom;
    short right;
};
typedef struct Rect Rect;
typedef struct OpaqueGrafPtr* GrafPtr;

// The current port. Until a program sets one, it is the desktop, whose local coordinates are the global ones.
void GetPort(GrafPtr* port);
void SetPort(GrafPtr port);
void GlobalToLocal(Point* point); // of the current port

#ifdef __cplusplus
}
#endif
#pragma GCC visibility pop

#endif
