// What you learn: classes whose objects lie in a bank, also classes that need an alignment.
//
// A class that derives from Allocator<BANK> is made with plain new and freed with plain delete. The number of the
// bank has to be known at compile time, so give the banks constants, and define them in that order.
#include "core/memorymgr.h"

#include <stdint.h>
#include <stdio.h>

enum e_Bank : int { BANK_CORE, BANK_UNITS }; // in the order of the calls of defineBank

class GameMemory : public MemoryMgr {
public:
    unsigned int blocksIn(int bank) const { return banks[bank].usedNodeCount + banks[bank].extNodeCount; }

private:
    void onOutOfMemory(int) override {}
};

class Unit : public Allocator<BANK_UNITS> {
public:
    explicit Unit(int startHealth) : m_health(startHealth) {}
    virtual ~Unit() = default; // virtual: delete of an Archer* that is kept as a Unit* frees the whole object
    int health() const { return m_health; }

private:
    int m_health;
};

class Archer : public Unit { // in the same bank
public:
    Archer() : Unit(40) {}
    int arrows = 12;
};

// Blocks of a bank have no certain alignment. AlignedAllocator takes care of that. With Allocator this class would
// not compile.
struct alignas(16) Matrix : AlignedAllocator<BANK_UNITS> {
    float cells[16] = {};
};

int main()
{
    GameMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 20);
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "units", 1 << 16);
    memory.initialize();

    Unit* footman = new ("game/unit", __LINE__) Unit(60); // the tag that a report of leaks shows
    Unit* archer = new ("game/unit", __LINE__) Archer;
    Matrix* matrix = new Matrix; // the tag is then a line of core/allocator.h
    printf("health: %d and %d\n", footman->health(), archer->health());
    printf("the matrix is %s\n",
           reinterpret_cast<uintptr_t>(matrix) % 16 == 0 ? "aligned to 16 bytes" : "not aligned");
    printf("%u objects in the bank\n", memory.blocksIn(BANK_UNITS));

    delete footman;
    delete archer;
    delete matrix;
    printf("%u after delete\n", memory.blocksIn(BANK_UNITS));
    return 0;
}
