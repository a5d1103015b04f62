// The dynamic linker, as far as core asks it: functions of the process, found by name.
//
//     if (NSIsSymbolNameDefined("_CreateGfxSubsystem")) {
//         void* address = NSAddressOfSymbol(NSLookupAndBindSymbol("_CreateGfxSubsystem"));
//     }
//
// A name is that of a C symbol with an underscore in front, as the Mac's linker writes it. It is looked for in the program
// and in every library it has loaded.
#ifndef MACAPI_MACHO_DYLD_H
#define MACAPI_MACHO_DYLD_H

#include <stdbool.h>

#pragma GCC visibility push(default)
#ifdef __cplusplus
extern "C" {
#endif

typedef struct __NSSymbol* NSSymbol;

bool NSIsSymbolNameDefined(const char* name);
NSSymbol NSLookupAndBindSymbol(const char* name); // null when it isn't defined
void* NSAddressOfSymbol(NSSymbol symbol);

#ifdef __cplusplus
}
#endif
#pragma GCC visibility pop

#endif
