// A game that looks at its own banks. check.sh compares its output.
#include "core/memorymgr.h"
#include "watch/gamewatch.h"

class GameMemory : public MemoryMgr {
    void onOutOfMemory(int) override {}
};

int main()
{
    GameMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 20);
    memory.initialize();
    void* block = g_MemoryPtr->alloc(0, 100, "game/watched", __LINE__);

    const watch::Snapshot snapshot = watch::takeGameSnapshot("");
    size_t blocks = 0;
    for (const watch::PlaceSum& place : watch::sumPlaces(snapshot)) {
        blocks += place.blocks;
    }
    printf("blocks in use: %zu\n", blocks);
    printf("damage: %s\n", watch::verifyGameBanks().empty() ? "none" : "some");
    g_MemoryPtr->free(0, block);
    return 0;
}
