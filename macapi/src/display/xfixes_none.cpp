// A build without XFixes: the cursor can be moved and nothing else.
#include "macapi/src/display/xfixes.h"

namespace macapi {

bool hasXFixes(const Visit&)
{
    return false;
}

bool hasBarriers(const Visit&)
{
    return false;
}

void hide(const Visit&)
{
}

void show(const Visit&)
{
}

void fence(const Visit&, int, int)
{
}

void unfence(const Visit&)
{
}

void forgetFence()
{
}

} // namespace macapi
