// What you learn: banks in memory of the game's own.
//
// A location is a source of memory, given by three callbacks. Location 0 is malloc. Location 1 is the game's: here
// one large array, as on a machine without an operating system's heap. core asks the location once for all heap banks
// together, once for each linear bank, and once for each fallback block.
#include "core/memorymgr.h"

#include <stdio.h>

class GameMemory : public MemoryMgr {
    void onOutOfMemory(int) override {}
};

// An arena: hands out the bytes of the array in order. It can only take back what it gave last.
static const unsigned long sc_arenaSize = 1 << 20;
alignas(16) static char s_arena[sc_arenaSize];
static unsigned long s_used;

static void* arenaAlloc(unsigned long size)
{
    const unsigned long rounded = (size + 15) & ~15ul;
    if (rounded < size || rounded > sc_arenaSize - s_used) {
        return nullptr; // core then has no memory for a bank, or ends the game when it needed a fallback block
    }
    void* block = s_arena + s_used;
    s_used += rounded;
    printf("the arena gives %lu bytes\n", size);
    return block;
}

static void* arenaRealloc(void*, unsigned long)
{
    return nullptr; // a linear bank that has overflowed cannot grow here
}

static void arenaFree(void* block)
{
    if (block) {
        printf("the arena takes a piece back, %s\n", block == s_arena ? "its first" : "a later one");
    }
}

int main()
{
    GameMemory memory;
    memory.defineLocAllocCb(MEMLOC_CUSTOM, arenaAlloc);
    memory.defineLocReallocCb(MEMLOC_CUSTOM, arenaRealloc);
    memory.defineLocFreeCb(MEMLOC_CUSTOM, arenaFree);

    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 16);
    const int units = memory.defineBank(MEMLOC_CUSTOM, MEMBANK_HEAP, "units", 1 << 14);
    const int level = memory.defineBank(MEMLOC_CUSTOM, MEMBANK_LINEAR, "level", 1 << 15);
    memory.initialize();

    const char* unit = static_cast<char*>(g_MemoryPtr->alloc(units, 100, "game/unit", __LINE__));
    const char* map = static_cast<char*>(g_MemoryPtr->alloc(level, 5000, "game/map", __LINE__));
    printf("the unit's block is %s\n",
           unit >= s_arena && unit < s_arena + sc_arenaSize ? "in the arena" : "elsewhere");
    printf("the map's block is %s\n", map >= s_arena && map < s_arena + sc_arenaSize ? "in the arena" : "elsewhere");
    return 0; // the destructor gives the two pieces back
}
