// The memory manager of a fuzzer: each block comes from malloc and has exactly its size, so the address sanitizer sees
// each access outside of a block. A program that includes this defines two functions of the manager in the place of
// the library's.
//
//     makePlainMemory();                  // g_MemoryPtr is no longer null
//     ...
//     require(s_blocks.empty());
#pragma once

#include "core/memorymgr.h"
#include "core/platform.h"

#include <set>
#include <stdlib.h>

static std::set<void*> s_blocks; // that were not freed yet

const char* Platform::GetAppDataDir(const char*)
{
    return ""; // no folder is made
}

void* MemoryMgr::alloc(int, unsigned long size, const char*, unsigned int)
{
    return *s_blocks.insert(malloc(size)).first;
}

int MemoryMgr::free(int, void* block)
{
    if (s_blocks.erase(block) != 1) {
        abort();
    }
    ::free(block);
    return 0;
}

class PlainMemory : public MemoryMgr {
    void onOutOfMemory(int) override {}
};

// The manager is never destroyed: its destructor would write a bank-size file.
inline void makePlainMemory()
{
    if (!g_MemoryPtr) {
        new PlainMemory;
    }
}
