// The tables behind the 32-bit references of a 64-bit host.
//
// 1. An entry never moves, so a thread that has an entry's number may use the entry without a lock.
// 2. Entries are dealt out under the table's own lock, which is taken inside a bank's lock and never around a
//    callback or a call of the C library's allocator. A name that is known already is found without any lock: banks must
//    not wait for each other. The lock is held for a few steps only and is no mutex, so that a thread never holds one but
//    its bank's.
// 3. Everything here is set up by the compiler and never torn down: static objects of a game may come first and go
//    last. The first entries of each table have their room in the library, so that a bank works without any other memory.
// 4. More memory is calloc's. A game's own calloc may be served from a bank that needs a new entry of the very table that
//    is growing. So a table grows while it still has entries left, and a thread that is in calloc takes one of those. The
//    memory has to stay as long as the process: the tables serve each manager that is made.
#include "core/memorymgr.h"

static_assert(sizeof(MemoryHeapNode_s) == 24, "a block starts 24 bytes behind its header, on every host");
static_assert(alignof(MemoryHeapNode_s) == 1, "a header may lie at any address");

#if UINTPTR_MAX == 0xffffffffu

void setUpLinks(MemoryHeapNode_s* node)
{
    node->next = node->prev = nullptr;
}

bool setUpOutsideLinks(MemoryHeapNode_s* node)
{
    setUpLinks(node);
    return true;
}

void giveUpOutsideLinks(MemoryHeapNode_s*)
{
}

#else

#include <atomic>
#include <sched.h>
#include <stdlib.h>

static const unsigned int sc_noEntry = 0xffffffff;

// Whether this thread is in calloc on behalf of a table. It is volatile because compilers assume that calloc reads no variable
// of this file. With this model of thread-local storage the first access takes no memory.
static volatile thread_local bool s_isInCalloc __attribute__((tls_model("initial-exec")));

// Entries in chunks that double in size: chunk k has 1024 * 2^k of them. 20 chunks are nearly 2^30 entries; fallback blocks
// would then have 24 GiB of headers.
template <typename T>
class ChunkedTable {
public:
    static const unsigned int sc_first = 1024;

    constexpr explicit ChunkedTable(T* first) : m_chunks{first} {}

    T* at(unsigned int number) const
    {
        const unsigned int chunk = _chunkOf(number);
        return m_chunks[chunk] + (number + sc_first - (sc_first << chunk));
    }

    // The numbers are dealt out in ascending order, each once; sc_noEntry when there is no room for one more.
    unsigned int deal() { return m_dealt < _capacity() ? m_dealt++ : sc_noEntry; }

    // Bytes of the next chunk; 0 while more than sc_reserve entries can be had. The caller has returned entries for a second use.
    size_t bytesWanted(unsigned int returned = 0) const
    {
        const bool isShort = _capacity() - m_dealt + returned <= sc_reserve && m_chunkCount < sc_chunks;
        return isShort ? (static_cast<size_t>(sc_first) << m_chunkCount) * sizeof(T) : 0;
    }
    void grow(void* zeroes) { m_chunks[m_chunkCount++] = static_cast<T*>(zeroes); }

private:
    static const unsigned int sc_chunks = 20;
    static const unsigned int sc_reserve = 64; // a thread in calloc takes one, rarely two

    unsigned int _capacity() const { return (sc_first << m_chunkCount) - sc_first; }
    static unsigned int _chunkOf(unsigned int number)
    {
        return static_cast<unsigned int>(__builtin_clz(sc_first) - __builtin_clz(number + sc_first));
    }

    T* m_chunks[sc_chunks];
    unsigned int m_chunkCount = 1;
    unsigned int m_dealt = 0;
};

class TableLock {
public:
    explicit TableLock(std::atomic_flag& taken) : m_taken(taken)
    {
        while (m_taken.test_and_set(std::memory_order_acquire)) {
            sched_yield();
        }
    }
    ~TableLock() { m_taken.clear(std::memory_order_release); }

private:
    std::atomic_flag& m_taken;
};

// Gives a table the memory that it wants, if any. Table has bytesWanted(), which is asked under the table's lock, and
// grow(zeroes). When several threads get here at once, the first to come back from calloc makes the table grow.
template <typename Table>
static void growInTime(Table& table, std::atomic_flag& taken)
{
    size_t bytes = 0;
    if (!s_isInCalloc) {
        TableLock lock(taken);
        bytes = table.bytesWanted();
    }
    if (bytes == 0) {
        return;
    }
    s_isInCalloc = true;
    void* spare = calloc(1, bytes);
    s_isInCalloc = false;
    if (spare) {
        TableLock lock(taken);
        if (table.bytesWanted() == bytes) {
            table.grow(spare);
            spare = nullptr;
        }
    }
    free(spare);
}

// Links of fallback blocks.

struct Links {
    MemoryHeapNode_s* next;
    MemoryHeapNode_s* prev;
    unsigned int nextFree; // of an entry that is not in use: the next such, its number plus one
};

// The table of links, and its entries that have been given up, as a list.
class LinksTable {
public:
    constexpr LinksTable() : m_table(s_first) {}

    Links* at(unsigned int number) const { return m_table.at(number); }

    unsigned int take()
    {
        if (!m_firstFree) {
            return m_table.deal();
        }
        const unsigned int number = m_firstFree - 1;
        m_firstFree = at(number)->nextFree;
        m_freeCount -= 1;
        return number;
    }

    void giveUp(unsigned int number)
    {
        at(number)->nextFree = m_firstFree;
        m_firstFree = number + 1;
        m_freeCount += 1;
    }

    size_t bytesWanted() const { return m_table.bytesWanted(m_freeCount); }
    void grow(void* zeroes) { m_table.grow(zeroes); }

private:
    static Links s_first[ChunkedTable<Links>::sc_first];

    ChunkedTable<Links> m_table;
    unsigned int m_firstFree = 0; // its number plus one; 0: none
    unsigned int m_freeCount = 0;
};

Links LinksTable::s_first[];
static LinksTable s_links;
static std::atomic_flag s_linksTaken = ATOMIC_FLAG_INIT;

void setUpLinks(MemoryHeapNode_s* node)
{
    node->next.m_word = node->prev.m_word = 0;
}

bool setUpOutsideLinks(MemoryHeapNode_s* node)
{
    growInTime(s_links, s_linksTaken);
    TableLock lock(s_linksTaken);
    const unsigned int number = s_links.take();
    if (number == sc_noEntry) {
        return false;
    }
    *s_links.at(number) = Links();
    node->next.m_word = number * 4 + MemoryNodeRef::sc_outside;
    node->prev.m_word = number * 4 + MemoryNodeRef::sc_outside + MemoryNodeRef::sc_prev;
    return true;
}

void giveUpOutsideLinks(MemoryHeapNode_s* node)
{
    TableLock lock(s_linksTaken);
    s_links.giveUp(node->next.m_word / 4);
}

MemoryHeapNode_s** MemoryNodeRef::_outside() const
{
    Links* links = s_links.at(m_word / 4);
    return m_word & sc_prev ? &links->prev : &links->next;
}

// Source names. Names are found through a hash of their address: open addressing, linear probing. It grows when it is half
// full; without memory, and for a thread that is in calloc, it takes names until it is three quarters full. When it grows,
// the smaller one stays behind for the readers that are in it.

struct NameSlot {
    std::atomic<const char*> name; // null: empty; it comes after its number
    unsigned int number;
};

struct NameSlots {
    NameSlots* smaller;
    unsigned int shift; // 64 less the binary logarithm of the capacity
    NameSlot slots[1];  // capacity of them

    unsigned int capacityLog2() const { return 64 - shift; }
    unsigned int capacity() const { return 1u << capacityLog2(); }
    unsigned int mask() const { return capacity() - 1; }

    // Fibonacci hashing (Knuth, The Art of Computer Programming, volume 3, section 6.4): 2^64 divided by the golden
    // ratio.
    unsigned int placeOf(const char* name) const
    {
        return static_cast<unsigned int>(reinterpret_cast<uintptr_t>(name) * 0x9e3779b97f4a7c15u >> shift);
    }
};

static constexpr size_t bytesOfNameSlots(unsigned int capacityLog2)
{
    return sizeof(NameSlots) + (sizeof(NameSlot) << capacityLog2);
}

static unsigned int findName(const NameSlots* slots, const char* name)
{
    for (unsigned int place = slots->placeOf(name);; place = (place + 1) & slots->mask()) {
        const NameSlot& slot = slots->slots[place];
        const char* found = slot.name.load(std::memory_order_acquire);
        if (found == name) {
            return slot.number;
        }
        if (!found) {
            return 0;
        }
    }
}

// The hash: which number a name has.
class NameIndex {
public:
    constexpr NameIndex() : m_slots(&s_first.head) {}

    const NameSlots* slots() const { return m_slots.load(std::memory_order_acquire); }

    bool isFull() const { return m_count >= _slots()->capacity() / 4 * 3; }

    void put(const char* name, unsigned int number)
    {
        _put(_slots(), name, number);
        m_count += 1;
    }

    // Bytes of the next larger hash, 0 while this one is less than half full.
    size_t bytesWanted() const
    {
        const NameSlots* slots = _slots();
        return m_count + 1 < slots->capacity() / 2 ? 0 : bytesOfNameSlots(slots->capacityLog2() + 1);
    }

    void grow(void* zeroes)
    {
        NameSlots* smaller = _slots();
        NameSlots* larger = static_cast<NameSlots*>(zeroes);
        larger->smaller = smaller;
        larger->shift = smaller->shift - 1;
        for (unsigned int place = 0; place < smaller->capacity(); ++place) {
            const NameSlot& slot = smaller->slots[place];
            if (const char* name = slot.name.load(std::memory_order_relaxed)) {
                _put(larger, name, slot.number);
            }
        }
        m_slots.store(larger, std::memory_order_release);
    }

private:
    NameSlots* _slots() const { return m_slots.load(std::memory_order_relaxed); }

    static void _put(NameSlots* slots, const char* name, unsigned int number)
    {
        unsigned int place = slots->placeOf(name);
        while (slots->slots[place & slots->mask()].name.load(std::memory_order_relaxed)) {
            ++place;
        }
        NameSlot& slot = slots->slots[place & slots->mask()];
        slot.number = number;
        slot.name.store(name, std::memory_order_release);
    }

    struct FirstSlots {
        NameSlots head;
        NameSlot others[255];
    };
    static FirstSlots s_first;

    std::atomic<NameSlots*> m_slots;
    unsigned int m_count = 0;
};

NameIndex::FirstSlots NameIndex::s_first = {{nullptr, 64 - 8, {}}, {}}; // 2^8 slots

static const char* s_firstNames[ChunkedTable<const char*>::sc_first];
static ChunkedTable<const char*> s_names(s_firstNames); // by number, from 1
static NameIndex s_nameIndex;
static std::atomic_flag s_namesTaken = ATOMIC_FLAG_INIT;

// A name's text. Numbers count from 1: a header has 0 for null.
static const char*& nameAt(unsigned int number)
{
    return *s_names.at(number - 1);
}

static unsigned int addName(const char* name)
{
    growInTime(s_names, s_namesTaken);
    growInTime(s_nameIndex, s_namesTaken);
    TableLock lock(s_namesTaken);
    if (const unsigned int number = findName(s_nameIndex.slots(), name)) {
        return number; // another thread was faster: a race, which tests can't ask for
    }
    const unsigned int entry = s_nameIndex.isFull() ? sc_noEntry : s_names.deal();
    if (entry == sc_noEntry) {
        return 0;
    }
    nameAt(entry + 1) = name;
    s_nameIndex.put(name, entry + 1);
    return entry + 1;
}

MemoryNameRef::operator const char*() const
{
    return m_number ? nameAt(m_number) : nullptr;
}

MemoryNameRef& MemoryNameRef::operator=(const char* name)
{
    const unsigned int number = name ? findName(s_nameIndex.slots(), name) : 0;
    if (number == 0 && name) {
        return _assignNew(name);
    }
    m_number = number;
    return *this;
}

MemoryNameRef& MemoryNameRef::_assignNew(const char* name)
{
    m_number = addName(name);
    return *this;
}

#endif
