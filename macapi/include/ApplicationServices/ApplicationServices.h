// Application Services, the part that core uses: the main display and its cursor, the user's session, and opening
// URLs.
//
//     CFDictionaryRef mode = CGDisplayCurrentMode(kCGDirectMainDisplay);
//     int width = 0;
//     CFNumberGetValue((CFNumberRef)CFDictionaryGetValue(mode, kCGDisplayWidth), kCFNumberIntType, &width);
//
// The main display is the primary output of the X display that DISPLAY names; docs/macapi.md says what it is without
// a primary output. The first call that needs the window server connects to it. When the server ends later, the calls
// return the results of a process without a window server. A forked child connects again. Any thread may make any
// call.
#ifndef MACAPI_APPLICATIONSERVICES_H
#define MACAPI_APPLICATIONSERVICES_H

#include <CoreFoundation/CoreFoundation.h>

#if __has_include(<CoreFoundation/CFCGTypes.h>)
#include <CoreFoundation/CFCGTypes.h> // exists if the installed GNUstep defines these types
#else
#ifdef __LP64__
typedef double CGFloat;
#else
typedef float CGFloat;
#endif
struct CGPoint {
    CGFloat x;
    CGFloat y;
};
typedef struct CGPoint CGPoint;
#endif

#pragma GCC visibility push(default)
#ifdef __cplusplus
extern "C" {
#endif

typedef int boolean_t;
typedef unsigned int CGDirectDisplayID; // 32 bits
typedef int CGError;
typedef CGError CGDisplayErr;
typedef int CGWindowLevel;

enum {
    kCGErrorSuccess = 0,
    kCGErrorFailure = 1000,        // there is no window server, or it cannot do what was asked
    kCGErrorIllegalArgument = 1001 // no such display
};

#define kCGNullDirectDisplay ((CGDirectDisplayID)0)
#define kCGDirectMainDisplay CGMainDisplayID()

CGDirectDisplayID CGMainDisplayID(void); // kCGNullDirectDisplay without a window server

// Returns the current mode of a display under the keys below; null without a window server, and for any display but
// the main one. The dictionary lives until the process ends, also after the mode changes.
CFDictionaryRef CGDisplayCurrentMode(CGDirectDisplayID display);

extern const CFStringRef kCGDisplayWidth;        // "Width", pixels
extern const CFStringRef kCGDisplayHeight;       // "Height", pixels
extern const CFStringRef kCGDisplayBitsPerPixel; // "BitsPerPixel", usually 8, 16 or 32
extern const CFStringRef kCGDisplayRefreshRate;  // "RefreshRate", a double in hertz; 0 if unknown

// Values of the current mode; 0 without a window server, and for any display but the main one.
size_t CGDisplayPixelsWide(CGDirectDisplayID display);
size_t CGDisplayPixelsHigh(CGDirectDisplayID display);
size_t CGDisplayBitsPerPixel(CGDirectDisplayID display);

// The window level above all others.
CGWindowLevel CGShieldingWindowLevel(void);

// The cursor. Hides are counted: after n hides, the n-th show makes the cursor visible. When the process ends, also
// by a crash, the cursor becomes visible and moves with the mouse again.
CGDisplayErr CGDisplayHideCursor(CGDirectDisplayID display);
CGDisplayErr CGDisplayShowCursor(CGDirectDisplayID display);

// Moves the cursor to a point, in pixels from the upper left corner of the display, y down. For a point that
// no output shows, the cursor goes to the nearest pixel of the main display.
CGDisplayErr CGDisplayMoveCursorToPoint(CGDirectDisplayID display, CGPoint point);

// Sets whether the mouse moves the cursor. When the process starts, the mouse moves the cursor.
CGError CGAssociateMouseAndMouseCursorPosition(boolean_t connected);

// Returns the user's session at the window server; null without a window server. The caller releases it.
CFDictionaryRef CGSessionCopyCurrentDictionary(void);

extern const CFStringRef kCGSessionUserIDKey; // the user's numeric ID

// Starts xdg-open, which opens the URL with the program that the user has chosen. Returns 0 if xdg-open was started;
// that does not mean that a page has opened. Stores null in *launched, if launched is not null: the chosen program is
// unknown.
OSStatus LSOpenCFURLRef(CFURLRef url, CFURLRef* launched);

enum {
    kLSUnknownErr = -10810,
    kLSApplicationNotFoundErr = -10814 // xdg-open could not be started, or the URL has no scheme
};

#ifdef __cplusplus
}
#endif
#pragma GCC visibility pop

#endif
