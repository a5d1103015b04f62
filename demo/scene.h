// What a frame of the game shows, and the layout of its picture.
#pragma once

#include "demo/bankbar.h"
#include "demo/campaign.h"
#include "demo/picture.h"

// What the player does with keyboard and mouse.
struct Input {
    bool hasKey = false;
    int macKey = 0;                // the Mac's key code of the last key that was pressed
    unsigned int key = 0;          // the engine's code of that key; 0 for none
    int mouseX = 0, mouseY = 0;    // pixels from the window's lower left corner, y up
    unsigned int mouseButtons = 0; // the buttons held down; bit 0 is the left button, bit 1 the right button
    bool isCaptured = false;
    bool isCursorShown = true;
    bool isFullScreen = false;
};

struct Scene {
    unsigned int frame, frames; // the frame that is shown, from 1; the number of frames
    const Campaign& campaign;
    std::vector<BankBar> banks;
    Input input;
};

static const size_t sc_barCells = 240; // of a bar, at every size of the view

// Returns the picture for a view of this size in pixels. The whole picture scales with the view.
Picture LayOut(const Scene& scene, float width, float height);
