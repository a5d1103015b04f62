// The finder that needs no walk: an index of one heap bank's free nodes. It gives the same answers as FreeWalk
// (memorymgr_walk.h), and memorymgr_heap.cpp tells it of each change to the free list.
//
// 1. The bank is what it would be without an index: the same nodes on the same lists in the same order. Nothing of the
//    index lies in the bank.
// 2. Nodes are of a class by their size: one class for each multiple of 32 bytes, and the last one for all of more
//    than 1/64 of the bank, of which there are fewer than 64. The free list runs from small to large, so the nodes
//    of a class follow each other; the index knows the first. The one node that may be no multiple of 32, at the end of
//    the bank, is of the class below its size, and the last of it.
// 3. So "the first node of at least so many bytes", which is the best fit and also the place where a node of that size
//    goes, is the first of the first class, from that of the size rounded up, that isn't empty. Only in the last class
//    it takes a walk, of fewer than 64 nodes.
// 4. A unit is 32 bytes. Each has a bit: the first and the last unit of a used node are clear; those of a free node are
//    set, and so are all in between that share a word with one of the two. No two free nodes touch, so the bits from a
//    free node's last unit down to its first are a run that a clear one ends. Where a whole word lies between the words
//    of the two, the one below the last unit's holds the number of the first unit in place of bits, and is marked so.
//    Other bits mean nothing: making and joining nodes of any size changes a few words.
// 5. The index is believed only as far as headers and list bear it out. At the first contradiction, before anything has
//    been changed, it gives up: somebody else has written to the bank, and its list has to be walked from there on.
//
// An index takes less than 1 % of its bank's size from ordinary memory, when the bank is made, and nothing later.
#pragma once

#include "core/memorymgr.h"
#include "core/memorymgr_walk.h"

#include <atomic>
#include <stdint.h>

static const unsigned int sc_unit = sc_granularity; // bytes

inline unsigned int unitsFor(unsigned int bytes)
{
    return (bytes + sc_unit - 1) / sc_unit; // bytes are less than 2^31
}

class alignas(uint64_t) FreeIndex {
public:
    // Makes the index of a bank that is one free node. There is none when the bank is too small to need it, without
    // memory for it, and with more than four managers at a time; then the list is walked.
    static void make(const MemoryMgr* manager, int number, const MemoryBank_s& bank);
    static FreeIndex* of(const MemoryMgr* manager, int number);
    static void dropAll(const MemoryMgr* manager);

    // The three questions, as FreeWalk has them. False: the bank contradicts the index, which has been given up; the
    // index must not be used any more.
    bool firstOfAtLeast(const MemoryBank_s* bank, unsigned long size, MemoryHeapNode_s** node);
    bool placeFor(const MemoryBank_s* bank, unsigned int size, FreePlace* place);
    bool neighboursOf(const MemoryBank_s* bank, MemoryHeapNode_s* node, FreeNeighbours* found);

    // Whether the place of a free node is also the place for a node of size bytes.
    bool isPlaceFor(const MemoryHeapNode_s* node, unsigned int size) const;

    // The changes. removed and replaced are told while the list and the sizes are still the old ones.
    void added(const MemoryHeapNode_s* node); // node has come onto the free list
    void
    removed(const MemoryHeapNode_s* node); // node is about to leave it: it has been taken, or is part of a larger one
    void replaced(const MemoryHeapNode_s* old, MemoryHeapNode_s* node,
                  unsigned int size);         // node takes the place of old
    void taken(const MemoryHeapNode_s* node); // node is in use from here on

    // In a checked build: the first of the rules above that the index breaks; null when there is none.
    const char* brokenRule(const MemoryBank_s* bank) const;

private:
    struct Set {
        std::atomic<const MemoryMgr*> manager; // null: nobody's
        FreeIndex* indexes[32];
    };
    static Set* _setOf(const MemoryMgr* manager);
    void _drop();
    bool _giveUp();

    unsigned int _classOf(unsigned long size) const;
    unsigned int _firstClassFrom(unsigned int number) const;
    void _setHead(unsigned int number, const MemoryHeapNode_s* node);
    bool _find(unsigned long size, MemoryHeapNode_s** node) const;

    MemoryHeapNode_s* _nodeAt(unsigned int unit) const;
    unsigned int _unitOf(const MemoryHeapNode_s* node) const;
    bool _isFree(unsigned int unit) const;
    unsigned int _firstUnitOfNodeUpTo(unsigned int last) const;
    void _markFree(unsigned int first, unsigned int last);

    const char* _brokenUnitRule(const MemoryBank_s* bank) const;

    bool _canHold(const MemoryHeapNode_s* node) const;
    bool _looksFree(const MemoryHeapNode_s* node) const;

    void _enterClass(unsigned int number, const MemoryHeapNode_s* node, const MemoryHeapNode_s* after);
    void _leaveClass(unsigned int number, const MemoryHeapNode_s* node, const MemoryHeapNode_s* after);

    static Set s_sets[4];
    static const unsigned int sc_noClass = UINT32_MAX;
    static const int sc_levels = 4; // 64^4 classes are more than any bank has

    FreeIndex** m_place;             // in its set
    char* m_base;                    // of the bank
    unsigned int m_size;             // of the bank
    unsigned int m_classCount;       // the last class included
    const MemoryHeapNode_s* m_first; // of the free list, as it was left
    const MemoryHeapNode_s* m_last;
    uint64_t* m_units;     // a bit for each unit
    uint64_t* m_spanned;   // a bit for each word of units: the one below it holds a number
    unsigned int* m_heads; // for each class: its first node's unit and one; 0: empty

    // A bit for each class that isn't empty; in each next level a bit for each word that isn't 0.
    uint64_t* m_used[sc_levels];
};

inline FreeIndex::Set* FreeIndex::_setOf(const MemoryMgr* manager)
{
    for (Set& set : s_sets) {
        if (set.manager.load(std::memory_order_acquire) == manager) {
            return &set;
        }
    }
    return nullptr;
}

inline FreeIndex* FreeIndex::of(const MemoryMgr* manager, int number)
{
    const Set* set = _setOf(manager);
    return set ? set->indexes[number] : nullptr;
}
