// The names of the factories that the loaders look for, as undefined weak references. This source is part of core,
// the library that every game links.
//
// On the Mac, a program's own functions can always be found by name. Elsewhere, a linker exports a function of the
// program only if a library that the program links refers to the function. These references make the linker export
// them. The references are weak, so that a program without factories links as well. No code reads the table.
#pragma GCC visibility push(default)
extern "C" {
__attribute__((weak)) void CreateGfxSubsystem();
__attribute__((weak)) void CreateSndSubsystem();
__attribute__((weak)) void CreateSnd3dSubsystem();
}
#pragma GCC visibility pop

__attribute__((used)) static void (*const s_factories[])() = {CreateGfxSubsystem, CreateSndSubsystem,
                                                              CreateSnd3dSubsystem};
