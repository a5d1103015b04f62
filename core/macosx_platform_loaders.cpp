// The factories of graphics and sound, which other modules of the process define.
#include "core/platform.h"

#include <mach-o/dyld.h>
#include <stdlib.h>

void (*gfxCreateGfxSubsystem)();
void (*sndCreateSndSubsystem)();
void (*sndCreateSnd3dSubsystem)();

// Stores the address of a symbol, with the underscore that C names carry. There is no game without its subsystems: the
// process ends, without a word, when one is missing.
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
