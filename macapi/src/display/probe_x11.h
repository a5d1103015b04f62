// Whether an X server answers. Xlib itself waits for a silent server without an end, and ends the process when a server
// hangs up on it.
#pragma once

#include <X11/Xlib.h>

namespace macapi {

// A connection of our own, made before Xlib makes one. Keep the probe until then: some servers start anew when their
// last client goes.
class Probe {
public:
    Probe(); // to the display that DISPLAY names; takes 5 seconds at most, after host names are looked up
    ~Probe();
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;

    // False for a server that could be reached and did not answer. True for one that answered. True also for a display
    // that cannot be reached at all, which Xlib finds out at once, and for a name that the probe can't read.
    bool allowsXlib() const { return m_allowed; }

private:
    int m_socket; // -1 where there is none
    bool m_allowed;
};

// Xlib's own connection to the display that DISPLAY names. Null when there is no such server, or when it hangs up.
Display* openDisplay();

// Waits at most 5 seconds for an answer to a letter that the client sends to its own window, mailbox. All events on the
// connection are thrown away. False when no answer comes or the server has hung up; the connection is of no use then.
bool answersPing(Display* display, Window pingWindow);

} // namespace macapi
