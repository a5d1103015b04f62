#include "core/version.h"

#include <string_view>

static_assert(std::string_view(CORE_VERSION) == CORE_PROJECT_VERSION, "CMakeLists.txt has another version");

const char* CoreVersion()
{
    return CORE_PROJECT_VERSION;
}

bool CoreVersionServes(int major, int minor)
{
    return major == CORE_VERSION_MAJOR && minor <= CORE_VERSION_MINOR;
}
