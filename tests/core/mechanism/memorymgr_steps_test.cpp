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

// A member function, called as by the debugger.
template <typename Result, typename... Arguments>
static Result call(const char* step, Arguments... arguments)
{
    return reinterpret_cast<Result (*)(Arguments...)>(dlsym(RTLD_DEFAULT, step))(arguments...);
}

TEST(Steps, FindANodeJoinItWithItsNeighboursAndAddItToTheList)
{
    struct Game : MemoryMgr {
        using MemoryMgr::banks;
        void onOutOfMemory(int) override {}
    } memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "heap", 1024);
    memory.initialize();
    MemoryBank_s* bank = &memory.banks[0];
    MemoryHeapNode_s* node = bank->freeList;
    const char* find = "_ZN9MemoryMgr16_heapFindBestFitEP12MemoryBank_sm";
    const char* add = "_ZN9MemoryMgr16_heapAddFreeNodeEP12MemoryBank_sP16MemoryHeapNode_s";
    const char* join = "_ZN9MemoryMgr16_compactHeapNodeEP12MemoryBank_sP16MemoryHeapNode_s";
    EXPECT_EQ(call<MemoryHeapNode_s*>(find, &memory, bank, 1024ul), node);
    EXPECT_EQ(call<MemoryHeapNode_s*>(find, &memory, bank, 1025ul), nullptr);

    bank->freeList = nullptr; // the node is on no list
    EXPECT_EQ(call<int>(join, &memory, bank, node), 0);
    EXPECT_EQ(bank->freeList, nullptr);
    call<void>(add, &memory, bank, node);
    EXPECT_EQ(bank->freeList, node);

    node->size = 512; // and becomes two
    MemoryHeapNode_s* upper = reinterpret_cast<MemoryHeapNode_s*>(reinterpret_cast<char*>(node) + 512);
    upper->magic = node->magic;
    upper->size = 512;
    EXPECT_EQ(call<int>(join, &memory, bank, upper), 1);
    EXPECT_EQ(bank->freeList, node);
    EXPECT_EQ(static_cast<unsigned int>(node->size), 1024u);
}
