// FreeList: finds nodes on the free list of one bank and makes all changes to that list. An object lives for one
// operation.
//
// Questions about free nodes go to a finder: to the bank's index (memorymgr_index.h) if the bank has one, else to
// FreeWalk (memorymgr_walk.h). FreeList tells the index of each change. An index that finds a contradiction gives
// itself up; from then on FreeWalk answers.
#pragma once

#include "core/memorymgr_index_steps.h"

class FreeList {
public:
    // index: of the bank; null if the bank has none.
    FreeList(MemoryBank_s* bank, FreeIndex* index) : m_bank(bank), m_index(index) {}

    // Returns the first node of at least size bytes, header included; null if there is none.
    MemoryHeapNode_s* firstOfAtLeast(unsigned long size)
    {
        MemoryHeapNode_s* node = nullptr;
        if (m_index && m_index->firstOfAtLeast(m_bank, size, &node)) {
            return node;
        }
        m_index = nullptr;
        return FreeWalk(m_bank).firstOfAtLeast(size);
    }

    FreeNeighbours neighboursOf(MemoryHeapNode_s* node)
    {
        FreeNeighbours found = {nullptr, nullptr};
        if (m_index && m_index->neighboursOf(m_bank, node, &found)) {
            return found;
        }
        m_index = nullptr;
        return FreeWalk(m_bank).neighboursOf(node);
    }

    // Adds node to the list, at the place for its size.
    void add(MemoryHeapNode_s* node) { _link(_placeFor(node->size, nullptr), node); }

    void remove(MemoryHeapNode_s* node)
    {
        if (m_index) {
            m_index->removed(node);
        }
        unlink(m_bank->freeList, node);
    }

    // Takes old off the list and adds node, of size bytes. The two overlap: one lies inside the other, or they are
    // the same node.
    void replace(MemoryHeapNode_s* old, MemoryHeapNode_s* node, unsigned int size)
    {
        const FreePlace place = _placeFor(size, old);
        if (place.before != old) {
            remove(old);
            node->size = size;
            _link(place, node);
            return;
        }
        if (m_index) {
            m_index->replaced(old, node, size);
        }
        node->size = size;
        if (node != old) {
            linkBetween(m_bank->freeList, insideLink(old->prev), node, place.after);
        }
    }

    // Tells the index that node, which has left the list, is in use now.
    void taken(const MemoryHeapNode_s* node)
    {
        if (m_index) {
            m_index->taken(node);
        }
    }

    // Joins node, which is on no list, with the free nodes that touch it. Returns true if there was one: then the
    // joined node is on the list, at the place for its new size. Returns false if there was none: then node is on
    // no list. A header that becomes part of a larger node keeps its values.
    bool join(MemoryHeapNode_s* node)
    {
        const FreeNeighbours found = neighboursOf(node);
        MemoryHeapNode_s* other = found.lower ? found.lower : found.upper;
        if (!other) {
            return false;
        }
        unsigned int size = node->size + other->size;
        m_bank->freeNodeCount -= 1;
        if (found.lower && found.upper) {
            size += found.upper->size;
            remove(found.upper);
            m_bank->freeNodeCount -= 1;
        }
        MemoryHeapNode_s* joined = found.lower ? found.lower : node;
        if (m_index) {
            replace(other, joined, size);
            return true;
        }
        _joinByWalking(other, joined, size);
        return true;
    }

private:
    // Takes other off the list and adds joined, of size bytes. If the game has changed the list, more nodes on it
    // can touch joined, so that joined is joined again.
    __attribute__((noinline, cold)) void _joinByWalking(MemoryHeapNode_s* other, MemoryHeapNode_s* joined,
                                                        unsigned int size)
    {
        remove(other);
        joined->size = size;
        if (!join(joined)) {
            add(joined);
        }
    }

    FreePlace _placeFor(unsigned int size, const MemoryHeapNode_s* leaving)
    {
        FreePlace place = {nullptr, nullptr};
        if (m_index && m_index->placeFor(size, leaving, &place)) {
            return place;
        }
        m_index = nullptr;
        return FreeWalk(m_bank).placeFor(size, leaving);
    }

    void _link(const FreePlace& place, MemoryHeapNode_s* node)
    {
        linkBetween(m_bank->freeList, place.before, node, place.after);
        if (m_index) {
            m_index->added(m_bank, node, place.after);
        }
    }

    MemoryBank_s* m_bank;
    FreeIndex* m_index; // null: FreeWalk answers
};
