// Makes and drops the indexes. There are four sets of 32 indexes; each manager that has indexes owns one set.
#include "core/memorymgr_index.h"
#include "core/memorymgr_index_steps.h"

#include <stdlib.h>

// Bytes. The free list of a smaller bank is short enough to walk.
static const unsigned int sc_smallestBank = 32 << 10;

FreeIndex::Set FreeIndex::s_sets[4];

static unsigned int wordsFor(unsigned int bits)
{
    return (bits + sc_wordBits - 1) / sc_wordBits;
}

FreeIndex::Set* FreeIndex::_setOf(const MemoryMgr* manager)
{
    for (Set& set : s_sets) {
        if (set.manager.load(std::memory_order_acquire) == manager) {
            return &set;
        }
    }
    return nullptr;
}

// The record of the system bank follows the 32 banks, so its number is 32. It has no index.
FreeIndex* FreeIndex::_ofLaterSets(const MemoryBank_s* banks, size_t number)
{
    for (Set& set : s_sets) {
        if (number < 32 && set.banks.load(std::memory_order_acquire) == banks) {
            return set.indexes[number].m_units ? &set.indexes[number] : nullptr;
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
    index.m_exactCount = bank.size / (64 * sc_unit);
    index.m_largeOffset = index.m_exactCount - index._largeClassOf(index.m_exactCount * sc_unit);
    const unsigned int unitWords = wordsFor(unitsFor(bank.size));
    const unsigned int classCount = index._largeClassOf(bank.size) + 1;
    const unsigned int classWords = wordsFor(classCount);
    const unsigned int groupWords = wordsFor(classWords);

    // malloc, not calloc: the bits have no meaning until a node is added there. The system gives memory for a page of
    // bits when the first bit in it is written, so unused parts of the bank need no memory here.
    void* units = malloc((unitWords + wordsFor(unitWords)) * sizeof(uint64_t));
    void* classes = calloc(1, (groupWords + classWords) * sizeof(uint64_t) + classCount * sizeof(unsigned int));
    if (!units || !classes) {
        ::free(units);
        ::free(classes);
        return;
    }
    index.m_units = static_cast<uint64_t*>(units);
    index.m_spanned = index.m_units + unitWords;
    index.m_groups = static_cast<uint64_t*>(classes);
    index.m_classes = index.m_groups + groupWords;
    index.m_heads = reinterpret_cast<unsigned int*>(index.m_classes + classWords);
    index.added(&bank, bank.freeList, nullptr);
    set->indexes[number] = index;
    set->banks.store(&bank - number, std::memory_order_release);
    set->manager.store(manager, std::memory_order_release);
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
    set->banks.store(nullptr, std::memory_order_release);
    set->manager.store(nullptr, std::memory_order_release);
}

void FreeIndex::_drop()
{
    ::free(m_units);
    ::free(m_groups);
    *this = FreeIndex();
}

bool FreeIndex::_giveUp()
{
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
    const bool isExact = unitsFor(bytes) < m_exactCount;
    const unsigned int number = _firstClassFrom(isExact ? unitsFor(bytes) : _largeClassOf(bytes));
    if (number == sc_noClass) {
        return nullptr;
    }
    MemoryHeapNode_s* head = _nodeAt(m_heads[number] - 1);
    MemoryHeapNode_s* node = head;
    while (!isExact && node && node->size < bytes) {
        node = insideLink(node->next);
        if (node && !_isUnit(node)) {
            return head; // it is too small, which firstOfAtLeast takes for a contradiction
        }
    }
    return node;
}

// Ends the exception of rule 5 for the only node, because the list has two nodes now.
void FreeIndex::_enterOnly(const MemoryHeapNode_s* only)
{
    _enter(only, nullptr);
}

// Begins the exception of rule 5 for the last node that is left on the list.
void FreeIndex::_leaveOnly()
{
    _setHead(_classOf(m_first->size), nullptr);
    taken(m_first);
}
