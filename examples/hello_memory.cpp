// What you learn: how a game starts and ends with its memory in banks.
//
// A bank is a budget with a name. Each block carries the place in the source that asked for it, so a report can name
// it.
#include "core/memorymgr.h"

#include <stdio.h>
#include <string.h>

class GameMemory : public MemoryMgr {
    void onOutOfMemory(int) override {} // save a log here; the process ends after this call
};

int main()
{
    // The manager comes first and ends last: everything else in core allocates from it.
    GameMemory memory;
    const int core = memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 20); // the first bank is core's own
    const int units = memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "units", 1 << 16);
    memory.initialize(); // the banks get their memory here

    // From here on g_MemoryPtr is the manager. The result is never null: a game without memory ends in alloc.
    char* name = static_cast<char*>(g_MemoryPtr->alloc(units, 20, "example/hello", __LINE__));
    strcpy(name, "Footman");
    printf("bank %d has %u bytes, bank %d has %u\n", core, g_MemoryPtr->getMemoryBankSize(core), units,
           g_MemoryPtr->getMemoryBankSize(units));
    printf("\"%s\" is in a block that can hold %u bytes\n", name, g_MemoryPtr->getSize(units, name));

    printf("the first free returns %d, which is MEMERR_NONE\n", g_MemoryPtr->free(units, name));
    printf("the second returns %d, which is MEMERR_BLOCK, and does nothing\n", g_MemoryPtr->free(units, name));
    return 0; // the destructor writes a size for each bank, from which the next run starts
}
