// The steps of the heap that a developer can call from a debugger, in a game without debug information of core:
//
//     (gdb) print ((void* (*)(void*, void*, unsigned long))_ZN9MemoryMgr16_heapFindBestFitEP12MemoryBank_sm)(...)
//
// For this use they are exported and keep their names and arguments, although they are private and nothing outside of
// core calls them. The names are those that g++ and clang++ give them on every host.
#include "core/memorymgr.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

TEST(Steps, KeepTheirNamesAndArgumentsForTheDebugger)
{
    ASSERT_EQ(g_MemoryPtr, nullptr); // a reference to the library, so that the linker keeps it
    for (const char* step : {
             "_ZN9MemoryMgr12_heapBestFitEP12MemoryBank_sRmPKcj",
             "_ZN9MemoryMgr16_heapFindBestFitEP12MemoryBank_sm",
             "_ZN9MemoryMgr16_heapAddFreeNodeEP12MemoryBank_sP16MemoryHeapNode_s",
             "_ZN9MemoryMgr9_heapFreeEP12MemoryBank_sPvPm",
             "_ZN9MemoryMgr16_compactHeapNodeEP12MemoryBank_sP16MemoryHeapNode_s",
             "_ZN9MemoryMgr13_allocExtNodeEP12MemoryBank_smPKcj",
             "_ZN9MemoryMgr12_heapExtFreeEP12MemoryBank_sP16MemoryHeapNode_sPm",
         }) {
        EXPECT_NE(dlsym(RTLD_DEFAULT, step), nullptr) << step;
    }
}
