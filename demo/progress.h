// A progress bar, on a terminal; elsewhere nothing at all.
#pragma once

#include <chrono>

class Progress {
public:
    explicit Progress(unsigned int total);
    ~Progress(); // takes the bar away

    void show(unsigned int done);

private:
    void draw(unsigned int done);

    const unsigned int m_total;
    const bool m_onTerminal;
    bool m_drawn = false;
    std::chrono::steady_clock::time_point m_nextDraw;
};
