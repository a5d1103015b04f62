// What you learn: how to ask a bank what was not freed, and where it was allocated.
//
// Call such a report where a bank should be empty: after a level, and before the manager is destroyed. No debug build
// is needed, because every block has its tag (source name and line) in all builds.
#include "core/memorymgr.h"

#include <stdio.h>

class GameMemory : public MemoryMgr {
public:
    // Prints each block of a heap bank that is still in use, the newest first. Returns the number of these blocks.
    // The main thread calls it while no other thread uses the bank.
    int reportLeaks(int bank) const
    {
        return reportList(banks[bank].usedList) + reportList(banks[bank].extList); // inside the bank, fallback blocks
    }

private:
    static int reportList(const MemoryHeapNode_s* first)
    {
        const unsigned int fallbackBit = 0x80000000;
        int count = 0;
        for (const MemoryHeapNode_s* node = first; node; node = node->next, ++count) {
            const char* name = node->file;
            const unsigned int line = node->line;
            const unsigned int bytes = node->size & ~fallbackBit;
            printf("  %u bytes from %s, line %u\n", bytes, name, line);
        }
        return count;
    }

    void onOutOfMemory(int) override {}
};

static void playLevel(int bank)
{
    void* map = g_MemoryPtr->alloc(bank, 1000, "game/map", 12);
    g_MemoryPtr->alloc(bank, 100, "game/arrow", 34); // the game forgets this block
    g_MemoryPtr->alloc(bank, 500, "game/music", 56); // and this one
    g_MemoryPtr->free(bank, map);
}

int main()
{
    GameMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 20);
    const int level = memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "level", 4096);
    memory.initialize();

    playLevel(level);

    printf("the bank \"level\" after the level:\n");
    printf("%d blocks were not freed\n", memory.reportLeaks(level));
    const bool isEmpty = memory.checkMemory(level, nullptr, true) == MEMERR_NONE; // true: the bank has to be empty
    printf("checkMemory says that the bank is %s\n", isEmpty ? "empty" : "not empty");
    return 0;
}
