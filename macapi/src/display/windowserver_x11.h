// The connection to the X server, for the sources that speak to it.
//
// 1. We have a connection of our own, opened at the first question and kept: nothing that goes on at AppKit's is
//    disturbed, and what the server keeps for us goes when the process does. A forked child opens its own.
// 2. All that touches it happens during a Visit: one at a time, whatever thread it is.
// 3. Errors are caught then, and only then: Xlib would print them and end the process.
#pragma once

#include <X11/Xlib.h>

#include <memory>
#include <mutex>

namespace macapi {

class ServerLock {
public:
    ServerLock();
    ~ServerLock();

    explicit operator bool() const; // whether there is a server, and has not gone since
    Display* display() const;
    Window root() const;

    // Waits until the server has done all that was asked. False when it refused any of it, or has gone.
    bool succeeded() const;

private:
    const std::lock_guard<std::mutex> m_lock;
    const bool m_connected;
};

// What Xlib hands out, with the call that takes it back.
template <class T>
using XResource = std::unique_ptr<T, void (*)(T*)>;

// What the main display shows, and where on the root window. False, and nothing written, when the server has gone.
struct OutputState {
    int x; // pixels
    int y;
    int width;
    int height;
    double refreshRate; // hertz; 0 when the server doesn't say
    bool isWayland;     // a picture inside a Wayland session, which has the last word about the cursor
};
bool readMainDisplay(const ServerLock& xserver, OutputState* state);

// A pixel of the root window, and whether any output shows it. Without outputs, as on an old server, that is false.
struct RootPixel {
    int x;
    int y;
};
bool isOnAnOutput(const ServerLock& xserver, const RootPixel& pixel);

// What was done to the cursor is somebody else's to undo: another process's, whose connection it was done over.
void forgetCursor();

} // namespace macapi
