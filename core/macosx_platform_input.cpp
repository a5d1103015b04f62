// Keys, cursor and mouse.
//
// 1. GetCursorPos counts y upward from the bottom of a window's content. SetCursorPos counts y downward from the
//    top of the main display. Neither call converts to the coordinates of the other.
// 2. Equal calls of ShowCursor in a row send at most one call to the display. The display counts its calls;
//    ShowCursor does not.
#include "core/macosx_bkwindow.h"
#include "core/macosx_platform.h"
#include "core/platform.h"

#include <ApplicationServices/ApplicationServices.h>
#include <Carbon/Carbon.h>

#include <algorithm>
#include <assert.h>

int g_MacMouseCaptured;

// The library's code for each of the Mac's virtual key codes; eight in each line. The code is the key's character on
// an American keyboard; F1 to F13 have 163 to 175. For the arrows and forward delete, the table holds a number that
// sc_remap converts to the code. Home, End, the page keys, Help and the modifiers have the code 0. Games store these
// codes in their key settings, so the codes do not change.
static const unsigned char s_ScanCodeToKey[128] = {
    97,  115, 100, 102, 104, 103, 122, 120, // a s d f h g z x
    99,  118, 0,   98,  113, 119, 101, 114, // c v, none, b q w e r
    121, 116, 49,  50,  51,  52,  54,  53,  // y t 1 2 3 4 6 5
    61,  57,  55,  45,  56,  48,  93,  111, // = 9 7 - 8 0 ] o
    117, 91,  105, 112, 13,  108, 106, 39,  // u [ i p, Return, l j '
    107, 59,  92,  44,  47,  110, 109, 46,  // k ; \ , / n m .
    9,   32,  96,  127, 0,   27,  0,   0,   // Tab, Space, `, Delete, Escape
    0,   0,   0,   0,   0,   0,   0,   0,   // modifiers
    0,   46,  0,   42,  0,   43,  0,   27,  // keypad: . * + and Clear
    0,   0,   0,   47,  3,   0,   45,  0,   // keypad: / Enter -
    0,   61,  48,  49,  50,  51,  52,  53,  // keypad: = 0 1 2 3 4 5
    54,  55,  0,   56,  57,  0,   0,   0,   // keypad: 6 7 8 9
    167, 168, 169, 165, 170, 171, 0,   173, // F5 F6 F7 F3 F8 F9, F11
    0,   175, 0,   0,   0,   172, 0,   174, // F13, F10, F12
    0,   0,   0,   0,   0,   140, 166, 0,   // forward delete, F4
    164, 0,   163, 134, 135, 133, 132, 0,   // F2, F1, left, right, down, up
};

// The final codes for the numbers 132 to 144 of the table above.
static const unsigned int sc_firstRemapped = 132;
static const unsigned char sc_remap[13] = {
    146, 152, 148, 150, // up, down, left, right
    136, 137, 138, 155, 156, 153, 147, 145, 151,
};

unsigned int Platform::RawKeyToLocalKey(int macKeyCode)
{
    if (macKeyCode < 0 || macKeyCode > 127) {
        return 0;
    }
    const unsigned int key = s_ScanCodeToKey[macKeyCode];
    const bool remapped = key >= sc_firstRemapped && key < sc_firstRemapped + sizeof(sc_remap);
    return remapped ? sc_remap[key - sc_firstRemapped] : key;
}

void Platform::ShowCursor(bool show)
{
    int& count = s_platformData.cursorHideCount;
    if (show && count == -1) {
        CGDisplayShowCursor(kCGDirectMainDisplay);
        count = 0;
    } else if (!show && count == 0) {
        CGDisplayHideCursor(kCGDirectMainDisplay);
        count = -1;
    }
    assert(count == (show ? 0 : -1) && "2: the display counts its calls; ShowCursor does not");
}

void Platform::SetCursorPos(int x, int y)
{
    const CGPoint point = {static_cast<CGFloat>(x), static_cast<CGFloat>(y)};
    void* window = s_platformData.window;
    if (BKIsWindow(window)) {
        // Deliberate: the converted point is dropped. Games pass coordinates of the display already. The message is
        // sent all the same: the order of calls is frozen (docs/architecture.md, "Orders of calls").
        BKWindowConvertBaseToScreen(window, {point.x, point.y});
    }
    CGDisplayMoveCursorToPoint(kCGDirectMainDisplay, point);
    CGAssociateMouseAndMouseCursorPosition(true);
}

void Platform::GetCursorPos(int& x, int& y)
{
    BKPoint location;
    if (BKCurrentEventLocation(location)) {
        x = static_cast<int>(location.x);
        y = static_cast<int>(location.y);
    }
}

void GetKeyWindowCursorPos(int& x, int& y)
{
    BKPoint location;
    if (BKKeyWindowMouseLocation(location)) {
        const float middle = 300.0f; // pixels: half of the height of the callers' windows, 600
        x = static_cast<int>(static_cast<float>(location.x));
        y = static_cast<int>(middle - (static_cast<float>(location.y) - middle));
    }
}

// Returns position as a coordinate of a Rect, which has 16 bits; out of range, the nearest coordinate.
static short toShort(double position)
{
    return static_cast<short>(std::clamp(position, -32768.0, 32767.0));
}

// Returns the content rectangle of a window, in pixels from the upper left corner of the main display, y downward.
static Rect boundsOf(void* window)
{
    const BKRect content = BKWindowContentRect(window);
    const double screenHeight = BKFirstScreenHeight();
    Rect bounds;
    bounds.top = toShort(screenHeight - (content.y + content.height));
    bounds.left = toShort(content.x);
    bounds.bottom = toShort(screenHeight - content.y);
    bounds.right = toShort(content.x + content.width);
    return bounds;
}

// Returns the number from first to last that is nearest to 0.
static short nearestToZero(short first, short last)
{
    return first > 0 ? first : last < 0 ? last : static_cast<short>(0);
}

void Platform::CaptureMouse(bool capture)
{
    g_MacMouseCaptured = capture;
    if (!capture || !BKIsWindow(s_platformData.window)) {
        return;
    }
    const Rect bounds = boundsOf(s_platformData.window);
    Point point;
    point.h = nearestToZero(bounds.left, bounds.right);
    point.v = nearestToZero(bounds.top, bounds.bottom);
    if (point.h == 0 && point.v == 0) {
        return; // that corner lies in the window, so the cursor does not move
    }
    GrafPtr port = nullptr;
    GetPort(&port);
    GlobalToLocal(&point);
    SetPort(port);
    SetCursorPos(point.h, point.v);
}
