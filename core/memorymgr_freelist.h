// FreeList: finds nodes on the free list of one bank and makes all changes to that list. An object lives for one
// operation.
//
// Questions about free nodes go to a finder: to the bank's index (memorymgr_index.h) if the bank has one, else to
// FreeWalk (memorymgr_walk.h). FreeList tells the index of each change. An index that finds a contradiction gives
// itself up; from then on FreeWalk answers. It also stores source names, because the index remembers the last one.
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
        if (_hasIndex() && m_index->firstOfAtLeast(m_bank, size, &node)) {
            return node;
        }
        m_index = nullptr;
        return FreeWalk(m_bank).firstOfAtLeast(size);
    }

    FreeNeighbours neighboursOf(MemoryHeapNode_s* node)
    {
        FreeNeighbours found = {nullptr, nullptr};
        if (_hasIndex() && m_index->neighboursOf(m_bank, node, &found)) {
            return found;
        }
        m_index = nullptr;
        return FreeWalk(m_bank).neighboursOf(node);
    }

    // Adds node to the list, at the place for its size.
    void add(MemoryHeapNode_s* node)
    {
        // Before the search, which then needs not compare with the newest.
        if (_hasIndex() && !m_index->enterNewest()) {
            m_index = nullptr;
        }
        const FreePlace place = _placeFor(node->size);
        if (_hasIndex()) {
            m_index->adding(node, place);
        }
        linkBetween(m_bank->freeList, place.before, node, place.after);
    }

    void remove(MemoryHeapNode_s* node)
    {
        if (_hasIndex()) {
            m_index->removing(node);
        }
        unlink(m_bank->freeList, node);
    }

    // Takes old off the list and adds node, of size bytes. The two overlap: one lies inside the other, or they are
    // the same node.
    void replace(MemoryHeapNode_s* old, MemoryHeapNode_s* node, unsigned int size)
    {
        MemoryHeapNode_s* before = insideLink(old->prev);
        MemoryHeapNode_s* after = insideLink(old->next);
        if (!_hasIndex() || !_isBetween(size, old->size, before, after)) {
            remove(old);
            node->size = size;
            add(node);
            return;
        }
        if (!m_index->replacing(old, node, size)) {
            m_index = nullptr;
        }
        node->size = size;
        if (node != old) {
            linkBetween(m_bank->freeList, before, node, after);
        }
    }

    // Stores the source name of a node that the caller takes.
    void setName(MemoryHeapNode_s* node, const char* name)
    {
        if (_hasIndex()) {
            m_index->setName(node, name);
        } else {
            node->file = name;
        }
    }

    // Joins node, which is on no list, with the free nodes that touch it. Returns true if there was one: then the
    // joined node is on the list, at the place for its new size. Returns false if there was none: then node is on
    // no list. A header that becomes part of a larger node keeps its values.
    bool join(MemoryHeapNode_s* node)
    {
        const FreeNeighbours found = neighboursOf(node);
        const bool isLowerLarger = found.lower && (!found.upper || found.lower->size > found.upper->size);
        MemoryHeapNode_s* larger = isLowerLarger ? found.lower : found.upper;
        MemoryHeapNode_s* smaller = isLowerLarger ? found.upper : found.lower; // null if there is one neighbour only
        if (!larger) {
            return false;
        }
        unsigned int size = node->size + larger->size;
        m_bank->freeNodeCount -= 1;
        if (smaller) {
            size += smaller->size;
            remove(smaller);
            m_bank->freeNodeCount -= 1;
        }
        MemoryHeapNode_s* joined = found.lower ? found.lower : node;
        if (_hasIndex()) {
            replace(larger, joined, size); // the place of the larger node is the nearer one
            return true;
        }
        _joinByWalking(m_bank, larger, joined, size);
        return true;
    }

private:
    bool _hasIndex() const { return isUsual(m_index != nullptr); }

    // Whether a node between before and after keeps its place when its size changes from oldSize to size. Then the
    // index need not search for the place, which is the common case.
    static bool _isBetween(unsigned int size, unsigned int oldSize, const MemoryHeapNode_s* before,
                           const MemoryHeapNode_s* after)
    {
        return size < oldSize ? !before || before->size < size : !after || after->size >= size;
    }

    // Takes other off the list and adds joined, of size bytes. If the game has changed the list, more nodes on it
    // can touch joined, so that joined is joined again.
    __attribute__((noinline, cold)) static void _joinByWalking(MemoryBank_s* bank, MemoryHeapNode_s* other,
                                                               MemoryHeapNode_s* joined, unsigned int size)
    {
        FreeList list(bank, nullptr);
        list.remove(other);
        joined->size = size;
        if (!list.join(joined)) {
            list.add(joined);
        }
    }

    FreePlace _placeFor(unsigned int size)
    {
        FreePlace place = {nullptr, nullptr};
        if (_hasIndex() && m_index->placeFor(size, &place)) {
            return place;
        }
        m_index = nullptr;
        return FreeWalk(m_bank).placeFor(size);
    }

    MemoryBank_s* m_bank;
    FreeIndex* m_index; // null: FreeWalk answers
};
