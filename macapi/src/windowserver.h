// The window server, as far as the display calls want to know it: one implementation for X11, one for hosts without.
#pragma once

namespace macapi {

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

} // namespace macapi
