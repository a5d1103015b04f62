// The graphics module of a build without AppKit: start always returns false, so no window opens.
#include "demo/gfx/gfxsubsystem.h"

class NoGfx : public GfxSubsystem {
public:
    bool start(const char*) override { return false; }
    void attach(void*) override {}
    void getSize(float* width, float* height) override { *width = *height = 0; }
    bool nextEvent(GfxEvent*) override { return false; }
    void draw(const Picture&) override {}
};

GfxSubsystem* CreateGfxSubsystem()
{
    static NoGfx s_gfx;
    return &s_gfx;
}
