// A build with XFixes. A server may lack the extension.
#include "macapi/src/display/xfixes.h"

#include <X11/extensions/Xfixes.h>

namespace macapi {

static PointerBarrier s_barriers[4]; // 0: none

static int majorVersion(const ServerLock& xserver)
{
    int major = 0;
    int minor = 0;
    return XFixesQueryExtension(xserver.display(), &major, &minor) &&
                   XFixesQueryVersion(xserver.display(), &major, &minor)
               ? major
               : 0;
}

bool hasXFixes(const ServerLock& xserver)
{
    return majorVersion(xserver) >= 4;
}

bool hasBarriers(const ServerLock& xserver)
{
    return majorVersion(xserver) >= 5;
}

void hideCursorOnServer(const ServerLock& xserver)
{
    XFixesHideCursor(xserver.display(), xserver.root());
}

void showCursorOnServer(const ServerLock& xserver)
{
    XFixesShowCursor(xserver.display(), xserver.root());
}

void makeBarriers(const ServerLock& xserver, int x, int y)
{
    removeBarriers(xserver);
    // A barrier at x lies between the pixels x - 1 and x. These barriers cross the whole screen, so that the pointer
    // cannot pass around an end.
    Display* const display = xserver.display();
    const int far = 0x7fff; // the largest coordinate of the X protocol
    const int lines[4][4] = {
        {x, -far, x, far}, {x + 1, -far, x + 1, far}, {-far, y, far, y}, {-far, y + 1, far, y + 1}};
    for (int i = 0; i < 4; i++) {
        const int* line = lines[i];
        s_barriers[i] =
            XFixesCreatePointerBarrier(display, xserver.root(), line[0], line[1], line[2], line[3], 0, 0, nullptr);
    }
}

void removeBarriers(const ServerLock& xserver)
{
    for (PointerBarrier& barrier : s_barriers) {
        if (barrier) {
            XFixesDestroyPointerBarrier(xserver.display(), barrier);
            barrier = 0;
        }
    }
}

void forgetBarriers()
{
    for (PointerBarrier& barrier : s_barriers) {
        barrier = 0;
    }
}

} // namespace macapi
