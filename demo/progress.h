// A progress bar on the terminal. Prints nothing when the standard output is not a terminal.
#pragma once

#include <chrono>
#include <stddef.h>

class Progress {
public:
    explicit Progress(unsigned int total);
    ~Progress(); // erases the bar

    void show(unsigned int done, const char* status);

private:
    void draw(unsigned int done, const char* status);

    const unsigned int m_total;
    const bool m_onTerminal;
    size_t m_columns = 0; // the width of the widest bar that was drawn
    std::chrono::steady_clock::time_point m_nextDraw;
};
