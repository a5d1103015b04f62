// The layout of the records that games and tools look into, word for word as on the 32-bit target. Nothing here runs:
// what compiles is right. 64-bit builds keep the order of the fields, and the 24-byte header.
#include "core/memorymgr.h"

#include <stddef.h>

#pragma GCC diagnostic ignored                                                                                       \
    "-Winvalid-offsetof" // the classes have virtual tables; their layout is known all the same

#define AT(type, field, offset) static_assert(offsetof(type, field) == (offset), #type "::" #field)

static_assert(sizeof(MemoryHeapNode_s) == 24, "a block starts 24 bytes behind its header");
AT(MemoryHeapNode_s, magic, 0);
AT(MemoryHeapNode_s, size, 4);
AT(MemoryHeapNode_s, file, 8);
AT(MemoryHeapNode_s, line, 12);
AT(MemoryHeapNode_s, next, 16);
AT(MemoryHeapNode_s, prev, 20);

static_assert(sizeof(e_MemoryLocation) == 4 && sizeof(e_MemoryBankType) == 4, "enumerations are 32 bits wide");

#if UINTPTR_MAX == 0xffffffffu

static_assert(sizeof(MemoryBank_s) == 92, "15 words and a name of 32 bytes");
AT(MemoryBank_s, location, 0);
AT(MemoryBank_s, type, 4);
AT(MemoryBank_s, name, 8);
AT(MemoryBank_s, size, 40);
AT(MemoryBank_s, allocCount, 44);
AT(MemoryBank_s, freeCount, 48);
AT(MemoryBank_s, usedNodeCount, 52);
AT(MemoryBank_s, freeNodeCount, 56);
AT(MemoryBank_s, extNodeCount, 60);
AT(MemoryBank_s, bytesInUse, 64);
AT(MemoryBank_s, peakBytes, 68);
AT(MemoryBank_s, base, 72);
AT(MemoryBank_s, cursor, 76);
AT(MemoryBank_s, freeList, 80);
AT(MemoryBank_s, usedList, 84);
AT(MemoryBank_s, extList, 88);

static_assert(sizeof(MemoryLocation_s) == 24, "six words");
AT(MemoryLocation_s, allocCb, 0);
AT(MemoryLocation_s, reallocCb, 4);
AT(MemoryLocation_s, freeCb, 8);
AT(MemoryLocation_s, block, 12);
AT(MemoryLocation_s, blockSize, 16);
AT(MemoryLocation_s, carveCursor, 20);

AT(Mutex, mutex, 4);
AT(Mutex, attr, 4 + sizeof(pthread_mutex_t));
static_assert(sizeof(Mutex) == 4 + sizeof(pthread_mutex_t) + sizeof(pthread_mutexattr_t), "nothing but the two");

struct MemoryMgrLayout : MemoryMgr {
    using MemoryMgr::bankCount;
    using MemoryMgr::banks;
    using MemoryMgr::bankSizePath;
    using MemoryMgr::locations;
    using MemoryMgr::locked;
    using MemoryMgr::systemBank;
};
AT(MemoryMgrLayout, locked, 4);
AT(MemoryMgrLayout, bankCount, 8);
AT(MemoryMgrLayout, banks, 12);
AT(MemoryMgrLayout, systemBank, 12 + 32 * 92);
AT(MemoryMgrLayout, locations, 12 + 33 * 92);
AT(MemoryMgrLayout, bankSizePath, 12 + 33 * 92 + 2 * 24);
static_assert(sizeof(MemoryMgr) == 12 + 33 * 92 + 2 * 24 + 1024, "nothing behind the path");

#endif

// Makes the compiler lay out the virtual tables, whose order the check script compares.
struct VirtualTables : MemoryMgr {
    void onOutOfMemory(int) override;
};
void VirtualTables::onOutOfMemory(int)
{
}
struct LockTable : Mutex {
    ~LockTable() override;
};
LockTable::~LockTable()
{
}
