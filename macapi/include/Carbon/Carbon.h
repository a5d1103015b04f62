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
    dirNFErr = -120, // a part of the path exists and is not a folder
    procNotFound = -600,
    errFSBadFSRef = -1401,
    pathTooLongErr = -2110,
    afpAccessDenied = -5000, // a part of the path is another user's symbolic link
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

// Stores the file name of the executable in *name. The caller releases it. A file name that is not UTF-8 is read as
// Mac Roman. Returns procNotFound for any process but the current one.
OSStatus CopyProcessName(const ProcessSerialNumber* process, CFStringRef* name);

// Returns 1 if the program was started with more rights than its user has (setuid, setgid, capabilities), also after
// it has dropped them; otherwise 0. The Mac declares this call in <unistd.h>.
int issetugid(void);

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

// Finds a folder; reads the environment variables at each call. A missing folder is made, together with its missing
// parent folders, if createFolder is true; otherwise the call returns fnfErr. Returns afpAccessDenied if a part of
// the path is another user's symbolic link.
OSErr FSFindFolder(short domain, OSType folderType, Boolean createFolder, FSRef* folder);

// Writes the path. Returns pathTooLongErr if the path with its NUL has more than size bytes, and errFSBadFSRef for a
// reference that FSFindFolder did not make in this process.
OSStatus FSRefMakePath(const FSRef* folder, UInt8* path, UInt32 size);

// The processor. Gestalt answers the selector gestaltPowerPCProcessorFeatures on a PowerPC. It returns
// gestaltUndefSelectorErr for any other selector, and on any other processor.
enum {
    gestaltPowerPCProcessorFeatures = 0x70706366, // 'ppcf'; each feature has one bit in the response
    gestaltPowerPCHasVectorInstructions = 4
};

OSErr Gestalt(OSType selector, SInt32* response);

// Time. The words of a 64-bit number are in the order of the processor, so the record is a 64-bit integer in memory.
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

// Waits until the moment, a time of UpTime's clock. Returns at once if it is past. Signals do not shorten the wait.
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

// The current port. Until a program sets another, it is the desktop, whose local coordinates are the global ones.
void GetPort(GrafPtr* port);
void SetPort(GrafPtr port);
void GlobalToLocal(Point* point); // of the current port

#ifdef __cplusplus
}
#endif
#pragma GCC visibility pop

#endif
