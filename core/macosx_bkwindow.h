// The window class's plain C++ face: each call is a few messages to AppKit, and all rules stand above it.
//
// A window is a BKWindow. It lives until it is closed, by the game or by its user: ask BKIsWindow before anything else is
// asked of one that has been out of sight. Points and rectangles are in pixels, y up from the bottom. On the screen they
// count from the lower left corner of the main screen, also where AppKit's own count from another place.
//
// A build without AppKit has a stand-in for what is behind it.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <string>

struct BKPoint {
    double x;
    double y;
};

struct BKRect {
    double x; // of the lower left corner
    double y;
    double width;
    double height;
};

// Whether windows and alerts can be shown. There is an application object then: the game's, or else one made here. Its
// screens are those that the window server has now.
bool BKMakeApplication();

// A modal alert with one button; its result, 1 for the button. Wants the application object, as all that makes windows.
int BKRunAlert(const char* title, const char* message, const char* button);

// The main screen, whichever screen has the window with the keyboard; and its height.
BKRect BKMainScreenFrame();
double BKFirstScreenHeight();

int BKModeEntry(CFDictionaryRef mode, const char* name); // of a display mode; 0 where there is none

// Windows.
void* BKMakeWindow(const BKRect& content, unsigned int styleMask, int backing, bool defer); // null: it can't be had

// Whether it may be sent messages: there is a window server, and it wasn't made here and closed since. False for null.
bool BKIsWindow(const void* window);

std::string BKWindowTitle(void* window);          // UTF-8
BKRect BKWindowContentRect(void* window);         // on the screen
void BKWindowSetTitle(void* window, const char*); // UTF-8, or else Mac Roman; null is no title
void BKWindowSetBlackBackground(void* window);
void BKWindowSetAcceptsMouseMoved(void* window, bool accepts);
void BKWindowSetReleasedWhenClosed(void* window, bool released);
void BKWindowSetDelegateToApplication(void* window);
void BKWindowClearDelegate(void* window);
void BKWindowSetLevel(void* window, int level);
void BKWindowCenter(void* window);
void BKWindowMakeKey(void* window);
void BKWindowMakeKeyAndOrderFront(void* window); // as its own sender
void BKWindowClose(void* window);
void BKWindowRetain(void* window); // from here on closing it does not give its memory back before it is released
void BKWindowRelease(void* window);

BKPoint BKWindowConvertBaseToScreen(void* window, const BKPoint& point);

// False, and point as it was, where there is no such event or window.
bool BKCurrentEventLocation(BKPoint& point); // in the contents of its window
bool BKKeyWindowMouseLocation(
    BKPoint& point); // in those of the window with the keyboard, outside of the event stream
