// A game that asks for its three factories. Its argument, where there is one, is a module that it loads first.
// The exit status is 0 when each loader has found the factory of its own subsystem.
#include "core/platform.h"

#include <dlfcn.h>
#include <stdio.h>

static int call(void (*factory)())
{
    return reinterpret_cast<int (*)()>(factory)();
}

#ifdef FACTORIES_ELSEWHERE
extern "C" int SubsystemVersion(); // the one function of their archive that the game calls
#endif

int main(int argc, char** argv)
{
#ifdef FACTORIES_ELSEWHERE
    if (SubsystemVersion() != 7) {
        return 2;
    }
#endif
    if (argc > 1 && !dlopen(argv[1], RTLD_NOW | RTLD_LOCAL)) {
        fprintf(stderr, "%s\n", dlerror());
        return 2;
    }
    LoadGraphicsAPI("graphics");
    LoadSoundAPI("sound");
    Load3dSoundAPI("sound3d");
    const bool isRight =
        call(gfxCreateGfxSubsystem) == 1 && call(sndCreateSndSubsystem) == 2 && call(sndCreateSnd3dSubsystem) == 3;
    return isRight ? 0 : 2;
}
