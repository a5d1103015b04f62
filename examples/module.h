// The interface between module.cpp, a game, and module_gfx.cpp, its graphics module. Both include this header.
#pragma once

class Graphics {
public:
    virtual void drawBar(const char* name, int length) = 0;

protected:
    ~Graphics() = default; // the module owns the object
};

typedef Graphics* CreateGraphics_t();
