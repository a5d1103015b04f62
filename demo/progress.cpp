#include "demo/progress.h"

#include "demo/table.h"

#include <algorithm>
#include <stdio.h>
#include <unistd.h>

static const unsigned int sc_cells = 30;
static const std::chrono::milliseconds sc_pause(50); // at least, between two drawings: a player sees no more

Progress::Progress(unsigned int total)
    : m_total(total), m_onTerminal(isatty(STDOUT_FILENO) != 0), m_nextDraw(std::chrono::steady_clock::now())
{
}

Progress::~Progress()
{
    if (m_columns > 0) {
        printf("\r%*s\r", static_cast<int>(m_columns), "");
        fflush(stdout);
    }
}

void Progress::show(unsigned int done, const char* status)
{
    const auto now = std::chrono::steady_clock::now();
    if (m_onTerminal && now >= m_nextDraw) {
        m_nextDraw = now + sc_pause;
        draw(done, status);
    }
}

void Progress::draw(unsigned int done, const char* status)
{
    const std::string bar(done * sc_cells / m_total, '#');
    const size_t columns = sc_cells + 9 + ColumnsOf(status);
    m_columns = std::max(m_columns, columns);
    printf("\r[%-*s] %3u %% %s%*s", static_cast<int>(sc_cells), bar.c_str(), done * 100 / m_total, status,
           static_cast<int>(m_columns - columns), "");
    fflush(stdout);
}
