// The finder that walks: it answers three questions about the free nodes of one bank from the bank's free list alone.
// memorymgr_index.h declares the finder that answers the same questions without a walk.
//
// Small banks are served by this finder, and so are banks whose lists the game has changed. It is also the reference: in
// a checked build the index has to give the same answers.
#pragma once

#include "core/memorymgr_nodes.h"

// A place between two neighbours on the free list; null at the list's ends.
struct FreePlace {
    MemoryHeapNode_s* before;
    MemoryHeapNode_s* after;
};

// The free nodes that end where a node begins, and that begin where it ends; null where there is none.
struct FreeNeighbours {
    MemoryHeapNode_s* lower;
    MemoryHeapNode_s* upper;
};

// Its functions are never taken into others: the code of an indexed bank stays small.
class FreeWalk {
public:
    explicit FreeWalk(const MemoryBank_s* bank) : m_list(bank->freeList) {}

    // The first node of at least size bytes, which is the best fit; null when there is none.
    __attribute__((noinline)) MemoryHeapNode_s* firstOfAtLeast(unsigned long size) const
    {
        MemoryHeapNode_s* node = m_list;
        while (node && node->size < size) {
            node = node->next;
        }
        return node;
    }

    // Where a node of size bytes goes: in front of the first node of at least that size, else behind the last one.
    // leaving, which may be null, is a node that the new one replaces: it does not count. Where it is the place's
    // before, the new node takes its place.
    __attribute__((noinline)) FreePlace placeFor(unsigned int size, const MemoryHeapNode_s* leaving) const
    {
        FreePlace place = {nullptr, m_list};
        while (place.after && (place.after == leaving || place.after->size < size)) {
            place = {place.after, place.after->next};
        }
        return place;
    }

    __attribute__((noinline)) FreeNeighbours neighboursOf(MemoryHeapNode_s* node) const
    {
        FreeNeighbours found = {nullptr, nullptr};
        for (MemoryHeapNode_s* other = m_list; other; other = other->next) {
            if (!found.lower && behind(other) == node) {
                found.lower = other;
            } else if (!found.upper && behind(node) == other) {
                found.upper = other;
            }
        }
        return found;
    }

private:
    MemoryHeapNode_s* m_list;
};
