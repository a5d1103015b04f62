// The graphics subsystem: what the game asks of the module that shows it.
//
// The module exports one C function, which the game finds by its name, in whichever module the process has loaded:
//
//     LoadGraphicsAPI("demo_gfx");
//     GfxSubsystem* gfx = reinterpret_cast<CreateGfxSubsystem_t*>(gfxCreateGfxSubsystem)();
//     if (gfx->start(argv[0])) {
//         Platform::SetWindow(Platform::InitWindow(...));
//         gfx->attach(Platform::GetWindow());
//         Platform::SetWindowPos();
//         for (GfxEvent event; gfx->nextEvent(&event);) { ... }
//         gfx->draw(picture);
//     }
//
// The subsystem is one object, the module's own, which lives as long as the process. All calls belong to the main
// thread.
#pragma once

#include "demo/picture.h"

enum e_GfxEvent : int {
    GFX_KEY,    // pressed, or repeated
    GFX_MOUSE,  // moved, or a button went down or up; ask Platform::GetCursorPos before the next event
    GFX_CLOSE,  // the player wants the window closed; it stays until the game does so
    GFX_IGNORED // nothing for a game
};

struct GfxEvent {
    e_GfxEvent type;
    int keyCode;          // GFX_KEY: the key's number on the Mac, as Platform::RawKeyToLocalKey takes it
    unsigned int buttons; // GFX_MOUSE: those held down; bit 0 is the left one, bit 1 the right one
};

class GfxSubsystem {
public:
    // Before the first window; makes the application object. False where nothing can be shown.
    virtual bool start(const char* program) = 0;

    // The view goes into this window, a BKWindow, and leaves the one it was in.
    virtual void attach(void* window) = 0;

    virtual void getSize(float* width, float* height) = 0; // of the view
    virtual bool nextEvent(GfxEvent* event) = 0;           // false when there is none at the moment
    virtual void draw(const Picture& picture) = 0;         // at once

protected:
    ~GfxSubsystem() = default;
};

typedef GfxSubsystem* CreateGfxSubsystem_t();

extern "C" __attribute__((visibility("default"))) GfxSubsystem* CreateGfxSubsystem();
