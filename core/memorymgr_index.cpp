// Makes and drops the indexes. There are four sets of 32 indexes; each manager that has indexes owns one set.
#include "core/memorymgr_index.h"
#include "core/memorymgr_index_steps.h"

#include <stdlib.h>
#include <string.h>

// Bytes. The free list of a smaller bank is short enough to walk.
static const unsigned int sc_smallestBank = 32 << 10;

FreeIndex::Set FreeIndex::s_sets[];
std::atomic<const MemoryMgr*> FreeIndex::s_managers[]; // apart from the sets, so that a search reads one page

static unsigned int wordsFor(unsigned int bits)
{
    return (bits + sc_wordBits - 1) / sc_wordBits;
}

FreeIndex::Set* FreeIndex::_setOf(const MemoryMgr* manager)
{
    for (size_t set = 0; set < sc_sets; ++set) {
        if (s_managers[set].load(std::memory_order_acquire) == manager) {
            return &s_sets[set];
        }
    }
    return nullptr;
}

// ---- The memory of the indexes

static const size_t sc_line = 64 / sizeof(uint64_t); // words in a line of the processor's cache

// The static array. Only indexes of the first set use it, because they are dropped all at once. A manager makes and drops
// its indexes in the main thread. Two indexes have no cache line in common, because different threads use them.
alignas(64) static uint64_t s_words[(128 << 10) / sizeof(uint64_t)];
static size_t s_taken;   // words in use, from the start of the array
static size_t s_written; // words that an earlier index may have written to

// Returns words that are all 0: from the static array if isFirstSet is true and the array has room, else from calloc.
// Returns null if there is no memory.
static uint64_t* takeZeroes(size_t count, bool isFirstSet)
{
    if (!isFirstSet || count > sizeof(s_words) / sizeof(s_words[0]) - s_taken) {
        return static_cast<uint64_t*>(calloc(count, sizeof(uint64_t)));
    }
    uint64_t* const words = s_words + s_taken;
    if (s_taken < s_written) {
        memset(words, 0, count * sizeof(uint64_t));
    }
    s_taken += (count + sc_line - 1) / sc_line * sc_line;
    return words;
}

// Frees words if they come from calloc; they may be null. Words of the static array stay taken until giveBackArray.
static void giveBack(uint64_t* words)
{
    const uintptr_t offset = reinterpret_cast<uintptr_t>(words) - reinterpret_cast<uintptr_t>(s_words);
    if (offset >= sizeof(s_words)) {
        // The analyzer does not see that these words are not in the array.
        ::free(words); // NOLINT(clang-analyzer-unix.Malloc)
    }
}

// Makes the whole static array available again. The caller has dropped all indexes of the first set.
static void giveBackArray()
{
    s_written = s_taken > s_written ? s_taken : s_written;
    s_taken = 0;
}

FreeIndex* FreeIndex::_ofLaterSets(const MemoryBank_s* bank)
{
    for (Set& set : s_sets) {
        const Set::Place& place = set.places[_placeOf(bank)];
        if (place.bank.load(std::memory_order_acquire) == bank) {
            return place.index;
        }
    }
    return nullptr;
}

void FreeIndex::make(const MemoryMgr* manager, int number, const MemoryBank_s& bank)
{
    Set* set = _setOf(manager);
    if (!set) {
        set = _setOf(nullptr);
    }
    if (!set || !bank.base || bank.size < sc_smallestBank) {
        return;
    }
    FreeIndex index = {};
    index.m_base = bank.base;
    index.m_size = bank.size;
    index.m_exactCount = bank.size / (128 * sc_unit);
    index.m_largeOffset = index.m_exactCount - index._largeClassOf(index.m_exactCount * sc_unit);
    const unsigned int unitWords = unitsFor(bank.size) / sc_wordBits + 1; // with a bit for the unit after the bank
    const unsigned int classCount = index._largeClassOf(bank.size) + 1;
    const unsigned int classWords = wordsFor(classCount);
    const unsigned int groupWords = wordsFor(classWords);
    index.m_topCount = wordsFor(groupWords);

    const bool isFirstSet = set == s_sets;
    const unsigned int headWords = (classCount + 1) / 2; // two heads in a word
    uint64_t* const bits = takeZeroes(unitWords + wordsFor(unitWords), isFirstSet);
    uint64_t* const classes = takeZeroes(groupWords + classWords + headWords, isFirstSet);
    if (!bits || !classes) {
        giveBack(bits);
        giveBack(classes);
        return;
    }
    index.m_boundaries = bits;
    index.m_spanned = index.m_boundaries + unitWords;
    index.m_groups = classes;
    index.m_classes = index.m_groups + groupWords;
    index.m_heads = reinterpret_cast<unsigned int*>(index.m_classes + classWords);
    index.m_first = index.m_last = index.m_newest = bank.freeList;
    index.m_newestSize = bank.size;
    set->indexes[number] = index;
    Set::Place& place = set->places[_placeOf(&bank)];
    place.index = &set->indexes[number];
    place.bank.store(&bank, std::memory_order_release);
    s_managers[set - s_sets].store(manager, std::memory_order_release);
}

void FreeIndex::dropAll(const MemoryMgr* manager)
{
    Set* set = _setOf(manager);
    if (!set) {
        return;
    }
    for (FreeIndex& index : set->indexes) {
        index._drop();
    }
    for (Set::Place& place : set->places) {
        place.bank.store(nullptr, std::memory_order_release);
    }
    if (set == s_sets) {
        giveBackArray();
    }
    s_managers[set - s_sets].store(nullptr, std::memory_order_release);
}

void FreeIndex::_drop()
{
    giveBack(m_boundaries);
    giveBack(m_groups);
    *this = FreeIndex();
}

bool FreeIndex::_giveUp()
{
    for (Set& set : s_sets) {
        for (Set::Place& place : set.places) {
            if (place.index == this) {
                place.bank.store(nullptr, std::memory_order_release);
            }
        }
    }
    _drop();
    return false;
}

// As _firstFrom, for sizes above the exact classes. The search starts at a large class; for a size that is not a
// multiple of 32 it can start at the last exact class. Only the first class with nodes is walked: the nodes of the
// next class are all large enough.
MemoryHeapNode_s* FreeIndex::_firstLargeFrom(unsigned long size) const
{
    if (size > m_size) {
        return nullptr;
    }
    const unsigned int bytes = static_cast<unsigned int>(size);
    MemoryHeapNode_s* head = _headOf(_firstClassFrom(_largeClassOf(bytes)));
    MemoryHeapNode_s* node = head;
    while (node && node->size < bytes) {
        node = insideLink(node->next);
        if (node && !_isUnit(node)) {
            return head; // it is too small, which firstOfAtLeast takes for a contradiction
        }
    }
    const bool isNewest = m_newestSize >= bytes && (!node || m_newestSize <= node->size);
    return isNewest ? const_cast<MemoryHeapNode_s*>(m_newest) : node;
}

// Looks for a word of m_groups that is not 0, after the word `group`. Returns the number of the first such word;
// sc_noClass if all words after `group` are 0.
// Not inlined, because only banks with more than 4096 classes have more than one word.
unsigned int FreeIndex::_firstGroupAfter(unsigned int group) const
{
    unsigned int top = group / sc_wordBits;
    uint64_t groups = m_tops[top] & (bitsFrom(group) ^ oneBit(group));
    while (!groups) {
        if (++top == m_topCount) {
            return sc_noClass;
        }
        groups = m_tops[top];
    }
    return top * sc_wordBits + lowestBit(groups);
}
