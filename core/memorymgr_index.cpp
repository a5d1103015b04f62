// Making and dropping the indexes. Which bank has which index stands in four sets, one for each manager.
#include "core/memorymgr_index.h"
#include "core/memorymgr_index_steps.h"

#include <stdlib.h>

static const unsigned int sc_smallestBank = 32 << 10; // bytes: the list of a smaller one is short enough to walk

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

// The system bank gets here with number 32: it has no index.
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

    // The units' bits have no meaning yet and stay untouched until they have one: the index of a part of the bank that
    // isn't used takes no memory from the system.
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

// As _firstFrom, for a size that has no class of its own or whose next one is the first of the large ones. The nodes
// that are walked belong to one class; those behind it are large enough.
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
            return head; // which is too small: so the caller sees the contradiction
        }
    }
    return node;
}

// The list, which had one node, has two.
void FreeIndex::_enterOnly(const MemoryHeapNode_s* only)
{
    _enter(only, nullptr);
}

// The list has one node.
void FreeIndex::_leaveOnly()
{
    _setHead(_classOf(m_first->size), nullptr);
    taken(m_first);
}
