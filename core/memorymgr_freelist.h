// The free list of one bank, for as long as one operation takes: what finds nodes on it, and all that changes it.
//
// Two finders answer questions about free nodes: the bank's index, where it has one, and FreeWalk. The index is told of
// each change. An index that meets a contradiction gives itself up, and FreeWalk answers from there on.
#pragma once

#include "core/memorymgr_index_steps.h"

class FreeList {
public:
    // index may be null.
    FreeList(MemoryBank_s* bank, FreeIndex* index) : m_bank(bank), m_index(index) {}

    // Returns the first node of at least size bytes, header included; null when there is none.
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

    // Puts node where its size belongs.
    void add(MemoryHeapNode_s* node) { _link(_placeFor(node->size, nullptr), node); }

    void remove(MemoryHeapNode_s* node)
    {
        if (m_index) {
            m_index->removed(node);
        }
        unlink(m_bank->freeList, node);
    }

    // Puts node, of size bytes, on the list and takes old off it. They overlap, and may be the same.
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

    // node, which has left the list, is in use from here on.
    void taken(const MemoryHeapNode_s* node)
    {
        if (m_index) {
            m_index->taken(node);
        }
    }

    // Joins a node that is on no list with the free nodes it touches. True when there was one, and then the joined node
    // is on the list, by its new size. A header that was taken in keeps its words.
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
    // Puts joined, of size bytes, in place of other. A list that the game has changed can hold more nodes that it touches.
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
    FreeIndex* m_index; // null: the list is walked
};
