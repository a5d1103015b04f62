// A build without XFixes: the cursor can be moved, but not hidden or confined.
#include "macapi/src/display/xfixes.h"

namespace macapi {

bool hasXFixes(const ServerLock&)
{
    return false;
}

bool hasBarriers(const ServerLock&)
{
    return false;
}

void hideCursorOnServer(const ServerLock&)
{
}

void showCursorOnServer(const ServerLock&)
{
}

void makeBarriers(const ServerLock&, int, int)
{
}

void removeBarriers(const ServerLock&)
{
}

void forgetBarriers()
{
}

} // namespace macapi
