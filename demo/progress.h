// A progress bar, on a terminal; elsewhere nothing at all.
#pragma once

#include <chrono>
#include <stddef.h>

class Progress {
public:
    explicit Progress(unsigned int total);
    ~Progress(); // takes the bar away

    void show(unsigned int done, const char* status);

private:
    void draw(unsigned int done, const char* status);

    const unsigned int m_total;
    const bool m_onTerminal;
    size_t m_columns = 0; // the most that were drawn
    std::chrono::steady_clock::time_point m_nextDraw;
};
