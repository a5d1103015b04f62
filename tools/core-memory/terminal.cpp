#include "tools/core-memory/terminal.h"

#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>

static volatile sig_atomic_t s_isAskedToEnd = 0;

static void noteEnd(int)
{
    s_isAskedToEnd = 1;
}

Terminal::Terminal()
    : m_isScreen(isatty(STDIN_FILENO) && isatty(STDOUT_FILENO) && tcgetattr(STDIN_FILENO, &m_before) == 0)
{
    struct sigaction action = {};
    action.sa_handler = noteEnd;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    if (!m_isScreen) {
        return;
    }
    termios keys = m_before;
    keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    tcsetattr(STDIN_FILENO, TCSANOW, &keys);
    printf("\033[?1049h\033[?25l"); // the other screen, without a cursor
    fflush(stdout);
}

Terminal::~Terminal()
{
    if (m_isScreen) {
        printf("\033[?25h\033[?1049l");
        fflush(stdout);
        tcsetattr(STDIN_FILENO, TCSANOW, &m_before);
    }
}

static winsize sizeOfWindow()
{
    winsize size = {};
    ioctl(STDOUT_FILENO, TIOCGWINSZ, &size);
    return size;
}

unsigned int Terminal::width() const
{
    const unsigned int width = sizeOfWindow().ws_col;
    return m_isScreen && width != 0 ? width : 100;
}

unsigned int Terminal::height() const
{
    const unsigned int height = sizeOfWindow().ws_row;
    return m_isScreen && height != 0 ? height : 40;
}

char Terminal::waitForKey(double seconds) const
{
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    const timespec time = {static_cast<time_t>(seconds),
                           static_cast<long>((seconds - static_cast<double>(static_cast<time_t>(seconds))) * 1e9)};
    sigset_t none;
    sigemptyset(&none);
    const int ready = s_isAskedToEnd ? 0 : ppoll(&input, m_isScreen ? 1 : 0, &time, &none);
    char key = 0;
    if (ready == 1 && read(STDIN_FILENO, &key, 1) != 1) {
        return 'q'; // the terminal is gone
    }
    return s_isAskedToEnd ? 'q' : key;
}
