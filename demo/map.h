// The map of a battle, as shapes: the ground of the level, and the units and hits, which change with each picture.
#pragma once

#include "demo/battle.h"

extern const unsigned int sc_armyColours[2];

// Where the field lies in the view. The field is as large as the pane allows; the ground goes on beyond its edges.
struct MapView {
    Rect pane;       // pixels
    float left, top; // of the field, in pixels
    float scale;     // pixels per field

    Point at(float x, float y) const { return {left + x * scale, top + y * scale}; } // of a place in fields
};

MapView ViewMap(const Level& level, const Rect& pane);

Shapes GroundOf(const Level& level, const MapView& view);

// Adds a drawing whose point 0, 0 lies at `at`. size: the pixels for each unit of length in the drawing; with a
// negative size the drawing looks to the left.
void AddDrawing(const Drawing& drawing, Point at, float size, unsigned int armyColour, float alpha, Shapes* shapes);
void AddUnit(const UnitKind& kind, int army, Point at, float scale, float alpha, bool looksLeft, Shapes* shapes);

// Returns the units, their health, and the hits of this frame. phase: the part of the frame that is over, 0 to 1.
Shapes UnitsOf(const Battle& battle, const MapView& view, float phase, const Unit* selected);

// Helpers for shapes.
Shape FilledRect(const Rect& rect, unsigned int colour, float alpha = 1);
Shape Ellipse(Point middle, float width, float height, unsigned int colour, float alpha = 1);
