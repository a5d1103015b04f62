// The game's one window, framed or full screen, and the display it is on.
//
// 1. The record keeps how InitWindow was asked. Nothing else writes that: not centring, not the user, not the switch.
// 2. A frame's user can close it, which ends the window while the record still names it. So a window is looked up before
//    it is sent anything.
#include "core/macosx_bkwindow.h"
#include "core/macosx_platform.h"
#include "core/platform.h"

#include <ApplicationServices/ApplicationServices.h>

static const unsigned int sc_framed = 7; // titled 1, with a close button 2 and a minimise button 4
static const unsigned int sc_borderless = 0;
static const int sc_buffered = 2; // the backing: drawn off the screen

static const int sc_longestSide = 32767; // pixels: window servers count them in signed 16 bits

// Whether a window of that size can be had.
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

// Whether the main screen has the size of that mode already: after a change of resolution AppKit can lag behind.
static bool screenMatches(CFDictionaryRef mode)
{
    return static_cast<int>(BKMainScreenFrame().width) == BKModeEntry(mode, "Width") &&
           static_cast<int>(BKMainScreenFrame().height) == BKModeEntry(mode, "Height");
}

// At the top left of the screen that is to come, when it hasn't come yet.
static void* makeFullScreenWindow(int width, int height, bool matches)
{
    const int y = matches ? 0 : static_cast<int>(BKMainScreenFrame().height - height);
    void* window = makeWindow(0, y, width, height, sc_borderless);
    if (window) {
        BKWindowSetLevel(window, CGShieldingWindowLevel());
    }
    return window;
}

// Centred across the desktop the game was started on, its top an eighth of the desktop below the screen's.
static void* makeFramedWindow(int width, int height, bool matches)
{
    const int desktopWidth = BKModeEntry(s_platformData.desktopMode, "Width");
    const int desktopHeight = BKModeEntry(s_platformData.desktopMode, "Height");
    const int x = (desktopWidth - width) / 2;
    const int base = matches ? desktopHeight : static_cast<int>(BKMainScreenFrame().height);
    const int y = base - (desktopHeight / 8 + height);
    return makeWindow(x, y, width, height, sc_framed);
}

// The window that takes another one's place, shown and in the record. mode: the display's, before the other one went.
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

// The old window's memory is given back last, or else the new one would get it: a game that holds on to the old pointer
// would not see that it has another window now.
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
