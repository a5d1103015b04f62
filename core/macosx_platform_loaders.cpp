// Finds the factories of graphics and sound, which other libraries of the process define.
#include "core/platform.h"

#include <mach-o/dyld.h>
#include <stdlib.h>

void (*gfxCreateGfxSubsystem)();
void (*sndCreateSndSubsystem)();
void (*sndCreateSnd3dSubsystem)();

// Stores the address of a symbol, and returns 1. symbol is the function's name with the underscore that the Mac's
// compiler puts before C names. If the symbol is not defined, the process ends with exit(1) and without a message,
// deliberately: a game cannot run without the subsystem.
static int load(const char* symbol, void (**factory)())
{
    if (!NSIsSymbolNameDefined(symbol)) {
        exit(1);
    }
    *factory = reinterpret_cast<void (*)()>(NSAddressOfSymbol(NSLookupAndBindSymbol(symbol)));
    return 1;
}

int LoadGraphicsAPI(const char*)
{
    return load("_CreateGfxSubsystem", &gfxCreateGfxSubsystem);
}

int UnloadGraphicsAPI()
{
    return 1;
}

int LoadSoundAPI(const char*)
{
    return load("_CreateSndSubsystem", &sndCreateSndSubsystem);
}

int UnloadSoundAPI()
{
    return 1;
}

int Load3dSoundAPI(const char*)
{
    return load("_CreateSnd3dSubsystem", &sndCreateSnd3dSubsystem);
}

int Unload3dSoundAPI()
{
    return 1;
}
