// The game's window, framed or full screen, and the size of the display.
//
// 1. Only InitWindow writes windowX, windowY, windowWidth and windowHeight of s_platformData. (The first call of SetApp
//    sets all fields to 0 except desktopMode.)
// 2. The user can close a framed window. The record then still holds the pointer of a window that is gone. So
//    BKIsWindow is asked before a message is sent to a window.
// 3. The order of the messages is frozen: docs/architecture.md, "Orders of calls".
#include "core/macosx_bkwindow.h"
#include "core/macosx_platform.h"
#include "core/platform.h"

#include <ApplicationServices/ApplicationServices.h>

// AppKit's style masks and backing store, whose names only Objective-C++ sources can include.
static const unsigned int sc_framed = 7;     // titled 1 + with a close button 2 + with a minimise button 4
static const unsigned int sc_borderless = 0; // without a frame
static const int sc_buffered = 2;            // drawn in memory first, then copied to the screen

static const int sc_longestSide = 32767; // pixels: window servers count them in signed 16 bits

// Returns true if the size is in the range of window servers and there is a window server. Makes the application
// object if there is none.
static bool canMake(int width, int height)
{
    return width >= 0 && width <= sc_longestSide && height >= 0 && height <= sc_longestSide && BKMakeApplication();
}

static void* makeWindow(int x, int y, int width, int height, unsigned int styleMask)
{
    const BKRect content = {static_cast<double>(x), static_cast<double>(y), static_cast<double>(width),
                            static_cast<double>(height)};
    return BKMakeWindow(content, styleMask, sc_buffered, false);
}

void* Platform::InitWindow(unsigned int, void*, const char* title, void*, void*, int x, int y, int width, int height,
                           bool, bool, void*)
{
    void* window = canMake(width, height) ? makeWindow(x, y, width, height, sc_framed) : nullptr;
    if (!window) {
        return nullptr;
    }
    BKWindowSetBlackBackground(window);
    BKWindowSetTitle(window, title);
    BKWindowCenter(window);
    BKWindowMakeKey(window);
    BKWindowSetAcceptsMouseMoved(window, true);
    BKWindowSetReleasedWhenClosed(window, true);
    BKWindowSetDelegateToApplication(window);
    s_platformData.windowHeight = height;
    s_platformData.windowX = x;
    s_platformData.windowY = y;
    s_platformData.windowWidth = width;
    return window;
}

void Platform::DestructWindow(void* window)
{
    if (window == s_platformData.window) {
        s_platformData.window = nullptr;
    }
    if (BKIsWindow(window)) {
        BKWindowClose(window);
    }
}

// Returns true if AppKit's main screen has the size of that mode. After a change of the resolution AppKit can have
// the old size for a while.
static bool screenMatches(CFDictionaryRef mode)
{
    return static_cast<int>(BKMainScreenFrame().width) == BKModeEntry(mode, "Width") &&
           static_cast<int>(BKMainScreenFrame().height) == BKModeEntry(mode, "Height");
}

// Makes a window without a frame. matches: the result of screenMatches. If it is true, the window lies in the lower
// left corner of the screen; otherwise it lies in the upper left corner of AppKit's main screen.
static void* makeFullScreenWindow(int width, int height, bool matches)
{
    const int y = matches ? 0 : static_cast<int>(BKMainScreenFrame().height - height);
    void* window = makeWindow(0, y, width, height, sc_borderless);
    if (window) {
        BKWindowSetLevel(window, CGShieldingWindowLevel());
    }
    return window;
}

// Makes a framed window: centred horizontally on the desktop, its top an eighth of the desktop's height below the
// top of the screen. The desktop is the display mode that SystemCheck saved. Integer divisions truncate,
// deliberately: docs/architecture.md, "Sizes and rounding".
static void* makeFramedWindow(int width, int height, bool matches)
{
    const int desktopWidth = BKModeEntry(s_platformData.desktopMode, "Width");
    const int desktopHeight = BKModeEntry(s_platformData.desktopMode, "Height");
    const int x = (desktopWidth - width) / 2;
    const int base = matches ? desktopHeight : static_cast<int>(BKMainScreenFrame().height);
    const int y = base - (desktopHeight / 8 + height);
    return makeWindow(x, y, width, height, sc_framed);
}

// Makes the window that replaces the closed one, shows it and makes it the current window. Does nothing when the
// window cannot be made. mode: the mode of the main display before the old window was closed.
static void showNextWindow(const std::string& title, CFDictionaryRef mode, bool fullScreen, int width, int height)
{
    if (!canMake(width, height)) {
        return;
    }
    const bool matches = screenMatches(mode);
    void* made = fullScreen ? makeFullScreenWindow(width, height, matches) : makeFramedWindow(width, height, matches);
    if (!made) {
        return;
    }
    BKWindowSetBlackBackground(made);
    BKWindowSetTitle(made, title.c_str());
    BKWindowMakeKeyAndOrderFront(made);
    BKWindowSetAcceptsMouseMoved(made, true);
    BKWindowSetReleasedWhenClosed(made, true);
    BKWindowSetDelegateToApplication(made);
    Platform::SetWindow(made);
}

// The old window is retained until the new one exists. Otherwise the new window could get the same address, and a
// game that compares the pointers would take the new window for the old one.
void Platform::SetFullscreenWindow(void* window, bool fullScreen, int width, int height)
{
    const bool exists = BKIsWindow(window);
    const std::string title = exists ? BKWindowTitle(window) : std::string();
    const CFDictionaryRef mode = CGDisplayCurrentMode(kCGDirectMainDisplay);
    if (exists) {
        BKWindowRetain(window);
        BKWindowClearDelegate(window);
    }
    DestructWindow(window);
    showNextWindow(title, mode, fullScreen, width, height);
    if (exists) {
        BKWindowRelease(window);
    }
}

void Platform::SetWindowPos()
{
    void* window = s_platformData.window;
    if (BKIsWindow(window)) {
        BKWindowCenter(window);
        BKWindowMakeKeyAndOrderFront(window);
    }
}

void Platform::GetWindowPos(int& x, int& y)
{
    x = s_platformData.windowX;
    y = s_platformData.windowY;
}

int Platform::GetWindowWidth()
{
    return s_platformData.windowWidth;
}

int Platform::GetWindowHeight()
{
    return s_platformData.windowHeight;
}

void Platform::GetDesktopInfo(int& width, int& height, int& bitsPerPixel)
{
    width = static_cast<int>(CGDisplayPixelsWide(kCGDirectMainDisplay));
    height = static_cast<int>(CGDisplayPixelsHigh(kCGDirectMainDisplay));
    bitsPerPixel = static_cast<int>(CGDisplayBitsPerPixel(kCGDirectMainDisplay));
}

void* Platform::LoadCursor(int)
{
    return nullptr;
}

void* Platform::LoadIcon(int)
{
    return nullptr;
}

bool Platform::MessagePump()
{
    return true;
}
