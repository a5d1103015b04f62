// What you learn: how a game finds its graphics module without naming any of its functions.
//
// A module is a library that exports one C function, its factory: CreateGfxSubsystem. LoadGraphicsAPI looks for a
// function of that name in the program and in all libraries that the process has loaded, so the game can be linked
// with one module or another. module_gfx.cpp is such a module. Sound has LoadSoundAPI and Load3dSoundAPI.
#include "module.h"

#include "core/platform.h"

int main()
{
    // Without a factory, this call ends the process with status 1. The name has no meaning.
    LoadGraphicsAPI("graphics");

    // core stores the factory without knowing its type. The game and the module agree on the type in module.h.
    Graphics* graphics = reinterpret_cast<CreateGraphics_t*>(gfxCreateGfxSubsystem)();
    graphics->drawBar("core", 12);
    graphics->drawBar("units", 30);

    UnloadGraphicsAPI(); // does nothing; it is there for games that call it
    return 0;
}
