// XFixes is there when we are built; whether the server has it is another question.
#include "macapi/src/display/xfixes.h"

#include <X11/extensions/Xfixes.h>

namespace macapi {

static PointerBarrier s_fence[4]; // 0: none

static int majorVersion(const Visit& visit)
{
    int major = 0;
    int minor = 0;
    return XFixesQueryExtension(visit.display(), &major, &minor) &&
                   XFixesQueryVersion(visit.display(), &major, &minor)
               ? major
               : 0;
}

bool hasXFixes(const Visit& visit)
{
    return majorVersion(visit) >= 4;
}

bool hasBarriers(const Visit& visit)
{
    return majorVersion(visit) >= 5;
}

void hide(const Visit& visit)
{
    XFixesHideCursor(visit.display(), visit.root());
}

void show(const Visit& visit)
{
    XFixesShowCursor(visit.display(), visit.root());
}

void fence(const Visit& visit, int x, int y)
{
    unfence(visit);
    // A barrier runs between two pixels, in front of the one that has its number. These cross the whole screen, so
    // that there is no way around their ends.
    Display* const display = visit.display();
    const int far = 0x7fff; // the most that the protocol can name
    const int lines[4][4] = {
        {x, -far, x, far}, {x + 1, -far, x + 1, far}, {-far, y, far, y}, {-far, y + 1, far, y + 1}};
    for (int i = 0; i < 4; i++) {
        const int* line = lines[i];
        s_fence[i] =
            XFixesCreatePointerBarrier(display, visit.root(), line[0], line[1], line[2], line[3], 0, 0, nullptr);
    }
}

void unfence(const Visit& visit)
{
    for (PointerBarrier& barrier : s_fence) {
        if (barrier) {
            XFixesDestroyPointerBarrier(visit.display(), barrier);
            barrier = 0;
        }
    }
}

void forgetFence()
{
    for (PointerBarrier& barrier : s_fence) {
        barrier = 0;
    }
}

} // namespace macapi
