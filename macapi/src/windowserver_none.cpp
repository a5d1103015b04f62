// A host without X11: nobody has a display.
#include "macapi/src/windowserver.h"

namespace macapi {

bool hasWindowServer()
{
    return false;
}

bool mainDisplayMode(DisplayMode*)
{
    return false;
}

} // namespace macapi
