// The cursor of an X server.
//
// 1. Everything done to the cursor belongs to our connection. The server undoes it when the process ends, however it
//    ends.
// 2. The pointer is never grabbed: AppKit receives mouse events as before.
#include "macapi/src/display/windowserver.h"
#include "macapi/src/display/windowserver_x11.h"
#include "macapi/src/display/xfixes.h"

#include <cmath>

namespace macapi {

// Both are read and written only under a ServerLock.
static int s_hides; // calls that hid the cursor minus calls that showed it
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

// Returns the pixel of a coordinate on a display of so many pixels, at most the last. NaN gives 0.
static int pixelOf(double coordinate, int pixels)
{
    if (!(coordinate > 0)) {
        return 0;
    }
    return coordinate < pixels ? static_cast<int>(coordinate) : pixels - 1;
}

// Returns the root pixel for a point of the main display. A point that any output shows keeps its place. A point that
// no output shows is moved to the nearest edge of the main display.
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
    // A Wayland session does not let a program move a visible cursor. So the cursor is hidden for this moment.
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
