// A game for the tests of core-memory. It fills its banks, prints "ready" and waits until its standard input ends.
//
//     game              heap, linear and fallback blocks
//     game blocks N     N blocks of one bank, every tenth of them freed
//     game damaged      a block is written over its end
//     game waiting      another thread holds a bank's lock all the time
//     game busy         allocates and frees all the time
//     game crash        ends with SIGABRT
#include "core/memorymgr.h"

#include <atomic>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

// The game ends with fallback blocks in use. They stay allocated, and that is no leak to report.
extern "C" __attribute__((used)) const char* __asan_default_options()
{
    return "detect_leaks=0";
}

class GameMemory : public MemoryMgr {
    void onOutOfMemory(int) override {}
};

static std::atomic<bool> s_isWaiting(false);
static std::atomic<bool> s_isOver(false);

static void* waitInside(unsigned long size)
{
    s_isWaiting = true;
    while (!s_isOver) {
        std::this_thread::yield();
    }
    return malloc(size);
}

static void fill(GameMemory& memory)
{
    memory.alloc(0, 100, "game/mesh.cpp", 41);
    void* map = memory.alloc(0, 40, "game/map.cpp", 7);
    memory.alloc(0, 8, "game/mesh.cpp", 42);
    memory.free(0, map);
    memory.alloc(1, 500, "game/sound.cpp", 34);
    memory.alloc(1, 1000, "game/sound.cpp", 35);
    memory.alloc(2, 33, "game/frame.cpp", 1);
    memory.alloc(-1, 10, "game/log.cpp", 3);
}

static void fillWith(GameMemory& memory, int bank, int count)
{
    std::vector<void*> blocks;
    for (int index = 0; index < count; ++index) {
        const unsigned long size = 16 + static_cast<unsigned long>(index * 37 % 200);
        blocks.push_back(memory.alloc(bank, size, "game/many.cpp", static_cast<unsigned int>(index % 50 + 1)));
    }
    for (int index = 0; index < count; index += 10) {
        memory.free(bank, blocks[static_cast<size_t>(index)]);
    }
}

static void playUntilTheEnd(GameMemory& memory)
{
    void* blocks[64] = {};
    for (unsigned int index = 0; !s_isOver; ++index) {
        void*& block = blocks[index * 29 % 64];
        memory.free(0, block);
        block = memory.alloc(0, 16 + index % 300, "game/busy.cpp", index % 7 + 1);
    }
}

int main(int argc, char** argv)
{
    const std::string mode = argc > 1 ? argv[1] : "";
    const int count = argc > 2 ? atoi(argv[2]) : 0;
    GameMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", mode == "busy" ? 65536 : 1024);
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "level", 256);
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_LINEAR, "frame", 512);
    const int many =
        memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "many", 32 + static_cast<unsigned int>(count) * 192);
    const int slow = memory.defineBank(MEMLOC_CUSTOM, MEMBANK_LINEAR, "slow", 32);
    memory.initialize();
    fill(memory);
    fillWith(memory, many, count);
    if (mode == "damaged") {
        memset(memory.alloc(0, 50, "game/text.cpp", 12), 'A', 90);
    }
    std::thread worker;
    if (mode == "waiting") {
        memory.defineLocAllocCb(MEMLOC_CUSTOM, waitInside);
        worker = std::thread([&] { memory.alloc(slow, 64, "game/slow.cpp", 1); });
        while (!s_isWaiting) {
            std::this_thread::yield();
        }
    } else if (mode == "busy") {
        worker = std::thread([&] { playUntilTheEnd(memory); });
    }
    printf("ready\n");
    fflush(stdout);
    if (mode == "crash") {
        abort();
    }
    char byte;
    while (read(STDIN_FILENO, &byte, 1) == 1) {
    }
    s_isOver = true;
    if (worker.joinable()) {
        worker.join();
    }
    return 0;
}
