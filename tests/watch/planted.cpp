// A small game with 30 planted bugs: planted NUMBER runs one of them, planted 0 none. docs/memory-tools.md lists them
// with what each tool says, and planted.py compares.
//
// The bugs write and read through volatile pointers, so that the compiler keeps them.
#include "core/memorymgr.h"
#include "core/preferences.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <thread>

namespace {

enum Bank { CORE, LEVEL, SOUND, FRAME, TINY };

class GameMemory : public MemoryMgr {
public:
    void start()
    {
        bankSizePath[0] = '\0'; // every run begins with the sizes below
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 16384);
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "level", 65536);
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "sound", 16384);
        defineBank(MEMLOC_DEFAULT, MEMBANK_LINEAR, "frame", 4096);
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "tiny", 64); // its blocks are fallback blocks
        initialize();
    }
    MemoryBank_s& bank(int index) { return banks[index]; }
    void breakLocation() { locations[MEMLOC_DEFAULT].allocCb = nullptr; }

protected:
    void onOutOfMemory(int) override {}
};

typedef volatile unsigned char* Bytes;

GameMemory* s_memory;
volatile unsigned int s_sum;

} // namespace

static Bytes take(int bank, unsigned int size, const char* file, unsigned int line)
{
    return static_cast<Bytes>(s_memory->alloc(bank, size, file, line));
}

static void give(int bank, Bytes block)
{
    s_memory->free(bank, const_cast<unsigned char*>(block));
}

static Bytes mesh(unsigned int size)
{
    return take(LEVEL, size, "game/mesh.cpp", 41);
}

static Bytes unit(unsigned int size)
{
    return take(LEVEL, size, "game/unit.cpp", 7);
}

static void write(Bytes bytes, int from, int to, unsigned char value)
{
    for (int index = from; index < to; ++index) {
        bytes[index] = value;
    }
}

static void read(Bytes bytes, int from, int to)
{
    for (int index = from; index < to; ++index) {
        s_sum = s_sum + bytes[index];
    }
}

// Allocates two blocks, writes to the first from one index to another, and frees both.
static void writeOutside(unsigned int size, int from, int to)
{
    Bytes first = mesh(size);
    Bytes second = unit(100);
    write(first, from, to, 0x41);
    give(LEVEL, first);
    give(LEVEL, second);
}

// Allocates three blocks and writes to the second, which has a block on both sides. volatile: memcheck finds the blocks.
static void writeBefore(int from, int to)
{
    Bytes volatile first = unit(100);
    Bytes volatile second = mesh(100);
    Bytes volatile third = unit(100);
    write(second, from, to, 0x41);
    give(LEVEL, second);
    give(LEVEL, first);
    give(LEVEL, third);
}

// ---- The bugs

static void leakOneBlock()
{
    mesh(100);
}

static void leakInALoop()
{
    for (int count = 0; count < 100; ++count) {
        Bytes block = mesh(100);
        if (count % 2 == 0) {
            give(LEVEL, block);
        }
    }
}

static void leakFallbackBlock()
{
    take(TINY, 5000, "game/sound.cpp", 12);
}

static void overrunBy1()
{
    writeOutside(100, 0, 101);
}

static void overrunBy8()
{
    writeOutside(100, 0, 108);
}

static void overrunBy40()
{
    writeOutside(100, 0, 140);
}

static void overrunOfFallbackBlock()
{
    Bytes block = take(TINY, 5000, "game/sound.cpp", 12);
    write(block, 0, 5001, 0x41);
    give(TINY, block);
}

static void underrunBy1()
{
    writeBefore(-1, 100);
}

static void underrunBy8()
{
    writeBefore(-8, 100);
}

static void underrunBy40()
{
    writeBefore(-40, 100);
}

static void doubleFree()
{
    Bytes block = mesh(100);
    give(LEVEL, block);
    give(LEVEL, block);
}

static void doubleFreeAfterJoin()
{
    Bytes first = unit(100);
    Bytes second = mesh(100);
    Bytes third = unit(100);
    give(LEVEL, first);
    give(LEVEL, second);
    give(LEVEL, third);
    give(LEVEL, second);
}

static void staleFree()
{
    Bytes stale = mesh(100);
    give(LEVEL, stale);
    Bytes block = unit(100); // at the same address
    give(LEVEL, stale);
    give(LEVEL, block);
}

static void doubleFreeOfFallbackBlock()
{
    Bytes block = take(TINY, 5000, "game/sound.cpp", 12);
    Bytes other = take(TINY, 5000, "game/sound.cpp", 13);
    give(TINY, block);
    give(TINY, block);
    give(TINY, other);
}

static void wrongHeapBank()
{
    give(SOUND, mesh(100));
}

static void systemBank()
{
    give(-1, mesh(100));
}

static void fallbackIntoWrongBank()
{
    Bytes block = take(TINY, 5000, "game/sound.cpp", 12);
    give(SOUND, block);
}

static void heapBlockIntoLinearBank()
{
    Bytes block = mesh(100);
    Bytes particle = take(FRAME, 100, "game/particle.cpp", 3);
    give(FRAME, block);
    write(particle, 0, 1, 0x41);
    give(LEVEL, block);
}

static void foreignPointer()
{
    unsigned char bytes[256] = {};
    give(LEVEL, bytes + 128);
}

static void pointerIntoBlock()
{
    Bytes block = mesh(1000);
    write(block, 0, 1000, 0x41);
    give(LEVEL, block + 512);
    give(LEVEL, block);
}

static void unknownBank()
{
    give(40, mesh(100));
}

static void writeAfterFree()
{
    Bytes block = mesh(100);
    Bytes other = unit(100);
    give(LEVEL, block);
    write(block, 10, 14, 0x41);
    give(LEVEL, mesh(100));
    give(LEVEL, other);
}

static void writeToReusedBlock()
{
    Bytes stale = mesh(100);
    give(LEVEL, stale);
    Bytes block = unit(100); // at the same address
    write(stale, 10, 14, 0x41);
    give(LEVEL, block);
}

static void readAfterFree()
{
    Bytes block = mesh(100);
    write(block, 0, 100, 0x41);
    give(LEVEL, block);
    read(block, 0, 1);
}

static void readAfterTheEnd()
{
    Bytes block = mesh(100);
    write(block, 0, 100, 0x41);
    read(block, 100, 101);
    give(LEVEL, block);
}

static void overrunInLinearBank()
{
    Bytes block = take(FRAME, 100, "game/particle.cpp", 3);
    write(block, 0, 101, 0x41);
    give(FRAME, nullptr);
}

static void writeAfterReset()
{
    Bytes block = take(FRAME, 100, "game/particle.cpp", 3);
    give(FRAME, nullptr);
    write(block, 10, 14, 0x41);
}

static void strayWriteToFreeNode()
{
    Bytes block = mesh(100);
    Bytes other = unit(100);
    give(LEVEL, block);
    write(block, -24, -20, 0x41); // the mark of the free node
    give(LEVEL, other);
}

static void damagedBankRecord()
{
    give(LEVEL, mesh(100));
    s_memory->bank(LEVEL).freeNodeCount += 1;
}

static void overrunInAThread()
{
    std::thread worker([] { writeOutside(100, 0, 101); });
    Bytes block = unit(50);
    worker.join();
    give(LEVEL, block);
}

static void outOfMemory()
{
    mesh(40000);
    s_memory->breakLocation();
    unit(40000);
}

static void (*const sc_bugs[])() = {
    leakOneBlock,
    leakInALoop,
    leakFallbackBlock,
    overrunBy1,
    overrunBy8,
    overrunBy40,
    overrunOfFallbackBlock,
    underrunBy1,
    underrunBy8,
    underrunBy40,
    doubleFree,
    doubleFreeAfterJoin,
    staleFree,
    doubleFreeOfFallbackBlock,
    wrongHeapBank,
    systemBank,
    fallbackIntoWrongBank,
    heapBlockIntoLinearBank,
    foreignPointer,
    pointerIntoBlock,
    unknownBank,
    writeAfterFree,
    writeToReusedBlock,
    readAfterFree,
    readAfterTheEnd,
    overrunInLinearBank,
    writeAfterReset,
    strayWriteToFreeNode,
    damagedBankRecord,
    overrunInAThread,
    outOfMemory,
};

// What a game without bugs does: none of it may cause a message.
static void noBug()
{
    Bytes blocks[64];
    for (int round = 0; round < 20; ++round) {
        for (int index = 0; index < 64; ++index) {
            const unsigned int size = static_cast<unsigned int>(1 + index * 37 % 700);
            blocks[index] = index % 2 ? mesh(size) : unit(size);
            write(blocks[index], 0, static_cast<int>(size), 0x41);
        }
        for (int index = 0; index < 64; ++index) {
            const int place = index * 29 % 64;
            if (place % 3 == 0) { // the game may use all bytes that getSize promises
                const unsigned int bytes = s_memory->getSize(LEVEL, const_cast<unsigned char*>(blocks[place]));
                write(blocks[place], 0, static_cast<int>(bytes), 0x42);
            }
            give(LEVEL, blocks[place]);
        }
        write(take(FRAME, 3000, "game/particle.cpp", 3), 0, 3000, 0x41);
        write(take(FRAME, 3000, "game/particle.cpp", 4), 0, 3000, 0x41); // overflows
        give(FRAME, nullptr);
        Bytes system = take(-1, 100, "game/save.cpp", 5);
        Bytes tiny = take(TINY, 100, "game/save.cpp", 6);
        give(TINY, tiny);
        give(-1, system);
        give(LEVEL, nullptr);
    }
    // Reading a number gives a buffer of the library itself to free.
    Preferences preferences;
    preferences.write("video", "width", 640);
    if (preferences.read("video", "width", 320) != 640) {
        abort();
    }
}

int main(int argc, char** argv)
{
    const int count = static_cast<int>(sizeof(sc_bugs) / sizeof(sc_bugs[0]));
    const int number = argc == 2 ? atoi(argv[1]) : -1;
    if (number < 0 || number > count) {
        fprintf(stderr, "planted NUMBER, from 0 to %d\n", count);
        return 2;
    }
    GameMemory memory;
    s_memory = &memory;
    memory.start();
    (number == 0 ? noBug : sc_bugs[number - 1])();
    return 0;
}
