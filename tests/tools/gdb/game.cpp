// A game that stops with blocks in its banks, a parser in its text and a table with entries, for GDB to look at.
#include "core/hashtable.h"
#include "core/memorymgr.h"
#include "core/parser.h"

#include <string.h>

class GameMemory : public MemoryMgr {
    void onOutOfMemory(int) override {}
};

struct Unit {
    int hitPoints;
};

// GDB stops here.
extern "C" __attribute__((noinline)) unsigned int stopHere(const MemoryHeapNode_s* node, const void* fallback,
                                                           const Parser& parser, const HashTable<Unit>& units)
{
    asm volatile("" : : "r"(fallback), "r"(&parser), "r"(&units) : "memory");
    return node->size;
}

int main()
{
    GameMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 18);
    const int level = memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "level", 256);
    memory.initialize();
    const void* block = memory.alloc(level, 100, "game/mesh", 12);
    memory.alloc(level, 500, "game/sound", 34);
    const void* fallback = memory.alloc(level, 1000, "game/map", 56);

    char text[] = "width = 640\r\n";
    Parser parser(text);
    parser.ParseLine();
    parser.GetToken(" ");

    Unit footman = {60};
    HashTable<Unit> units(7, 4);
    units.insert("Footman", &footman);
    stopHere(static_cast<const MemoryHeapNode_s*>(block) - 1, fallback, parser, units);
    return 0;
}
