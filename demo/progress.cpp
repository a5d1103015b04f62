#include "demo/progress.h"

#include <stdio.h>
#include <string>
#include <unistd.h>

static const unsigned int sc_cells = 30;
static const std::chrono::milliseconds sc_pause(50); // between two drawings: more often nobody sees

Progress::Progress(unsigned int total)
    : m_total(total), m_onTerminal(isatty(STDOUT_FILENO) != 0), m_nextDraw(std::chrono::steady_clock::now())
{
}

Progress::~Progress()
{
    if (m_drawn) {
        printf("\r%*s\r", static_cast<int>(sc_cells + 8), "");
        fflush(stdout);
    }
}

void Progress::show(unsigned int done)
{
    const auto now = std::chrono::steady_clock::now();
    if (m_onTerminal && now >= m_nextDraw) {
        m_nextDraw = now + sc_pause;
        draw(done);
    }
}

void Progress::draw(unsigned int done)
{
    const std::string bar(done * sc_cells / m_total, '#');
    printf("\r[%-*s] %3u %%", static_cast<int>(sc_cells), bar.c_str(), done * 100 / m_total);
    fflush(stdout);
    m_drawn = true;
}
