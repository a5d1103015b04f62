// Another user of the machine, as only root's tests can have one.
//
//     SKIP_WITHOUT_USERS();
//     openToAll();
//     EXPECT_EQ(runAs(sc_mallory, [] { fs::create_symlink("/etc/passwd", "link"); }), 0);
#pragma once

#include "tests/support/preferences_fixture.h"

#include <grp.h>
#include <stdlib.h>

static const uid_t sc_anna = 61001; // plays
static const uid_t sc_bea = 61002;  // plays as well
static const uid_t sc_mallory = 61003;

// Becomes that user for good. False where that is not allowed.
inline bool become(uid_t user)
{
    const gid_t group = user;
    return setgroups(0, nullptr) == 0 && setresgid(group, group, group) == 0 && setresuid(user, user, user) == 0;
}

// Runs a part in a process of that user's; what it came to.
inline int runAs(uid_t user, const std::function<void()>& part)
{
    return run([&] {
        if (!become(user)) {
            _exit(2);
        }
        part();
    });
}

#define SKIP_WITHOUT_USERS()                                                                                         \
    if (geteuid() != 0 || runAs(sc_anna, [] {}) != 0) {                                                              \
        GTEST_SKIP() << "only root can be another user";                                                             \
    }

// Lets all users into the test's folder, and lets them write to the machine's Library folder.
inline void openToAll()
{
    umask(022);
    chmod(".", 0755);
    chmod("MACAPI_LIBRARY", 0777);
    fs::create_directories("MACAPI_LIBRARY/Preferences");
    chmod("MACAPI_LIBRARY/Preferences", 0777);
}

inline void giveTo(uid_t user, const std::string& path)
{
    ASSERT_EQ(lchown(path.c_str(), user, user), 0) << path;
}

// A file that is a user's alone.
inline void fillAs(uid_t user, const std::string& path, const std::string& contents, mode_t mode = 0600)
{
    fill(path, contents);
    giveTo(user, path);
    chmod(path.c_str(), mode);
}

inline void linkAs(uid_t user, const std::string& target, const std::string& path)
{
    fs::create_symlink(target, path);
    giveTo(user, path);
}
