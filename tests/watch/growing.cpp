// A small game that grows: the session of docs/memory-tools.md finds its leak.
#include "core/memorymgr.h"

#include <stdio.h>
#include <vector>

class GameMemory : public MemoryMgr {
public:
    GameMemory()
    {
        bankSizePath[0] = '\0'; // every run begins with the sizes below
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 32 * 1024);
        defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "units", 64 * 1024);
        initialize();
    }

protected:
    void onOutOfMemory(int) override {}
};

static const int sc_units = 1;

struct Unit {
    void* path; // a block of its own
};

static void* findPath(unsigned int steps)
{
    return g_MemoryPtr->alloc(sc_units, 8ul * steps, "game/path.cpp", 31);
}

static Unit* spawn(unsigned int steps)
{
    Unit* unit = static_cast<Unit*>(g_MemoryPtr->alloc(sc_units, sizeof(Unit), "game/unit.cpp", 12));
    unit->path = findPath(steps);
    return unit;
}

static void die(Unit* unit)
{
    g_MemoryPtr->free(sc_units, unit->path);
    g_MemoryPtr->free(sc_units, unit);
}

static void retreat(Unit* unit)
{
    g_MemoryPtr->free(sc_units, unit); // and its path?
}

static void playLevel(unsigned int level)
{
    std::vector<Unit*> units;
    for (unsigned int number = 0; number < 20; ++number) {
        units.push_back(spawn(10 + number));
    }
    for (unsigned int number = 0; number < 20; ++number) {
        number % 5 == 4 ? retreat(units[number]) : die(units[number]);
    }
    printf("level %u is over\n", level);
}

int main()
{
    GameMemory memory;
    for (unsigned int level = 1; level <= 3; ++level) {
        playLevel(level);
    }
    return 0;
}
