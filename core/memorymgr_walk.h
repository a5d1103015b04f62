// The finder that walks the free list of one bank. It answers three questions: the first node for a size, the place
// of a new node, and the free neighbours of a node. The index (memorymgr_index.h) answers them without a walk.
//
// This finder serves small banks, and banks whose lists the game has changed. It is also the reference: in a
// checked build the index has to give the same answers.
#pragma once

#include "core/memorymgr_nodes.h"

// A place on the free list: between the nodes before and after. Each is null at its end of the list.
struct FreePlace {
    MemoryHeapNode_s* before;
    MemoryHeapNode_s* after;
};

// The free node that ends where a node begins (lower), and the free node that begins where the node ends (upper).
// Each is null if there is no such node.
struct FreeNeighbours {
    MemoryHeapNode_s* lower;
    MemoryHeapNode_s* upper;
};

// The functions are not inlined, so that the code that runs in banks with an index stays small.
class FreeWalk {
public:
    explicit FreeWalk(const MemoryBank_s* bank) : m_list(bank->freeList) {}

    // Returns the first node of at least size bytes, which is the best fit; null if there is none.
    __attribute__((noinline)) MemoryHeapNode_s* firstOfAtLeast(unsigned long size) const
    {
        MemoryHeapNode_s* node = m_list;
        while (node && node->size < size) {
            node = node->next;
        }
        return node;
    }

    // Returns the place of a node of size bytes that is not on the list: before the first node of at least that size;
    // after the last node if all nodes are smaller.
    __attribute__((noinline)) FreePlace placeFor(unsigned int size) const
    {
        FreePlace place = {nullptr, m_list};
        while (place.after && place.after->size < size) {
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
