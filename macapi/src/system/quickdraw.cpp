// QuickDraw's port. A program cannot make a port here. The only port stands for the desktop.
#include <Carbon/Carbon.h>

#include <atomic>

struct OpaqueGrafPtr {};

static OpaqueGrafPtr s_desktop;
static std::atomic<GrafPtr> s_current{&s_desktop};

void GetPort(GrafPtr* port)
{
    if (port) {
        *port = s_current;
    }
}

void SetPort(GrafPtr port)
{
    s_current = port ? port : &s_desktop;
}

void GlobalToLocal(Point*)
{
    // The desktop's local coordinates are the global ones.
}
