#include "core/version.h"

const char* CoreVersion()
{
    return CORE_VERSION;
}

bool CoreVersionServes(int major, int minor)
{
    return major == CORE_VERSION_MAJOR && minor <= CORE_VERSION_MINOR;
}
