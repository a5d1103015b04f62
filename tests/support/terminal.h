// A terminal whose other end the test reads.
//
//     Terminal terminal;
//     if (!terminal.works()) GTEST_SKIP();
//     system(("program >" + terminal.name()).c_str());
//     EXPECT_EQ(terminal.shown(), "...");
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <string>
#include <termios.h>
#include <unistd.h>

class Terminal {
public:
    Terminal() : m_master(posix_openpt(O_RDWR | O_NOCTTY))
    {
        if (m_master >= 0 && grantpt(m_master) == 0 && unlockpt(m_master) == 0) {
            m_name = ptsname(m_master);
            m_slave = open(m_name.c_str(), O_RDWR | O_NOCTTY); // kept, so that the terminal stays when a program ends
            termios mode;
            tcgetattr(m_slave, &mode);
            cfmakeraw(&mode); // a line feed stays one
            tcsetattr(m_slave, TCSANOW, &mode);
        }
    }
    ~Terminal()
    {
        close(m_slave);
        close(m_master);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    bool works() const { return m_slave >= 0; }
    const std::string& name() const { return m_name; }

    // What was written to it so far.
    std::string shown()
    {
        std::string text;
        pollfd ready = {m_master, POLLIN, 0};
        while (poll(&ready, 1, 0) == 1 && (ready.revents & POLLIN)) {
            char part[4096];
            const ssize_t count = read(m_master, part, sizeof(part));
            text.append(part, count > 0 ? static_cast<size_t>(count) : 0);
        }
        return text;
    }

private:
    const int m_master;
    int m_slave = -1;
    std::string m_name;
};

#define SKIP_WITHOUT(terminal)                                                                                       \
    if (!(terminal).works()) {                                                                                       \
        GTEST_SKIP() << "there are no pseudo-terminals";                                                             \
    }
