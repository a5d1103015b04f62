// The tables behind the 32-bit references of a 64-bit host.
//
// 1. An entry never moves, so whoever holds its number may use it without a lock.
// 2. Entries are dealt out under the table's own lock, which is taken inside a bank's lock and never around a
//    callback. A name that is known already is found without any lock: banks must not wait for each other. The lock
//    is held for a few steps only and is no mutex, so that a thread never holds one but its bank's.
// 3. Everything here is set up by the compiler and never torn down: static objects of a game may come first and go
//    last. The first names have their room in the library, so that a heap works without any memory but its bank; more
//    memory is calloc's, so it is there whatever a game does with its banks.
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

// Up to 2^30 entries in chunks that double in size: chunk k has 1024 * 2^k of them.
template <typename T>
class ChunkedTable {
public:
    static const unsigned int sc_first = 1024;

    // first: the first chunk, where there is one from the start.
    constexpr explicit ChunkedTable(T* first) : m_chunks{first} {}

    T* at(unsigned int number) const
    {
        const unsigned int chunk = _chunkOf(number);
        return m_chunks[chunk] + (number + sc_first - (sc_first << chunk));
    }

    // Makes the entry at number, all zero; false without memory. Numbers are made in ascending order.
    bool make(unsigned int number)
    {
        if (number >= 1u << 30) {
            return false; // no test gets here: that many fallback blocks have 24 GiB of headers
        }
        const unsigned int chunk = _chunkOf(number);
        if (!m_chunks[chunk]) {
            m_chunks[chunk] = static_cast<T*>(calloc(static_cast<size_t>(sc_first) << chunk, sizeof(T)));
        }
        return m_chunks[chunk] != nullptr;
    }

private:
    static unsigned int _chunkOf(unsigned int number)
    {
        return static_cast<unsigned int>(__builtin_clz(sc_first) - __builtin_clz(number + sc_first));
    }

    T* m_chunks[21];
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

// Links of fallback blocks.

struct Links {
    MemoryHeapNode_s* next;
    MemoryHeapNode_s* prev;
    unsigned int nextFree; // of an entry that is not in use: the next such, its number plus one
};

static ChunkedTable<Links> s_links(nullptr);
static unsigned int s_linksMade;
static unsigned int s_linksFree; // the first entry that is not in use, its number plus one; 0: none
static std::atomic_flag s_linksTaken = ATOMIC_FLAG_INIT;

void setUpLinks(MemoryHeapNode_s* node)
{
    node->next.m_word = node->prev.m_word = 0;
}

bool setUpOutsideLinks(MemoryHeapNode_s* node)
{
    TableLock lock(s_linksTaken);
    unsigned int number = s_linksMade;
    if (s_linksFree) {
        number = s_linksFree - 1;
        s_linksFree = s_links.at(number)->nextFree;
    } else if (s_links.make(number)) {
        s_linksMade += 1;
    } else {
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
    const unsigned int number = node->next.m_word / 4;
    s_links.at(number)->nextFree = s_linksFree;
    s_linksFree = number + 1;
}

MemoryHeapNode_s** MemoryNodeRef::_outside() const
{
    Links* links = s_links.at(m_word / 4);
    return m_word & sc_prev ? &links->prev : &links->next;
}

// Source names. Names are found through a hash of their address: open addressing, linear probing, at most half full.
// When it grows, the smaller one stays behind for the readers that are in it.

struct NameSlot {
    std::atomic<const char*> name; // null: empty; it comes after its number
    unsigned int number;
};

struct NameSlots {
    NameSlots* smaller;
    unsigned int capacityLog2;
    NameSlot slots[1]; // capacity of them

    unsigned int mask() const { return (1u << capacityLog2) - 1; }

    // Fibonacci hashing (Knuth, The Art of Computer Programming, volume 3, section 6.4): 2^64 divided by the golden
    // ratio.
    unsigned int placeOf(const char* name) const
    {
        return static_cast<unsigned int>(reinterpret_cast<uintptr_t>(name) * 0x9e3779b97f4a7c15u >>
                                         (64 - capacityLog2));
    }
};

static constexpr size_t bytesOfNameSlots(unsigned int capacityLog2)
{
    return sizeof(NameSlots) + (sizeof(NameSlot) << capacityLog2);
}

static const unsigned int sc_firstSlotsLog2 = 8;
alignas(NameSlots) static unsigned char s_firstSlots[bytesOfNameSlots(sc_firstSlotsLog2)];

static const char* s_firstNames[ChunkedTable<const char*>::sc_first];
static ChunkedTable<const char*> s_names(s_firstNames); // by number; 0 stays unused
static unsigned int s_nameCount;
static std::atomic<NameSlots*> s_nameSlots;
static std::atomic_flag s_namesTaken = ATOMIC_FLAG_INIT;

static unsigned int findName(const NameSlots* slots, const char* name)
{
    for (unsigned int place = slots->placeOf(name);; ++place) {
        const NameSlot& slot = slots->slots[place & slots->mask()];
        const char* found = slot.name.load(std::memory_order_acquire);
        if (found == name) {
            return slot.number;
        }
        if (!found) {
            return 0;
        }
    }
}

static void putName(NameSlots* slots, unsigned int number)
{
    const char* name = *s_names.at(number);
    unsigned int place = slots->placeOf(name);
    while (slots->slots[place & slots->mask()].name.load(std::memory_order_relaxed)) {
        ++place;
    }
    NameSlot& slot = slots->slots[place & slots->mask()];
    slot.number = number;
    slot.name.store(name, std::memory_order_release);
}

static NameSlots* growNameSlots(NameSlots* smaller)
{
    const unsigned int capacityLog2 = smaller ? smaller->capacityLog2 + 1 : sc_firstSlotsLog2;
    void* memory = smaller ? calloc(1, bytesOfNameSlots(capacityLog2)) : s_firstSlots;
    NameSlots* slots = static_cast<NameSlots*>(memory);
    if (!slots) {
        return nullptr;
    }
    slots->smaller = smaller;
    slots->capacityLog2 = capacityLog2;
    for (unsigned int number = 1; number <= s_nameCount; ++number) {
        putName(slots, number);
    }
    s_nameSlots.store(slots, std::memory_order_release);
    return slots;
}

static unsigned int addName(const char* name)
{
    TableLock lock(s_namesTaken);
    NameSlots* slots = s_nameSlots.load(std::memory_order_relaxed);
    if (const unsigned int number = slots ? findName(slots, name) : 0) {
        return number; // another thread was faster: a race, which tests can't ask for
    }
    if (!slots || s_nameCount + 1 > slots->mask() / 2) {
        slots = growNameSlots(slots);
    }
    if (!slots || !s_names.make(s_nameCount + 1)) {
        return 0;
    }
    s_nameCount += 1;
    *s_names.at(s_nameCount) = name;
    putName(slots, s_nameCount);
    return s_nameCount;
}

MemoryNameRef::operator const char*() const
{
    return m_number ? *s_names.at(m_number) : nullptr;
}

MemoryNameRef& MemoryNameRef::operator=(const char* name)
{
    const NameSlots* slots = s_nameSlots.load(std::memory_order_acquire);
    const unsigned int number = slots && name ? findName(slots, name) : 0;
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
