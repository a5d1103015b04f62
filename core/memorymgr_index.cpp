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

    void* bits = calloc(unitWords + wordsFor(unitWords), sizeof(uint64_t));
    void* classes = calloc(1, (groupWords + classWords) * sizeof(uint64_t) + classCount * sizeof(unsigned int));
    if (!bits || !classes) {
        ::free(bits);
        ::free(classes);
        return;
    }
    index.m_boundaries = static_cast<uint64_t*>(bits);
    index.m_spanned = index.m_boundaries + unitWords;
    index.m_groups = static_cast<uint64_t*>(classes);
    index.m_classes = index.m_groups + groupWords;
    index.m_heads = reinterpret_cast<unsigned int*>(index.m_classes + classWords);
    index.m_first = index.m_last = index.m_newest = bank.freeList;
    index.m_newestSize = bank.size;
    set->indexes[number] = index;
    Set::Place& place = set->places[_placeOf(&bank)];
    place.index = &set->indexes[number];
    place.bank.store(&bank, std::memory_order_release);
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
    for (Set::Place& place : set->places) {
        place.bank.store(nullptr, std::memory_order_release);
    }
    set->manager.store(nullptr, std::memory_order_release);
}

void FreeIndex::_drop()
{
    ::free(m_boundaries);
    ::free(m_groups);
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
