// What you learn: which calls many threads may make at once.
//
// alloc, free and getSize of the memory manager, new and delete of classes in a bank, and log may be called from any
// thread. Each bank has a lock of its own, so threads that use different banks do not wait for each other. Almost
// everything else in core belongs to the main thread; each header says so.
#include "core/memorymgr.h"
#include "logger/logger.h"

#include <stdio.h>
#include <thread>
#include <vector>

class GameMemory : public MemoryMgr {
public:
    unsigned int served(int bank) const { return banks[bank].allocCount; }

private:
    void onOutOfMemory(int) override {}
};

// Allocates and frees blocks of many sizes, as the loader of a level does.
static void load(int bank)
{
    std::vector<void*> blocks;
    for (unsigned long round = 0; round < 500; ++round) {
        blocks.push_back(g_MemoryPtr->alloc(bank, 1 + round % 97, "game/loader", __LINE__));
        if (round % 3 == 0) {
            g_MemoryPtr->free(bank, blocks.back());
            blocks.pop_back();
        }
    }
    for (void* block : blocks) {
        g_MemoryPtr->free(bank, block);
    }
}

int main()
{
    const int threadCount = 4;
    GameMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 20);
    const int shared = memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "shared", 1 << 18);
    const int own = memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "own", 1 << 18);
    memory.initialize(); // before the threads begin

    std::vector<std::thread> threads;
    for (int number = 0; number < threadCount; ++number) {
        threads.emplace_back(load, number == 0 ? own : shared); // the first thread has a bank for itself
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    // checkMemory takes no lock, so the threads have to be over.
    for (int bank : {own, shared}) {
        printf("%4u blocks served, the bank is %s\n", memory.served(bank),
               memory.checkMemory(bank, nullptr, true) == MEMERR_NONE ? "sound and empty" : "not empty");
    }
    return 0;
}
