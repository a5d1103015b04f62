// Does an X server answer? Xlib itself waits without end for a silent server, and ends the process when a server
// closes the connection.
#pragma once

#include <X11/Xlib.h>

namespace macapi {

// A test connection, made before Xlib connects. The caller keeps the probe until Xlib has connected: some servers
// restart when their last client closes its connection.
class Probe {
public:
    Probe(); // connects to the display that DISPLAY names; at most 5 seconds, plus a host name's look-up
    ~Probe();
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;

    // Returns false for a server that was reached and did not answer. Returns true for a server that answered.
    // Returns true also for a display that cannot be reached, because Xlib finds that out at once, and for a display
    // name that the probe cannot parse.
    bool allowsXlib() const { return m_allowed; }

private:
    explicit Probe(int socket);

    int m_socket; // -1: none
    bool m_allowed;
};

// Opens Xlib's connection to the display that DISPLAY names. Returns null if there is no such server, or if it closes
// the connection. Throws std::bad_alloc if there is no memory to ask the server.
Display* openDisplay();

// Sends an event to pingWindow, a window of this client, and waits at most 5 seconds until it arrives. All other
// events on the connection are discarded. Returns false if the event does not arrive or the server has closed the
// connection; the connection is then useless.
bool answersPing(Display* display, Window pingWindow);

} // namespace macapi
