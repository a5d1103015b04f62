// The cursor of an X server.
//
// 1. What is done to it belongs to our connection, so the server undoes it when the process ends, however it ends.
// 2. The pointer is never grabbed: buttons and moves go to the game as they did.
#include "macapi/src/display/windowserver.h"
#include "macapi/src/display/windowserver_x11.h"
#include "macapi/src/display/xfixes.h"

#include <cmath>

namespace macapi {

// Both are touched during a visit only.
static int s_hides; // how many more times it has been hidden than shown
static bool s_untied;

void forgetCursor()
{
    s_hides = 0;
    s_untied = false;
    forgetFence();
}

bool hideCursor()
{
    const Visit visit;
    if (!visit || !hasXFixes(visit)) {
        return false;
    }
    if (s_hides == 0) {
        hide(visit);
        if (!visit.succeeded()) {
            return false;
        }
    }
    s_hides++;
    return true;
}

bool showCursor()
{
    const Visit visit;
    if (!visit) {
        return false;
    }
    if (s_hides == 0) {
        return true; // it is to be seen already
    }
    s_hides--;
    if (s_hides == 0) {
        show(visit);
    }
    return visit.succeeded();
}

// The pixel for a coordinate, on a display with so many. What is no number is 0.
static int pixelOf(double coordinate, int pixels)
{
    if (!(coordinate > 0)) {
        return 0;
    }
    return coordinate < pixels ? static_cast<int>(coordinate) : pixels - 1;
}

// The pixel of the X screen for a point of the main display. A point on another output is there; a point on no output is
// brought to the main display's edge.
static Pixel pixelOf(const Visit& visit, const Shown& main, double x, double y)
{
    const Pixel onMain = {main.x + pixelOf(x, main.width), main.y + pixelOf(y, main.height)};
    const double farthest = 0x7fff; // the most that the protocol can name
    if (!(std::abs(x) <= farthest && std::abs(y) <= farthest)) {
        return onMain;
    }
    const Pixel anywhere = {main.x + static_cast<int>(std::floor(x)), main.y + static_cast<int>(std::floor(y))};
    return isShown(visit, anywhere) ? anywhere : onMain;
}

bool moveCursor(double x, double y)
{
    const Visit visit;
    Shown shown;
    if (!visit || !mainDisplayShows(visit, &shown)) {
        return false;
    }
    // A Wayland session lets nobody move a cursor that can be seen.
    const bool hides = shown.isWayland && s_hides == 0 && hasXFixes(visit);
    if (hides) {
        hide(visit);
    }
    const Pixel pixel = pixelOf(visit, shown, x, y);
    XWarpPointer(visit.display(), None, visit.root(), 0, 0, 0, 0, pixel.x, pixel.y);
    if (s_untied) {
        fence(visit, pixel.x, pixel.y);
    }
    if (hides) {
        show(visit);
    }
    return visit.succeeded();
}

bool tieCursor(bool toTheMouse)
{
    const Visit visit;
    if (!visit) {
        return false;
    }
    if (toTheMouse) {
        unfence(visit);
        s_untied = false;
        return visit.succeeded();
    }
    Shown shown;
    Window root, child;
    int x, y, inside;
    unsigned int buttons;
    if (!hasBarriers(visit) || !mainDisplayShows(visit, &shown) || shown.isWayland ||
        !XQueryPointer(visit.display(), visit.root(), &root, &child, &x, &y, &inside, &inside, &buttons)) {
        return false;
    }
    fence(visit, x, y);
    s_untied = visit.succeeded();
    return s_untied;
}

} // namespace macapi
