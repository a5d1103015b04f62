// The terminal of a command that shows a picture of text: its size, its keys, and putting it back at the end.
#pragma once

#include <termios.h>

class Terminal {
public:
    Terminal(); // takes over the screen, when the standard input and output are a terminal
    ~Terminal();

    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    bool isScreen() const { return m_isScreen; }
    unsigned int width() const; // characters
    unsigned int height() const;

    // Waits for a key. Returns it; 0 when the time is over, 'q' when the process is asked to end.
    char waitForKey(double seconds) const;

private:
    bool m_isScreen;
    termios m_before;
};
