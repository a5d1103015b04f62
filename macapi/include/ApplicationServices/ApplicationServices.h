// Application Services, as far as core asks for them: the main display and its cursor, the user's session, and opening
// URLs.
//
//     CFDictionaryRef mode = CGDisplayCurrentMode(kCGDirectMainDisplay);
//     int width = 0;
//     CFNumberGetValue((CFNumberRef)CFDictionaryGetValue(mode, kCGDisplayWidth), kCFNumberIntType, &width);
//
// The main display is the primary output of the X display that DISPLAY names. Whether there is one is found out at
// the first call that wants to know; a server that goes away later counts as none. A child that was forked finds out
// for itself. All calls may come from any thread.
#ifndef MACAPI_APPLICATIONSERVICES_H
#define MACAPI_APPLICATIONSERVICES_H

#include <CoreFoundation/CoreFoundation.h>

#if __has_include(<CoreFoundation/CFCGTypes.h>)
#include <CoreFoundation/CFCGTypes.h> // of an AppKit that has these types itself
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
    kCGErrorFailure = 1000,        // there is no window server, or it can't
    kCGErrorIllegalArgument = 1001 // no such display
};

#define kCGNullDirectDisplay ((CGDirectDisplayID)0)
#define kCGDirectMainDisplay CGMainDisplayID()

CGDirectDisplayID CGMainDisplayID(void); // kCGNullDirectDisplay without a window server

// What a display shows now, in the keys below; null without a window server, and for any other display. Lent: it
// lives to the end of the process, also when the display has long gone on to another mode.
CFDictionaryRef CGDisplayCurrentMode(CGDirectDisplayID display);

extern const CFStringRef kCGDisplayWidth;        // "Width", pixels
extern const CFStringRef kCGDisplayHeight;       // "Height", pixels
extern const CFStringRef kCGDisplayBitsPerPixel; // "BitsPerPixel", 8, 16 or 32
extern const CFStringRef kCGDisplayRefreshRate;  // "RefreshRate", a double in hertz; 0 when nobody knows

// Of what a display shows now; 0 without a window server, and for any other display.
size_t CGDisplayPixelsWide(CGDirectDisplayID display);
size_t CGDisplayPixelsHigh(CGDirectDisplayID display);
size_t CGDisplayBitsPerPixel(CGDirectDisplayID display);

// The level of windows that cover all others.
CGWindowLevel CGShieldingWindowLevel(void);

// The cursor. Hiding counts: it is shown again when it was shown as often as it was hidden. A hidden cursor, and one
// that is tied down, is set free when the process ends, however it ends.
CGDisplayErr CGDisplayHideCursor(CGDirectDisplayID display);
CGDisplayErr CGDisplayShowCursor(CGDirectDisplayID display);

// In pixels of that display from its top left corner, y down; what lies outside is brought to the edge.
CGDisplayErr CGDisplayMoveCursorToPoint(CGDirectDisplayID display, CGPoint point);

// Whether the mouse moves the cursor: it does, until this says false.
CGError CGAssociateMouseAndMouseCursorPosition(boolean_t connected);

// The user's session at the window server; null when there is none. The caller releases it.
CFDictionaryRef CGSessionCopyCurrentDictionary(void);

extern const CFStringRef kCGSessionUserIDKey; // the user's number

// Opens a URL with the program that the user likes best for it, by way of xdg-open. 0 when that could be started:
// what becomes of it later is between it and the user. *launched, where the caller gives one, becomes null: which
// program it is stays the desktop's secret.
OSStatus LSOpenCFURLRef(CFURLRef url, CFURLRef* launched);

enum {
    kLSUnknownErr = -10810,
    kLSApplicationNotFoundErr = -10814 // there is no xdg-open, or the URL has no scheme
};

#ifdef __cplusplus
}
#endif
#pragma GCC visibility pop

#endif
