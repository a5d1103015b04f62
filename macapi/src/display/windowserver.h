// What the exported calls for the display and the cursor ask of the window server. windowserver_x11.cpp and
// cursor_x11.cpp implement these functions with X11, windowserver_none.cpp for builds without X11.
#pragma once

namespace macapi {

const unsigned int sc_mainDisplay = 1; // the only display that has a number

struct DisplayMode {
    int width; // pixels
    int height;
    int bitsPerPixel;
    double refreshRate; // hertz; 0 if the server does not tell

    bool operator==(const DisplayMode& other) const
    {
        return width == other.width && height == other.height && bitsPerPixel == other.bitsPerPixel &&
               refreshRate == other.refreshRate;
    }
};

// Returns true if there is a window server. The first call connects to it. Later the result becomes false if the
// server ends or does not answer, and does not become true again. A forked child connects again.
bool hasWindowServer();

// Reads the current mode of the main display. Returns false, and does not change *mode, without a window server.
bool mainDisplayMode(DisplayMode* mode);

// The cursor. These calls return false if there is no window server, or if it cannot do what was asked.
bool hideCursor(); // n calls need n calls of showCursor to make the cursor visible
bool showCursor();
// x and y: pixels from the upper left corner of the main display, y down. For a point that no output shows, the
// cursor goes to the nearest pixel of the main display.
bool moveCursor(double x, double y);
bool connectMouseAndCursor(bool connected);

} // namespace macapi
