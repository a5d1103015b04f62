// The window server, as far as the display and cursor calls want to know it: one implementation for X11, one for hosts
// without.
#pragma once

namespace macapi {

const unsigned int sc_mainDisplay = 1; // the only one that has a number here

struct DisplayMode {
    int width; // pixels
    int height;
    int bitsPerPixel;
    double refreshRate; // hertz; 0 when the server doesn't say

    bool operator==(const DisplayMode& other) const
    {
        return width == other.width && height == other.height && bitsPerPixel == other.bitsPerPixel &&
               refreshRate == other.refreshRate;
    }
};

// Looks for the server once; afterwards only its end can change the answer.
bool hasWindowServer();

// What the main display shows now. False, and nothing written, without a window server.
bool mainDisplayMode(DisplayMode* mode);

// The cursor. False when there is no window server, or it can't.
bool hideCursor(); // counts
bool showCursor();
bool moveCursor(double x, double y); // in pixels of the main display, y down; brought to its edge
bool connectMouseAndCursor(bool connected);

} // namespace macapi
