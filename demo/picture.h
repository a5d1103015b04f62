// A picture: panes, and the shapes and labels in them.
//
// All positions and sizes are in pixels of the view, from its upper left corner, y down. A colour is 0xRRGGBB.
#pragma once

#include <memory>
#include <string>
#include <vector>

struct Point {
    float x, y;
};

struct Rect {
    float x, y, width, height;
};

typedef std::vector<Point> Outline;

// A filled area, or a line. A point is in the area when it is inside of an odd number of the outlines.
struct Shape {
    unsigned int colour;
    float alpha;  // 1 covers what is below, 0 shows nothing
    bool isRound; // the outlines are curves that touch the middle of each edge, instead of the edges
    float line;   // 0: the area is filled; else a line of this width is drawn along the outlines
    std::vector<Outline> outlines;
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

typedef std::vector<Shape> Shapes;

// A part of the view. The module draws the contents in this order and cuts them off at the edges of the area. It
// draws a pane again only after the pane has changed.
struct Pane {
    Rect area;
    std::shared_ptr<const Shapes> ground; // covers the pane; the module draws it once, into an image. May be null
    Shapes shapes;
    std::vector<Label> labels;
};

bool operator==(const Pane& left, const Pane& right);

// The panes cover the view, and do not overlap.
typedef std::vector<Pane> Picture;
