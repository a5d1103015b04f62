// The kernel tells each program at its start whether its file gives it extra rights, and who its user is. These
// values do not change when the program changes its rights.
#include "macapi/src/system/rights.h"

#include <Carbon/Carbon.h>

#include <linux/capability.h>
#include <sys/auxv.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace macapi {

bool hasExtraRights()
{
    return getauxval(AT_SECURE) != 0;
}

static bool dropCapabilities()
{
    __user_cap_header_struct version = {};
    version.version = _LINUX_CAPABILITY_VERSION_3;
    __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    return syscall(SYS_capset, &version, none) == 0;
}

// The group is set before the user: when the process has given up its effective user, it may not change the group.
bool dropExtraRights()
{
    if (!hasExtraRights()) {
        return true;
    }
    const auto group = static_cast<gid_t>(getauxval(AT_GID));
    const auto user = static_cast<uid_t>(getauxval(AT_UID));
    return setresgid(group, group, group) == 0 && setresuid(user, user, user) == 0 && dropCapabilities();
}

} // namespace macapi

int issetugid()
{
    return macapi::hasExtraRights() ? 1 : 0;
}
