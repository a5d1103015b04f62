// A picture: boxes and labels, in the order in which they are drawn.
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

// One line of text. x and width are the space that it may take; a wider text is drawn in a smaller font. y is the
// middle of the line.
struct Label {
    float x, y, width;
    float size; // of the font
    e_Align align;
    bool isBold;
    unsigned int colour;
    std::string text; // UTF-8
};

// All labels are drawn after all boxes.
struct Picture {
    std::vector<Box> boxes;
    std::vector<Label> labels;
};
