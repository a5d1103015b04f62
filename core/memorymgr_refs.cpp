// The two tables that the 32-bit links of a 64-bit build refer to: fallback links, and source names.
//
// 1. An entry never moves. So a thread that has the number of an entry may use the entry without a lock.
// 2. A thread takes a table's lock to get or to give back an entry. It may hold a bank's lock at that time. It holds
//    at most one table lock, and calls no callback, calloc or free meanwhile. A table lock is a spin lock, not a
//    mutex: it is held for a few steps only. A thread finds a name that is in the table already without any lock,
//    because banks must not wait for each other.
// 3. The compiler initialises everything here, and no destructor runs. So the tables work for static objects of a
//    game, before and after all other static objects. The first entries of each table are static arrays, so banks
//    work when calloc has no memory.
// 4. More entries come from calloc. A game may define calloc itself and serve it from a bank. While such a calloc
//    runs for a table, that bank may need a new entry of the same table. For this reason a table grows while it still
//    has entries left, and a thread that is in calloc takes one of these. The memory is never freed, because the
//    tables serve every manager that the process makes.
#include "core/memorymgr.h"

static_assert(sizeof(MemoryHeapNode_s) == 24, "a block begins 24 bytes after the start of its header, on every host");
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

bool areOutsideLinks(const MemoryHeapNode_s*)
{
    return true;
}

void giveUpOutsideLinks(MemoryHeapNode_s*)
{
}

#else

#include "core/memorymgr_chunks.h"

#include <assert.h>
#include <atomic>
#include <sched.h>
#include <stdlib.h>

// True while this thread is in a calloc that growInTime called. It is volatile because compilers assume that calloc
// reads no variable of this file. With the model initial-exec of thread-local storage, the first access allocates no
// memory.
static volatile thread_local bool s_isInCalloc __attribute__((tls_model("initial-exec")));

#ifdef CORE_CHECKED

static thread_local bool s_hasTableLock __attribute__((tls_model("initial-exec")));

static void requireNoTableLock()
{
    assert(!s_hasTableLock && "links 2: a thread holds at most one table lock, and calls no calloc meanwhile");
}

static void noteTableLock(bool isTaken)
{
    if (isTaken) {
        requireNoTableLock();
    }
    s_hasTableLock = isTaken;
}

#else

static void requireNoTableLock()
{
}

static void noteTableLock(bool)
{
}

#endif

// Locks a table while this object exists; see rule 2. `taken` is the table's flag.
class TableLock {
public:
    explicit TableLock(std::atomic_flag& taken) : m_taken(taken)
    {
        noteTableLock(true);
        while (m_taken.test_and_set(std::memory_order_acquire)) {
            sched_yield();
        }
    }
    ~TableLock()
    {
        m_taken.clear(std::memory_order_release);
        noteTableLock(false);
    }

private:
    std::atomic_flag& m_taken;
};

// Makes a table grow when few entries are left. bytesWanted() returns how much memory the table needs, 0 for none;
// grow(zeroes) gives the table that memory, filled with zeroes. Both are called under the table's lock, and calloc is
// called without it. When several threads call calloc for the same growth, the first that returns makes the table
// grow, and the others free their memory.
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
    requireNoTableLock();
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

// ---- Links of fallback blocks

struct Links {
    MemoryHeapNode_s* next;
    MemoryHeapNode_s* prev;
    unsigned int nextFree; // only in an entry that was given back: 1 + the number of the next such entry; 0: none
};

// The table of fallback links. Entries that were given back form a list, and are used before new ones.
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
    unsigned int m_firstFree = 0; // 1 + the number of the first entry that was given back; 0: none
    unsigned int m_freeCount = 0; // entries that were given back
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

bool areOutsideLinks(const MemoryHeapNode_s* node)
{
    const unsigned int next = node->next.m_word;
    return next % 4 == MemoryNodeRef::sc_outside && node->prev.m_word == next + MemoryNodeRef::sc_prev;
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

// ---- Source names
//
// A chunked table maps each number to its name. A hash table maps each name to its number: the key is the address of
// the name, with open addressing and linear probing. The hash table grows when it is half full. When it cannot grow,
// because there is no memory or because the thread is in calloc, it takes names until it is three quarters full.
// Readers take no lock, so a reader may still search the smaller hash table after the growth. For this reason the
// smaller one is never freed.

// name is written after number. So a thread that reads a name here may read its number without a lock.
struct NameSlot {
    std::atomic<const char*> name; // null: the slot is empty
    unsigned int number;
};

struct NameSlots {
    NameSlots* smaller; // the hash table before the last growth; null in the first
    unsigned int shift; // the capacity is 2 to the power of 64 - shift
    NameSlot slots[1];  // in fact capacity() slots

    unsigned int capacityLog2() const { return 64 - shift; }
    unsigned int capacity() const { return 1u << capacityLog2(); }
    unsigned int mask() const { return capacity() - 1; }

    // Returns where the search for a name begins. Fibonacci hashing (Knuth, The Art of Computer Programming, volume
    // 3, section 6.4): the upper bits of the address times 2^64 divided by the golden ratio.
    unsigned int placeOf(const char* name) const
    {
        return static_cast<unsigned int>(reinterpret_cast<uintptr_t>(name) * 0x9e3779b97f4a7c15u >> shift);
    }
};

static constexpr size_t bytesOfNameSlots(unsigned int capacityLog2)
{
    return sizeof(NameSlots) + (sizeof(NameSlot) << capacityLog2);
}

// Returns the name's number; 0 when the name has none.
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

// The hash table in use, and how many names it has.
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

    // Returns the size in bytes of a hash table of twice the capacity; 0 while this one is less than half full.
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

NameIndex::FirstSlots NameIndex::s_first = {{nullptr, 64 - 8, {}}, {}}; // 2^8 slots: one in head, 255 in others

static const char* s_firstNames[ChunkedTable<const char*>::sc_first];
static ChunkedTable<const char*> s_names(s_firstNames); // by number, from 1
static NameIndex s_nameIndex;
static std::atomic_flag s_namesTaken = ATOMIC_FLAG_INIT;

// The name of a number. Numbers begin at 1, because 0 in a header means null.
static const char*& nameAt(unsigned int number)
{
    return *s_names.at(number - 1);
}

// Returns the number of a name, and adds the name when it has none; 0 when there is no memory for one more name.
static unsigned int addName(const char* name)
{
    growInTime(s_names, s_namesTaken);
    growInTime(s_nameIndex, s_namesTaken);
    TableLock lock(s_namesTaken);
    if (const unsigned int number = findName(s_nameIndex.slots(), name)) {
        return number; // another thread has added the name meanwhile; no test can force this to happen
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
