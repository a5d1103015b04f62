// The layout of the records that games and tools look into, word for word as on the 32-bit target. Nothing here runs:
// what compiles is right. 64-bit builds keep the order of the fields, and the 24-byte header.
//
// Compiled without access control: many of these fields are private.
#include "core/commandline.h"
#include "core/hashtable.h"
#include "core/macosx_platform.h"
#include "core/memorymgr.h"
#include "core/parser.h"
#include "core/preferences.h"
#include "core/stringtable.h"

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

AT(MemoryMgr, locked, 4);
AT(MemoryMgr, bankCount, 8);
AT(MemoryMgr, banks, 12);
AT(MemoryMgr, systemBank, 12 + 32 * 92);
AT(MemoryMgr, locations, 12 + 33 * 92);
AT(MemoryMgr, bankSizePath, 12 + 33 * 92 + 2 * 24);
static_assert(sizeof(MemoryMgr) == 12 + 33 * 92 + 2 * 24 + 1024, "nothing behind the path");

AT(Parser, m_buffer, 4);
AT(Parser, m_cursor, 8);
AT(Parser, m_position, 12);
AT(Parser, m_lineNumber, 16);
AT(Parser, m_bounds, 20); // the one that is the parser's own business

AT(CommandEntry_s, name, 0);
AT(CommandEntry_s, required, 32);
AT(CommandEntry_s, optional, 36);
AT(CommandEntry_s, present, 40);
AT(CommandEntry_s, index, 44);
AT(CommandEntry_s, found, 48);
static_assert(sizeof(CommandEntry_s) == 52, "a name and five words");
AT(CommandLine, m_args, 4);
AT(CommandLine, m_argCount, 8);
AT(CommandLine, m_commands, 12);
AT(CommandLine, m_commandCount, 16);
static_assert(sizeof(CommandLine) == 20, "nothing behind the count");

static_assert(sizeof(Preferences) == 4, "nothing but the virtual table's");

typedef HashData<_StringTableNode_s> StringData;
AT(StringData, m_key, 4);
AT(StringData, m_data, 132);
AT(StringData, m_next, 136);
static_assert(sizeof(StringData) == 140, "a node of the pool's array");
typedef HashPool<_StringTableNode_s> StringPool;
AT(StringPool, m_poolSize, 4);
AT(StringPool, m_nodes, 8);
AT(StringPool, m_freeList, 12);
static_assert(sizeof(StringPool) == 16, "nothing behind the free list");
typedef HashTable<_StringTableNode_s> StringHash;
AT(StringHash, m_bucketCount, 4);
AT(StringHash, m_buckets, 8);
AT(StringHash, m_pool, 12);
static_assert(sizeof(StringHash) == 16, "nothing behind the pool");
typedef HashTableIter_t<_StringTableNode_s> StringIter;
AT(StringIter, key, 0);
AT(StringIter, bucket, 4);
AT(StringIter, node, 8);
static_assert(sizeof(StringIter) == 12, "three words");

AT(PlatformData_s, appHandle, 0);
AT(PlatformData_s, window, 4);
AT(PlatformData_s, minimized, 8);
AT(PlatformData_s, active, 12);
AT(PlatformData_s, windowX, 16);
AT(PlatformData_s, windowY, 20);
AT(PlatformData_s, windowWidth, 24);
AT(PlatformData_s, windowHeight, 28);
AT(PlatformData_s, desktopMode, 32);
AT(PlatformData_s, hasVectorUnit, 36);
AT(PlatformData_s, cursorHideCount, 40);
static_assert(sizeof(PlatformData_s) == 44, "eleven words");

AT(_StringTableNode_s, string, 0);
static_assert(sizeof(_StringTableNode_s) == 4, "one pointer");
AT(StringTable, m_loaded, 4);
AT(StringTable, m_spare, 8);
AT(StringTable, m_language, 136);
AT(StringTable, m_table, 264);
static_assert(sizeof(StringTable) == 268, "nothing behind the table");

#endif

// Make the compiler lay out the virtual tables, whose order the check script compares.
struct ManagerTable : MemoryMgr {
    void onOutOfMemory(int) override;
};
void ManagerTable::onOutOfMemory(int)
{
}

template <typename Class>
struct TableOf : Class {
    ~TableOf() override;
};
template <typename Class>
TableOf<Class>::~TableOf()
{
}
#if UINTPTR_MAX == 0xffffffffu
template struct TableOf<Mutex>;
template struct TableOf<Parser>;
template struct TableOf<CommandLine>;
template struct TableOf<Preferences>;
template struct TableOf<StringData>;
template struct TableOf<StringPool>;
template struct TableOf<StringHash>;
template struct TableOf<StringTable>;
#endif
