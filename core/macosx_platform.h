// The state that the sources of the platform share. Not for games.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

// Frozen, also the fields that the library never reads: docs/architecture.md, "Record layouts and virtual tables".
struct PlatformData_s {
    unsigned int appHandle; // the number that SetApp was given
    void* window;           // the current window, a BKWindow; null when there is none
    int minimized;          // 0 or 1, as SetMinimized was given
    int active;             // 0 or 1, as SetActive was given
    int windowX;            // windowX to windowHeight: the arguments of the last successful InitWindow, in pixels
    int windowY;
    int windowWidth;
    int windowHeight;
    CFDictionaryRef desktopMode; // the mode of the main display at SystemCheck; the system owns it
    int hasVectorUnit;           // 0 or 1
    int cursorHideCount;         // 0: the cursor is shown; -1: hidden
};

extern PlatformData_s s_platformData;

// Stores the present position of the mouse in the key window, not its position at the last event. In pixels from the
// upper left corner of a window that is 600 pixels high, y downward. Stores nothing when there is no key window.
void GetKeyWindowCursorPos(int& x, int& y);
