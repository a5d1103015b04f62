// What the window shows: the layout of its picture, and what lies under the mouse.
#pragma once

#include "demo/bankview.h"
#include "demo/map.h"
#include "demo/player.h"

// What the player does with keyboard and mouse.
struct Input {
    bool hasKey = false;
    int macKey = 0;                // the Mac's key code of the last key that was pressed
    unsigned int key = 0;          // the engine's code of that key; 0 for none
    int mouseX = 0, mouseY = 0;    // pixels from the window's lower left corner, y up
    unsigned int mouseButtons = 0; // the buttons held down; bit 0 is the left button, bit 1 the right button
    bool isClicked = false;        // the left button was pressed since the last picture
    int digit = 0;                 // the last key from 1 to 9 that was pressed since the last picture; 0 for none
    bool isCaptured = false;
    bool isCursorShown = true;
    bool isFullScreen = false;
    bool isPaused = false;
    float width = 0, height = 0; // of the view
};

struct Scene {
    unsigned int frame, frames; // the frame that is shown, from 1; the number of frames
    float phase;                // the part of the frame that is over, 0 to 1
    const Campaign& campaign;
    const Player& player;
    const std::vector<BankBar>& banks;
    const Input& input;
};

// Returns the picture for a view of this size in pixels. Texts grow with the view, but less than the map does.
Picture LayOut(const Scene& scene, float width, float height);

// What lies under the mouse.
struct Target {
    int reserve = -1; // the reserve's index; -1 for none
    bool isField = false;
    float x = 0, y = 0; // the place on the field
};

Target TargetOf(const Level& level, const Input& input);
