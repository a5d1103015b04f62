// The cursor of an X server.
//
// 1. What is done to it belongs to our connection, so the server undoes it when the process ends, however it ends.
// 2. The pointer is never grabbed: buttons and moves go to the game as they did.
#include "macapi/src/windowserver.h"
#include "macapi/src/windowserver_x11.h"
#include "macapi/src/xfixes.h"

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
    const int column = shown.x + pixelOf(x, shown.width);
    const int row = shown.y + pixelOf(y, shown.height);
    XWarpPointer(visit.display(), None, visit.root(), 0, 0, 0, 0, column, row);
    if (s_untied) {
        fence(visit, column, row);
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
