// The finder that needs no walk: an index of one heap bank's free nodes. It gives the same answers as FreeWalk
// (memorymgr_walk.h), and FreeList (memorymgr_freelist.h) tells it of each change to the free list.
//
// 1. The bank is what it would be without an index: the same nodes on the same lists in the same order. Nothing of the
//    index lies in the bank.
// 2. Nodes are of a class by their size. Below 1/64 of the bank there is a class for each multiple of 32 bytes; from
//    there on a class holds a quarter of the sizes between two powers of two. The free list runs from small to large,
//    so the nodes of a class follow each other; the index knows the first. It also knows the last node of the list.
// 3. So "the first node of at least so many bytes", which is the best fit and also the place where a node of that size
//    goes, is the first node of the first class, from that of the size on, that isn't empty. Only a class of large
//    sizes can hold smaller nodes as well and takes a walk; a bank has fewer than 64 such nodes. Three levels of bits find
//    the class. The one node that may be no multiple of 32, at the end of the bank, is of the class below its size, and
//    the last of it.
// 4. A unit is 32 bytes, and each has a bit. The first and the last unit of a used node are clear. Those of a free node
//    are set, and so are all of its units that share a word with one of the two. No two free nodes touch, so the bits
//    from a free node's last unit down to its first are a run that a clear bit ends. A free node with a whole word
//    between its first and its last word has the number of its first unit in the word below its last one, which is
//    marked as spanned. All other bits have no meaning: making and joining nodes of any size changes a few words.
// 5. While the list has one node, that node is its first and its last one, and of no class; its units are clear. Loading
//    a level into an empty bank changes little else than the bank.
// 6. The index checks each node against its header before an operation uses it. At the first contradiction it gives
//    itself up: the game or a stray write has changed the bank, and its list has to be walked from there on.
//
// An index takes less than 1 % of its bank's size from ordinary memory when the bank is made, and nothing later.
#pragma once

#include "core/memorymgr_walk.h"

#include <atomic>
#include <stdint.h>

static const unsigned int sc_unit = sc_granularity; // bytes

inline unsigned int unitsFor(unsigned int bytes)
{
    return (bytes + sc_unit - 1) / sc_unit; // bytes are less than 2^31
}

// Banks are used by different threads: no two indexes share a line of the processor's cache.
class alignas(64) FreeIndex {
public:
    // Makes the index of a bank that is one free node. There is none when the bank is too small to need it, without
    // memory for it, and with more than four managers at a time; then the list is walked.
    static void make(const MemoryMgr* manager, int number, const MemoryBank_s& bank);

    // Returns the index of the bank banks[number]; null when the bank has none. banks are the 32 banks of a manager. Any
    // number is allowed.
    static FreeIndex* of(const MemoryBank_s* banks, size_t number);
    static void dropAll(const MemoryMgr* manager);

    // The three questions, as FreeWalk has them. False: the bank contradicts the index, which has given itself up.
    bool firstOfAtLeast(const MemoryBank_s* bank, unsigned long size, MemoryHeapNode_s** node);
    bool placeFor(unsigned int size, const MemoryHeapNode_s* leaving, FreePlace* place);
    bool neighboursOf(const MemoryBank_s* bank, MemoryHeapNode_s* node, FreeNeighbours* found);

    // The changes to the free list. "Before": while list and sizes are still the old ones.
    void added(const MemoryBank_s* bank, const MemoryHeapNode_s* node, const MemoryHeapNode_s* after);
    void removed(const MemoryHeapNode_s* node); // before it leaves
    void replaced(const MemoryHeapNode_s* old, const MemoryHeapNode_s* node,
                  unsigned int size);         // before it takes over
    void taken(const MemoryHeapNode_s* node); // it is in use from here on: its first and last unit become clear

    // In a checked build: the first of the rules above that the index breaks; null when there is none.
    const char* brokenRule(const MemoryBank_s* bank) const;

private:
    struct Set;
    static Set* _setOf(const MemoryMgr* manager);
    __attribute__((cold)) static FreeIndex* _ofLaterSets(const MemoryBank_s* banks, size_t number);
    void _drop();
    __attribute__((cold)) bool _giveUp();

    unsigned int _classOf(unsigned int size) const;
    unsigned int _largeClassOf(unsigned int size) const;
    unsigned int _firstClassFrom(unsigned int number) const;
    unsigned int _firstClassBehindWord(unsigned int word) const;
    void _setHead(unsigned int number, const MemoryHeapNode_s* node);
    void _enterClass(unsigned int number, const MemoryHeapNode_s* node, const MemoryHeapNode_s* after);
    void _enter(const MemoryHeapNode_s* node, const MemoryHeapNode_s* after);
    void _enterOnly(const MemoryHeapNode_s* only);
    void _leaveOnly();
    void _leaveClass(unsigned int number, const MemoryHeapNode_s* node, const MemoryHeapNode_s* after);
    MemoryHeapNode_s* _firstFrom(unsigned long size) const;
    MemoryHeapNode_s* _firstLargeFrom(unsigned long size) const;

    MemoryHeapNode_s* _nodeAt(unsigned int unit) const;
    unsigned int _unitOf(const MemoryHeapNode_s* node) const;
    bool _isFree(unsigned int unit) const;
    unsigned int _firstUnitOfNodeUpTo(unsigned int last) const;
    void _markFree(unsigned int first, unsigned int last);
    const char* _brokenUnitRule(const MemoryBank_s* bank) const;

    bool _isUnit(const MemoryHeapNode_s* node) const;
    bool _isPossible(const MemoryHeapNode_s* node) const;
    bool _isFreeNode(const MemoryHeapNode_s* node, unsigned long size) const;

    static Set s_sets[4];
    static const unsigned int sc_noClass = UINT32_MAX;
    static const unsigned int sc_topCount = 5;

    char* m_base;                    // of the bank
    unsigned int m_size;             // of the bank
    unsigned int m_exactCount;       // classes of a single multiple of 32
    unsigned int m_largeOffset;      // from what a large size says to its class; may be "negative"
    const MemoryHeapNode_s* m_first; // of the free list
    const MemoryHeapNode_s* m_last;
    uint64_t* m_units;            // a bit for each unit; null: there is no index
    uint64_t* m_spanned;          // a bit for each word of units: the word below it holds a number
    uint64_t* m_groups;           // a bit for each word of m_classes that isn't 0
    uint64_t* m_classes;          // a bit for each class that isn't empty
    unsigned int* m_heads;        // for each class: its first node's unit and one; 0: empty
    uint64_t m_tops[sc_topCount]; // a bit for each word of m_groups that isn't 0: the largest bank has 257 of them
};

struct FreeIndex::Set {
    std::atomic<const MemoryMgr*> manager;  // null: the set is free
    std::atomic<const MemoryBank_s*> banks; // of the manager; null: the set is free
    FreeIndex indexes[32];
};

// The first set is looked at here, because a game has one manager.
inline FreeIndex* FreeIndex::of(const MemoryBank_s* banks, size_t number)
{
    if (number >= 32 || s_sets[0].banks.load(std::memory_order_acquire) != banks) {
        return _ofLaterSets(banks, number);
    }
    FreeIndex* index = &s_sets[0].indexes[number];
    return index->m_units ? index : nullptr;
}
