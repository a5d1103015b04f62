// What you learn: what a graphics module looks like. module.cpp is the game that finds it.
//
// This module draws on the terminal. One for windows would draw with AppKit or OpenGL, and the game would not change.
#include "module.h"

#include <stdio.h>
#include <string>

class TextGraphics : public Graphics {
public:
    void drawBar(const char* name, int length) override
    {
        printf("%-8s %s\n", name, std::string(static_cast<size_t>(length), '#').c_str());
    }
};

// Declared extern "C", and visible: core looks for it by this name.
extern "C" __attribute__((visibility("default"))) Graphics* CreateGfxSubsystem()
{
    static TextGraphics s_graphics;
    return &s_graphics;
}
