// The dynamic linker, the part that core uses: functions of the process, found by name.
//
//     if (NSIsSymbolNameDefined("_CreateGfxSubsystem")) {
//         void* address = NSAddressOfSymbol(NSLookupAndBindSymbol("_CreateGfxSubsystem"));
//     }
//
// A name is the name of a C symbol after an underscore, as the Mac's linker writes it. The program and all libraries
// that it has loaded are searched.
#ifndef MACAPI_MACHO_DYLD_H
#define MACAPI_MACHO_DYLD_H

#include <stdbool.h>

#pragma GCC visibility push(default)
#ifdef __cplusplus
extern "C" {
#endif

typedef struct __NSSymbol* NSSymbol;

bool NSIsSymbolNameDefined(const char* name);
NSSymbol NSLookupAndBindSymbol(const char* name); // null if it is not defined
void* NSAddressOfSymbol(NSSymbol symbol);

#ifdef __cplusplus
}
#endif
#pragma GCC visibility pop

#endif
