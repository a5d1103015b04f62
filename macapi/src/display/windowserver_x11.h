// The connection to the X server, for the sources that use it.
//
// 1. The connection is our own, not AppKit's. It is opened at the first question to the server, and stays open until
//    the process ends or the server does not answer. Then the server undoes our changes. A forked child opens its own
//    connection.
// 2. A thread uses the connection only while it holds a ServerLock. One thread holds the lock at a time; the lock is
//    not recursive.
// 3. X errors of this connection are caught while a ServerLock exists. Otherwise Xlib would print them and end the
//    process.
#pragma once

#include <X11/Xlib.h>

#include <memory>
#include <mutex>

namespace macapi {

class ServerLock {
public:
    ServerLock();
    ~ServerLock();

    explicit operator bool() const; // true while the server is connected and answers
    Display* display() const;
    Window root() const;

    // Waits until the server has handled all requests. Returns false if it refused one since this lock was taken, or
    // if the connection is lost.
    bool succeeded() const;

private:
    const std::lock_guard<std::mutex> m_lock;
    const bool m_connected;
};

// A record that Xlib allocated, with the function that frees it.
template <class T>
using XResource = std::unique_ptr<T, void (*)(T*)>;

// The rectangle and the rate that an output shows. readMainDisplay returns false, and does not change *state, if the
// connection is lost.
struct OutputState {
    int x; // pixels of the root window: the upper left corner
    int y;
    int width;
    int height;
    double refreshRate; // hertz; 0 if the server does not tell
    bool isWayland;     // inside a Wayland session, which controls the cursor
};
bool readMainDisplay(const ServerLock& xserver, OutputState* state);

// A pixel of the root window. isOnAnOutput returns true if an output shows it; false on a server without outputs.
struct RootPixel {
    int x;
    int y;
};
bool isOnAnOutput(const ServerLock& xserver, const RootPixel& pixel);

// Forgets the state of the cursor. A forked child calls this: the changes belong to the connection of its parent.
void forgetCursor();

} // namespace macapi
