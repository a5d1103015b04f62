// The graphics subsystem: the interface between the game and the graphics module.
//
// The module exports one C function, CreateGfxSubsystem. The game finds it by name in the modules of the process:
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
// The subsystem is one object. The module owns it until the process ends. Only the main thread may call it.
#pragma once

#include "demo/picture.h"

enum e_GfxEvent : int {
    GFX_KEY,    // a key was pressed, or repeats while it is held
    GFX_MOUSE,  // the mouse moved or a button changed; call Platform::GetCursorPos before the next nextEvent
    GFX_CLOSE,  // the player asked to close the window; it stays open until the game closes it
    GFX_IGNORED // an event that the game does not need
};

struct GfxEvent {
    e_GfxEvent type;
    int keyCode;          // GFX_KEY: the Mac's key code, the argument of Platform::RawKeyToLocalKey
    unsigned int buttons; // GFX_MOUSE: the buttons held down; bit 0 is the left button, bit 1 the right button
    bool isClick;         // GFX_MOUSE: the left button was pressed
};

class GfxSubsystem {
public:
    // Makes the application object. Call it before the first window. Returns false when there is no display.
    virtual bool start(const char* program) = 0;

    // Moves the view into this window, a BKWindow.
    virtual void attach(void* window) = 0;

    virtual void getSize(float* width, float* height) = 0; // of the view
    virtual bool nextEvent(GfxEvent* event) = 0;           // false when no event waits
    virtual void draw(const Picture& picture) = 0;         // returns after drawing

protected:
    ~GfxSubsystem() = default;
};

typedef GfxSubsystem* CreateGfxSubsystem_t();

extern "C" __attribute__((visibility("default"))) GfxSubsystem* CreateGfxSubsystem();
