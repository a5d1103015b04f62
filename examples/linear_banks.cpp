// What you learn: memory that you free all at once, for a level and for a frame.
//
// A linear bank serves one block directly after the other, without headers. Nothing has to be freed one by one: the
// game empties the bank when the level or the frame is over. This is the fastest memory that core has.
#include "core/memorymgr.h"

#include <stdio.h>

class GameMemory : public MemoryMgr {
public:
    void show(const char* moment, int bank) const
    {
        const MemoryBank_s& it = banks[bank];
        printf("%-20s %-5s %5u of %u bytes in use, emptied %u times\n", moment, it.name, it.bytesInUse, it.size,
               it.freeCount);
    }

private:
    void onOutOfMemory(int) override {}
};

struct Arrow {
    float x, y;
};

static void drawFrame(int frameBank, int arrows)
{
    // A list that only this frame needs. No call frees it.
    const unsigned long bytes = static_cast<unsigned long>(arrows) * sizeof(Arrow);
    Arrow* visible = static_cast<Arrow*>(g_MemoryPtr->alloc(frameBank, bytes, "game/arrows", __LINE__));
    for (int i = 0; i < arrows; ++i) {
        visible[i] = {static_cast<float>(i), 0.5f};
    }
}

int main()
{
    GameMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 20);
    const int level = memory.defineBank(MEMLOC_DEFAULT, MEMBANK_LINEAR, "level", 1 << 16);
    const int frame = memory.defineBank(MEMLOC_DEFAULT, MEMBANK_LINEAR, "frame", 1 << 12);
    memory.initialize();

    g_MemoryPtr->alloc(level, 30000, "game/map", __LINE__);
    memory.show("the level is loaded", level);
    for (int number = 1; number <= 3; ++number) {
        drawFrame(frame, number * 100);
        memory.show("a frame is drawn", frame);
        g_MemoryPtr->free(frame, nullptr); // the frame is over: empty the bank
    }
    g_MemoryPtr->free(level, nullptr); // the level is over
    memory.show("the level is over", level);
    memory.show("and the frames", frame);
    return 0;
}
