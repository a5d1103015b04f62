// A build without X11: there is no window server.
#include "macapi/src/display/keys.h"
#include "macapi/src/display/windowserver.h"

namespace macapi {

bool hasWindowServer()
{
    return false;
}

bool mainDisplayMode(DisplayMode*)
{
    return false;
}

bool hideCursor()
{
    return false;
}

bool showCursor()
{
    return false;
}

bool moveCursor(double, double)
{
    return false;
}

bool connectMouseAndCursor(bool)
{
    return false;
}

unsigned short virtualKeyOf(unsigned int)
{
    return sc_noKey;
}

} // namespace macapi
