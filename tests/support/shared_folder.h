// A folder that another user of the machine may write to. The other user attacks the test's user.
//
//     SharedFolder shared("shared");                     // all users may write to it
//     shared.act("ln -s ../private strings.utf8");       // the other user's command, in that folder
//
// Only root can act as another user: elsewhere a test skips itself.
#pragma once

#include <gtest/gtest.h>

#include <stdlib.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#define SKIP_UNLESS_ROOT()                                                                                           \
    if (geteuid() != 0) {                                                                                            \
        GTEST_SKIP() << "only root can act as another user";                                                         \
    }

const uid_t sc_attacker = 1; // the number after root's, so that a comparison that is off by one is noticed
const uid_t sc_victim = 23456;

class SharedFolder {
public:
    explicit SharedFolder(const std::string& path) : m_path(path)
    {
        chmod(".", 0755); // the test's own folder lets other users pass
        mkdir(path.c_str(), 0755);
        chmod(path.c_str(), 0777);
    }

    // Runs a command of the shell as the other user.
    void act(const std::string& command) const
    {
        const std::string user = std::to_string(sc_attacker);
        const std::string line = "cd '" + m_path + "' && setpriv --reuid=" + user + " --regid=" + user +
                                 " --clear-groups sh -c '" + command + "'";
        EXPECT_EQ(system(line.c_str()), 0) << command;
    }

private:
    const std::string m_path;
};
