// The functions below check the rules of memorymgr_heap.cpp and memorymgr_index.h, in the words of those rules.
// The functions whose names have "broken" in them return the first broken rule; null if no rule is broken. They
// allocate no memory and do not change the bank. An index that finds a contradiction gives itself up, as always.
#include "core/memorymgr_rules.h"

#ifdef CORE_CHECKED

#include "core/memorymgr_index_steps.h"
#include "core/memorymgr_walk.h"

#include <stdio.h>
#include <stdlib.h>
#include <tuple>

static const unsigned int sc_steps = 64; // nodes that the checks walk for each operation, on average

// For each bank number: the bank, if its last check found no broken rule; else null. The last element is for the
// system bank. Each element is used under the lock of its bank.
static const MemoryBank_s* s_sound[33];

static bool isInside(const MemoryBank_s* bank, const MemoryHeapNode_s* node)
{
    const uintptr_t at = reinterpret_cast<uintptr_t>(node) - reinterpret_cast<uintptr_t>(bank->base);
    return at <= bank->size - sc_headerSize && node->size <= bank->size - at;
}

static bool isOnList(const MemoryHeapNode_s* list, const MemoryHeapNode_s* node)
{
    while (list && list != node) {
        list = list->next;
    }
    return list != nullptr;
}

// Whether the list has count nodes (0 in a bank without a region), and each has this magic, lies inside the bank and is
// linked with its neighbours.
static bool isListOf(const MemoryBank_s* bank, const MemoryHeapNode_s* list, unsigned int magic, unsigned int count)
{
    const MemoryHeapNode_s* before = nullptr;
    for (const MemoryHeapNode_s* node = list; node; node = node->next) {
        if (count == 0 || !isInside(bank, node) || node->magic != magic || node->prev != before) {
            return false;
        }
        before = node;
        count -= 1;
    }
    return count == 0;
}

static bool isFallbackList(const MemoryBank_s* bank)
{
    unsigned int count = 0;
    const MemoryHeapNode_s* before = nullptr;
    for (const MemoryHeapNode_s* node = bank->extList; node; node = node->next) {
        if (count == bank->extNodeCount || node->magic != sc_magicUsed || !(node->size & sc_extBit) ||
            !areOutsideLinks(node) || node->prev != before) {
            return false;
        }
        before = node;
        count += 1;
    }
    return true;
}

static unsigned long long bytesOn(const MemoryHeapNode_s* list)
{
    unsigned long long bytes = 0;
    for (; list; list = list->next) {
        bytes += list->size;
    }
    return bytes;
}

static bool touchesAFreeNode(const MemoryBank_s* bank, MemoryHeapNode_s* node)
{
    MemoryHeapNode_s* upper = behind(node);
    return reinterpret_cast<char*>(upper) < bank->base + bank->size && upper->magic == sc_magicFree;
}

// The rules of memorymgr_heap.cpp. The fourth is checked first, because the other checks walk the lists.
static const char* brokenHeapRule(const MemoryBank_s* bank)
{
    const bool hasMemory = bank->base != nullptr;
    if (!isListOf(bank, bank->freeList, sc_magicFree, hasMemory ? bank->freeNodeCount : 0) ||
        !isListOf(bank, bank->usedList, sc_magicUsed, hasMemory ? bank->usedNodeCount : 0) || !isFallbackList(bank)) {
        return "heap 4: a node is on one of its bank's three lists: free, used, or fallback";
    }
    if (hasMemory && bytesOn(bank->freeList) + bytesOn(bank->usedList) != bank->size) {
        return "heap 1: used and free sizes add up to the bank's size";
    }
    for (MemoryHeapNode_s* node = bank->freeList; node; node = node->next) {
        if (touchesAFreeNode(bank, node)) {
            return "heap 2: no two free nodes touch";
        }
        if (node->next && node->next->size < node->size) {
            return "heap 3: the free list runs from small to large";
        }
    }
    return nullptr;
}

// Whether both finders give the same answers for a size.
static bool doFindersAgree(const MemoryBank_s* bank, FreeIndex* index, unsigned int size)
{
    MemoryHeapNode_s* node = nullptr;
    FreePlace place = {nullptr, nullptr};
    const FreeWalk walk(bank);
    const FreePlace expected = walk.placeFor(size);
    if (!index->firstOfAtLeast(bank, size, &node) || node != walk.firstOfAtLeast(size)) {
        return false;
    }
    const bool hasPlace = index->placeFor(size, &place);
    return std::make_tuple(hasPlace, place.before, place.after) ==
           std::make_tuple(true, expected.before, expected.after);
}

// Whether both finders give the same neighbours of a node.
static bool doFindersAgree(const MemoryBank_s* bank, FreeIndex* index, MemoryHeapNode_s* node)
{
    FreeNeighbours found = {nullptr, nullptr};
    const FreeNeighbours expected = FreeWalk(bank).neighboursOf(node);
    const bool isFound = index->neighboursOf(bank, node, &found);
    return std::make_tuple(isFound, found.lower, found.upper) ==
           std::make_tuple(true, expected.lower, expected.upper);
}

// The first node on the used list is the newest: after an alloc, the node that the alloc took.
static const char* brokenFinderRule(const MemoryBank_s* bank, FreeIndex* index)
{
    const MemoryHeapNode_s* smallest = bank->freeList;
    MemoryHeapNode_s* newest = bank->usedList;
    const unsigned int size = newest ? sizeOf(newest) : sc_granularity;
    if (!doFindersAgree(bank, index, size) || !doFindersAgree(bank, index, size + sc_granularity) ||
        (smallest && !doFindersAgree(bank, index, smallest->size + sc_granularity)) ||
        (newest && !doFindersAgree(bank, index, newest))) {
        return "heap: both finders give the same answers";
    }
    return nullptr;
}

// Checks the rules of memorymgr_index.h that an index can break. The bank must keep the rules of memorymgr_heap.cpp.
const char* FreeIndex::brokenRule(const MemoryBank_s* bank) const
{
    if (bank->freeList != m_first) {
        return "index 1: the nodes are on the same list in the same order";
    }
    unsigned int classes = 0;
    unsigned int before = sc_noClass;
    bool isNewestOnList = !m_newest;
    for (const MemoryHeapNode_s* node = bank->freeList; node; node = node->next) {
        if (!node->next && m_last != node) {
            return "index 2: the index knows the last node of the list";
        }
        const unsigned int number = _classOf(node->size);
        if (node == m_newest) {
            isNewestOnList = node->size == m_newestSize;
            if (node->prev && node->prev->size == node->size) {
                return "index 5: among nodes of equal size the newest node is the first";
            }
            continue;
        }
        if (number != before && (m_heads[number] != _unitOf(node) + 1 || _firstClassFrom(number) != number)) {
            return "index 2: the index knows the first node of each class";
        }
        classes += number != before;
        before = number;
    }
    if (!isNewestOnList) {
        return "index 5: the newest node is on the list, with the size that the index knows";
    }
    unsigned int number = _firstClassFrom(0);
    while (number != sc_noClass && classes != 0) {
        const unsigned int word = number / sc_wordBits;
        const uint64_t others = m_classes[word] & (bitsFrom(number) ^ oneBit(number));
        number = others ? word * sc_wordBits + lowestBit(others) : _firstClassBehindWord(word);
        classes -= 1;
    }
    if (classes != 0 || number != sc_noClass) {
        return "index 3: classes that aren't empty are those with nodes";
    }
    return _brokenUnitRule(bank);
}

const char* FreeIndex::_brokenUnitRule(const MemoryBank_s* bank) const
{
    for (const MemoryHeapNode_s* node = bank->usedList; node; node = node->next) {
        const unsigned int first = _unitOf(node);
        if (_isBoundary(first) && behind(_nodeAt(_firstUnitOfNodeBefore(first))) != node) {
            return "index 4: a used node has a free node before it if the bit of its own first unit is set";
        }
    }
    for (const MemoryHeapNode_s* node = bank->freeList; node; node = node->next) {
        const unsigned int first = _unitOf(node);
        const unsigned int end = first + unitsFor(node->size);
        if (node == m_newest) {
            if (_isBoundary(first) || _isBoundary(end)) {
                return "index 5: the boundary bits of the newest node are clear";
            }
        } else if (!_isBoundary(first) || !_isBoundary(end)) {
            return "index 4: a boundary bit is set if a free node begins with the unit, or ends just before the unit";
        } else if (_firstUnitOfNodeBefore(end) != first) {
            return "index 4: from the unit after a free node the index finds the node's first unit";
        }
    }
    return nullptr;
}

const char* RulesWatch::_brokenRule() const
{
    const char* broken = brokenHeapRule(m_bank);
    FreeIndex* index = FreeIndex::of(m_bank);
    if (!broken && index) {
        broken = index->brokenRule(m_bank);
    }
    if (!broken && index) {
        broken = brokenFinderRule(m_bank, index);
    }
    return broken;
}

static void end(int number, const char* broken)
{
    fprintf(stderr, "memory bank %d breaks a rule: %s\n", number, broken);
    abort();
}

RulesWatch::RulesWatch(int number, const MemoryBank_s* bank, MemoryHeapNode_s* node)
    : m_number(number), m_bank(bank), m_fallbackCount(bank->extNodeCount), m_isChecked(false)
{
    const unsigned int nodes = bank->usedNodeCount + bank->freeNodeCount + bank->extNodeCount;
    if (bank->type != MEMBANK_HEAP || (bank->allocCount + bank->freeCount) % (nodes / sc_steps + 1) != 0) {
        return;
    }
    const MemoryBank_s*& sound = s_sound[number == -1 ? 32 : number];
    const char* broken = _brokenRule();
    if (broken && sound == bank && nodes > sc_steps) {
        end(number, broken); // the library or the game has broken it since the last check
    }
    sound = broken ? nullptr : bank;
    m_isChecked = !broken && (!node || isOnList(bank->usedList, node) || isOnList(bank->extList, node));
}

RulesWatch::~RulesWatch()
{
    const bool isChecked = m_isChecked && m_bank->extNodeCount == m_fallbackCount;
    const char* broken = isChecked ? _brokenRule() : nullptr;
    if (broken) {
        end(m_number, broken);
    }
}

#endif
