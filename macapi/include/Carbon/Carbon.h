// Carbon, as far as core asks for it: the process, the system's folders, what the processor can do, the clock, and
// QuickDraw's port.
//
//     FSRef folder;
//     UInt8 path[1024];
//     if (FSFindFolder(kUserDomain, kPreferencesFolderType, kCreateFolder, &folder) == noErr &&
//         FSRefMakePath(&folder, path, sizeof(path)) == noErr) {
//         ...
//     }
//
// All calls may come from any thread. Outputs are written on success only.
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
    wPrErr = -44, // a disk that cannot be written
    paramErr = -50,
    permErr = -54,
    dirNFErr = -120, // something on the way to it is no folder
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

// The file name of the executable, for the current process only. A name that is no UTF-8 is taken for Mac Roman.
OSStatus CopyProcessName(const ProcessSerialNumber* process, CFStringRef* name);

// Folders.
struct FSRef {
    UInt8 hidden[80];
};
typedef struct FSRef FSRef; // good until the process ends, and in this process only

enum {
    kLocalDomain = -32765, // the machine's: the folder that MACAPI_LIBRARY names
    kUserDomain = -32763   // the user's: MACAPI_USER_LIBRARY
};
enum {
    kApplicationSupportFolderType = 0x61737570, // 'asup'
    kPreferencesFolderType = 0x70726566         // 'pref'
};
enum { kDontCreateFolder = 0, kCreateFolder = 1 };

// The variables are read at each call. A folder that is missing is fnfErr, or made together with those around it.
OSErr FSFindFolder(short domain, OSType folderType, Boolean createFolder, FSRef* folder);

// pathTooLongErr when the path with its NUL takes more than size bytes; errFSBadFSRef for a reference that
// FSFindFolder has not made in this process.
OSStatus FSRefMakePath(const FSRef* folder, UInt8* path, UInt32 size);

// The processor. A selector that nothing here answers, on this processor, is gestaltUndefSelectorErr.
enum {
    gestaltPowerPCProcessorFeatures = 0x70706366, // 'ppcf', on PowerPC only: a bit for each of
    gestaltPowerPCHasVectorInstructions = 4
};

OSErr Gestalt(OSType selector, SInt32* response);

// Time. The two words of a number of 64 bits lie as the processor has them.
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
typedef UnsignedWide AbsoluteTime; // of the monotonic clock; the unit is nobody's business

void Microseconds(UnsignedWide* microseconds); // since the machine was started
AbsoluteTime UpTime(void);
AbsoluteTime AddNanosecondsToAbsolute(Nanoseconds nanoseconds, AbsoluteTime time);

// Returns at that moment, or at once when it is past. Signals don't cut it short.
OSStatus MPDelayUntil(AbsoluteTime* moment);

// QuickDraw: where its drawing goes, and points in its terms.
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

// The current port. There is one as long as a program sets none: the whole desktop, whose local coordinates are the
// global ones.
void GetPort(GrafPtr* port);
void SetPort(GrafPtr port);
void GlobalToLocal(Point* point); // of the current port

#ifdef __cplusplus
}
#endif
#pragma GCC visibility pop

#endif
