// The cursor of an X server.
//
// 1. All changes to the cursor are made on our connection. The server undoes them when the process ends, also by a
//    crash.
// 2. The pointer is never grabbed, so AppKit receives all mouse events.
#include "macapi/src/display/windowserver.h"
#include "macapi/src/display/windowserver_x11.h"
#include "macapi/src/display/xfixes.h"

#include <cmath>

namespace macapi {

// Both are read and written only under a ServerLock.
static int s_hides; // hides minus shows, at least 0; above 0 the cursor is hidden
static bool s_isDisconnected;

void forgetCursor()
{
    s_hides = 0;
    s_isDisconnected = false;
    forgetBarriers();
}

bool hideCursor()
{
    const ServerLock xserver;
    if (!xserver || !hasXFixes(xserver)) {
        return false;
    }
    if (s_hides == 0) {
        hideCursorOnServer(xserver);
        if (!xserver.succeeded()) {
            return false;
        }
    }
    s_hides++;
    return true;
}

bool showCursor()
{
    const ServerLock xserver;
    if (!xserver) {
        return false;
    }
    if (s_hides == 0) {
        return true; // the cursor is visible already
    }
    s_hides--;
    if (s_hides == 0) {
        showCursorOnServer(xserver);
    }
    return xserver.succeeded();
}

// Returns the pixel that a coordinate lies in, 0 to pixels - 1. A coordinate outside gives the nearest pixel, NaN
// gives 0.
static int pixelOf(double coordinate, int pixels)
{
    if (!(coordinate > 0)) {
        return 0;
    }
    return coordinate < pixels ? static_cast<int>(coordinate) : pixels - 1;
}

// Returns the root pixel for a point of the main display. A point that another output shows may lie outside the
// main display. For a point that no output shows, returns the nearest pixel of the main display.
static RootPixel pixelOf(const ServerLock& xserver, const OutputState& main, double x, double y)
{
    const RootPixel onMain = {main.x + pixelOf(x, main.width), main.y + pixelOf(y, main.height)};
    const double farthest = 0x7fff; // the largest coordinate of the X protocol
    if (!(std::abs(x) <= farthest && std::abs(y) <= farthest)) {
        return onMain;
    }
    const RootPixel anywhere = {main.x + static_cast<int>(std::floor(x)), main.y + static_cast<int>(std::floor(y))};
    return isOnAnOutput(xserver, anywhere) ? anywhere : onMain;
}

bool moveCursor(double x, double y)
{
    const ServerLock xserver;
    OutputState state;
    if (!xserver || !readMainDisplay(xserver, &state)) {
        return false;
    }
    // In a Wayland session only a hidden cursor can be moved. So a visible cursor is hidden during the move.
    const bool hides = state.isWayland && s_hides == 0 && hasXFixes(xserver);
    if (hides) {
        hideCursorOnServer(xserver);
    }
    const RootPixel pixel = pixelOf(xserver, state, x, y);
    XWarpPointer(xserver.display(), None, xserver.root(), 0, 0, 0, 0, pixel.x, pixel.y);
    if (s_isDisconnected) {
        makeBarriers(xserver, pixel.x, pixel.y);
    }
    if (hides) {
        showCursorOnServer(xserver);
    }
    return xserver.succeeded();
}

bool connectMouseAndCursor(bool connected)
{
    const ServerLock xserver;
    if (!xserver) {
        return false;
    }
    if (connected) {
        removeBarriers(xserver);
        s_isDisconnected = false;
        return xserver.succeeded();
    }
    OutputState state;
    Window root, child;
    int x, y, inside;
    unsigned int buttons;
    if (!hasBarriers(xserver) || !readMainDisplay(xserver, &state) || state.isWayland ||
        !XQueryPointer(xserver.display(), xserver.root(), &root, &child, &x, &y, &inside, &inside, &buttons)) {
        return false;
    }
    makeBarriers(xserver, x, y);
    s_isDisconnected = xserver.succeeded();
    return s_isDisconnected;
}

} // namespace macapi
