// The window server: the questions of the display and cursor calls. One implementation uses X11; one is for builds
// without X11.
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

// Returns true if there is a window server. The first call looks for it; later the answer changes only when the
// server ends.
bool hasWindowServer();

// Reads the current mode of the main display. Returns false, and does not change *mode, without a window server.
bool mainDisplayMode(DisplayMode* mode);

// The cursor. These calls return false if there is no window server or it cannot do this.
bool hideCursor(); // hides once more; as many calls of showCursor show it again
bool showCursor();
// To a pixel of the main display, y down. A point on no output is moved to the edge of the main display.
bool moveCursor(double x, double y);
bool connectMouseAndCursor(bool connected);

} // namespace macapi
