// The plain C++ interface of the window class. Not for games. Each function sends a few messages to AppKit.
// Decisions and arithmetic are in core/macosx_platform_window.cpp, in plain C++, so that tests can run them on
// every host.
//
// - Windows: a window is a BKWindow. It exists until the game or the user closes it. Call BKIsWindow before a call
//   for a window that the user may have closed.
// - Coordinates: points and rectangles are in pixels, y upward. Positions on the screen count from the lower left
//   corner of the main display. AppKit may count from another corner; this file's functions convert.
// - Threads: the main thread only.
//
// core/macosx_bkwindow.mm implements these functions. A build without AppKit compiles core/macosx_bkwindow_none.cpp
// instead. Hosts whose AppKit is GNUstep's load it with the first window: macapi/src/appkit/bkwindow_library.h.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <string>

struct BKPoint {
    double x;
    double y;
};

struct BKRect {
    double x; // x and y: the lower left corner
    double y;
    double width;
    double height;
};

// ---- The application object

// Makes the application object (NSApp) unless the game has made it, and reads the present screens from the window
// server. Returns true if windows and alerts can be shown; false without a window server, or if AppKit cannot
// connect to it. Call this function before BKRunAlert and BKMakeWindow.
bool BKMakeApplication();

// Shows an alert with one button and waits until the user has closed it. Returns AppKit's result, 1 for the button.
// The texts are UTF-8; a text that is not UTF-8 is read as Mac Roman.
int BKRunAlert(const char* title, const char* message, const char* button);

// ---- The screen

BKRect BKMainScreenFrame();   // the rectangle of the main display
double BKFirstScreenHeight(); // the height of AppKit's first screen, which is the main display

// Returns the number of that name in a display mode; 0 if there is no such number.
int BKModeEntry(CFDictionaryRef mode, const char* name);

// ---- Windows

// Makes a window that is not yet visible. Returns null if it is larger than AppKit's largest window. styleMask and
// backing are AppKit's numbers.
void* BKMakeWindow(const BKRect& content, unsigned int styleMask, int backing, bool defer);

// Returns true if a message can be sent to the window. Returns false for null, without a window server, and for a
// window that BKMakeWindow made and that is closed.
bool BKIsWindow(const void* window);

std::string BKWindowTitle(void* window);          // UTF-8
BKRect BKWindowContentRect(void* window);         // the content rectangle, on the screen
void BKWindowSetTitle(void* window, const char*); // UTF-8; otherwise read as Mac Roman; null is an empty title
void BKWindowSetBlackBackground(void* window);
void BKWindowSetAcceptsMouseMoved(void* window, bool accepts);
void BKWindowSetReleasedWhenClosed(void* window, bool released);
void BKWindowSetDelegateToApplication(void* window);
void BKWindowClearDelegate(void* window);
void BKWindowSetLevel(void* window, int level);
void BKWindowCenter(void* window);
void BKWindowMakeKey(void* window);
void BKWindowMakeKeyAndOrderFront(void* window); // passes the window itself as the message's sender
void BKWindowClose(void* window);
void BKWindowRetain(void* window); // closing the window then does not free it; BKWindowRelease may
void BKWindowRelease(void* window);

BKPoint BKWindowConvertBaseToScreen(void* window, const BKPoint& point);

// ---- The mouse

// Both store a position in pixels from the lower left corner of a window's content, y upward, and return true.
// BKCurrentEventLocation stores the position of the last event that the game fetched; BKKeyWindowMouseLocation the
// present position of the mouse in the key window. Without such an event or window they store nothing and return
// false.
bool BKCurrentEventLocation(BKPoint& point);
bool BKKeyWindowMouseLocation(BKPoint& point);
