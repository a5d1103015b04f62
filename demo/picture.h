// What is to be seen: boxes and texts, in the order in which they are drawn.
//
// All positions and sizes are in pixels of the view, from its upper left corner, y down. A colour is 0xRRGGBB.
#pragma once

#include <string>
#include <vector>

struct Box {
    float x, y, width, height;
    unsigned int colour;
};

enum e_Align : int { ALIGN_LEFT, ALIGN_CENTRE, ALIGN_RIGHT };

// One line of text in a box as wide as it may become: one that is wider is drawn smaller. y is the box's middle.
struct Label {
    float x, y, width;
    float size; // of the font
    e_Align align;
    bool isBold;
    unsigned int colour;
    std::string text; // UTF-8
};

// Labels lie on top of boxes.
struct Picture {
    std::vector<Box> boxes;
    std::vector<Label> labels;
};
