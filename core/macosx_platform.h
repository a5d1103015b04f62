// The state that the platform's sources share. Not for games.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

struct PlatformData_s {
    unsigned int appHandle;
    void* window; // the current one, a BKWindow
    int minimized;
    int active;
    int windowX; // windowX to windowHeight: as InitWindow was asked
    int windowY;
    int windowWidth;
    int windowHeight;
    CFDictionaryRef desktopMode; // the main display's at start; the system's
    int hasVectorUnit;
    int cursorHideCount; // 0: shown, -1: hidden
};

extern PlatformData_s s_platformData;

// Where the mouse is in the window with the keyboard, whatever the event at hand says: from the upper left corner of a
// window 600 pixels high. x and y stay as they are where there is no such window.
void GetKeyWindowCursorPos(int& x, int& y);
