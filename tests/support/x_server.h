// An X server of the test's own: Xvfb, on a display number that it finds itself and that DISPLAY names from then on.
#pragma once

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

// A library's function as macapi has loaded it, so that a test program need not be linked with it; and the one behind a
// function of the same name in the program.
#define LOADED(function) reinterpret_cast<decltype(&function)>(dlsym(RTLD_DEFAULT, #function))
#define NEXT(function) reinterpret_cast<decltype(&function)>(dlsym(RTLD_NEXT, #function))

class XServer : public testing::Test {
protected:
    void SetUp() override
    {
        if (!dlopen("libX11.so.6", RTLD_LAZY | RTLD_NOLOAD)) {
            GTEST_SKIP() << "macapi was built without X11";
        }
        if (system("command -v Xvfb > /dev/null") != 0) {
            GTEST_SKIP() << "there is no Xvfb";
        }
    }

    void TearDown() override { end(); }

    // screen is width x height x bits, as "1024x768x24".
    void start(const char* screen, const char* option = nullptr, const char* name = nullptr)
    {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        m_process = fork();
        if (m_process == 0) {
            const int nowhere = open("/dev/null", O_RDWR);
            dup2(nowhere, STDOUT_FILENO);
            dup2(nowhere, STDERR_FILENO);
            const std::string end = std::to_string(ends[1]);
            // Without GLX, which few tests use, the server starts in half the time.
            execlp("Xvfb", "Xvfb", "-displayfd", end.c_str(), "-noreset", m_hasOpenGl ? "+extension" : "-extension",
                   "GLX", "-screen", "0", screen, option, name, nullptr);
            _exit(127);
        }
        close(ends[1]);
        std::string number;
        for (char digit = 0; read(ends[0], &digit, 1) == 1 && digit != '\n';) {
            number += digit;
        }
        close(ends[0]);
        ASSERT_NE(number, "");
        setenv("DISPLAY", (":" + number).c_str(), 1);
    }

    void end()
    {
        if (m_process > 0) {
            kill(m_process, SIGKILL);
            waitpid(m_process, nullptr, 0);
            m_process = 0;
        }
    }

    pid_t m_process = 0;      // the server's
    bool m_hasOpenGl = false; // set it before start
};
