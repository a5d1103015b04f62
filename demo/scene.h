// What a frame of the game shows, and where in its picture.
#pragma once

#include "demo/bankbar.h"
#include "demo/campaign.h"
#include "demo/picture.h"

// What the player does with keyboard and mouse.
struct Input {
    bool hasKey = false;
    int macKey = 0;                // the last one pressed: its number on the Mac
    unsigned int key = 0;          // ... and the engine's code for it, 0 for none
    int mouseX = 0, mouseY = 0;    // in the window, from its lower left corner, y up
    unsigned int mouseButtons = 0; // those held down; bit 0 is the left one, bit 1 the right one
    bool isCaptured = false;
    bool isCursorShown = true;
    bool isFullScreen = false;
};

struct Scene {
    unsigned int frame, frames; // the one that is shown, from 1, and how many there are
    const Campaign& campaign;
    std::vector<BankBar> banks;
    Input input;
};

static const size_t sc_barCells = 240; // a bar has so many at all sizes

// The picture for a view of this size, in pixels. All of it scales with the view.
Picture LayOut(const Scene& scene, float width, float height);
