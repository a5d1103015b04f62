// An index of one heap bank's free nodes. It finds nodes without following the free list. It gives the same answers
// as FreeWalk (memorymgr_walk.h). FreeList (memorymgr_freelist.h) tells the index of each change to the free list.
//
// 1. The index does not change the bank: with and without an index, the nodes are on the same list in the same
//    order. All memory of the index lies outside the bank.
// 2. Each node has a class, which follows from its size. Below 1/64 of the bank's size, each multiple of 32 bytes
//    has a class of its own (an exact class). Above that, there are four classes between a power of two and the next
//    (large classes). The free list runs from small to large, so the nodes of a class follow each other. The index
//    knows the first node of each class, and the index knows the last node of the list.
// 3. Each class has a bit, which is set when the class has nodes. Two more levels of bits tell which words of the
//    level below are not 0, so that a search skips empty words. The best fit for a size is the first node of at
//    least that size. When a node of that size is added to the list, its place is before the same node. To find
//    that node, the index goes upward from the size's class to the first class that is not empty, and takes the first
//    node of that class. A large class can also hold smaller nodes, so its nodes are walked; a bank has at most 64
//    nodes in all its large classes. The node at the end of a bank can have a size that is no multiple of 32. It has
//    the class of the next smaller multiple; in an exact class it is the last node.
// 4. A unit is 32 bytes of the bank, and each unit has a bit. The first and the last unit of a used node are clear.
//    The first and the last unit of a free node are set, and so is each of its units whose bit is in the same word
//    as one of those two bits. From a free node's last unit the index finds its first: it reads the set bits
//    downward to the next clear bit, which belongs to a used node because free nodes never touch. A long free node
//    has at least one whole word between the words of its first and its last unit. The word below its last word then
//    holds the number of the node's first unit, and the last word is marked as spanned. All other bits have no
//    meaning, so each change writes only a few words.
// 5. Exception to rules 2 and 4: while the free list has only one node, this node has no class, and the bits of its
//    units have no meaning. So loading a level into an empty bank writes little to the index.
// 6. Before an operation uses an answer, the index compares it with the header of the node. At the first
//    contradiction the index gives itself up (frees its memory), because the game or a stray write has changed the
//    bank. From then on the bank's free list is walked.
//
// The bitmap of rule 4 with words of 8 bits instead of 64. U is a used node of 3 units, F a free one; "." is a bit
// without a meaning:
//
//  unit     0  1  2  3  4  5  6  7 | 8  9 10 11 12 13 14 15 |16 17 18 19 20 21 22 23 |24 25 26 27 28 29 30 31
//  node     U  U  U  F  F  F  F  F   F  F  F  F  F  F  F  F   F  F  F  F  F  F  F  F   F  F  U  U  U  F  F  U ...
//  bit      0  .  0  1  1  1  1  1 | .  .  .  .  .  .  .  . |     the number 3        | 1  1  0  .  0  1  1  0
//  spanned                       . |                       . |                       . |                     yes
//
// The free node that ends with unit 25 has set bits down to the start of its word, which is marked as spanned. So the
// word below holds the number of the node's first unit, 3. The free node that ends with unit 30 begins with unit 29,
// because the bit of unit 28 is clear.
//
// An index takes ordinary memory, less than 1 % of its bank's size, when the bank is made. It takes no more later.
#pragma once

#include "core/memorymgr_walk.h"

#include <atomic>
#include <stdint.h>

static const unsigned int sc_unit = sc_granularity; // bytes

inline unsigned int unitsFor(unsigned int bytes)
{
    return (bytes + sc_unit - 1) / sc_unit; // bytes are less than 2^31
}

// Different threads use different banks. The alignment keeps two indexes out of one line of the processor's cache.
class alignas(64) FreeIndex {
public:
    // Makes the index of the bank with this number. The bank's region has to be one free node. Makes no index when
    // the bank has no region or is smaller than 32 KiB, when there is no memory for an index, and when four other
    // managers have indexes. FreeWalk then answers for the bank.
    static void make(const MemoryMgr* manager, int number, const MemoryBank_s& bank);

    // Returns the index of the bank banks[number]; null when the bank has none, and for a number above 31. banks: the
    // 32 banks of a manager.
    static FreeIndex* of(const MemoryBank_s* banks, size_t number);
    static void dropAll(const MemoryMgr* manager); // frees all indexes of a manager

    // The three questions of FreeWalk. Each function stores its answer and returns true. If the bank contradicts the
    // index, the index gives itself up and the function returns false.
    bool firstOfAtLeast(const MemoryBank_s* bank, unsigned long size, MemoryHeapNode_s** node);
    bool placeFor(unsigned int size, const MemoryHeapNode_s* leaving, FreePlace* place);
    bool neighboursOf(const MemoryBank_s* bank, MemoryHeapNode_s* node, FreeNeighbours* found);

    // FreeList calls these for each change to the free list: added after the change, removed and replaced before
    // it, while the list and the sizes are still the old ones.
    void added(const MemoryBank_s* bank, const MemoryHeapNode_s* node, const MemoryHeapNode_s* after);
    void removed(const MemoryHeapNode_s* node);
    void replaced(const MemoryHeapNode_s* old, const MemoryHeapNode_s* node,
                  unsigned int size);         // node, of this size, replaces old
    void taken(const MemoryHeapNode_s* node); // node is in use now: clears its first and last unit

    // In a checked build: returns the first rule above that the index breaks; null when it breaks none.
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
    unsigned int m_exactCount;       // how many exact classes there are
    unsigned int m_largeOffset;      // a term of _largeClassOf; a negative number is stored modulo 2^32
    const MemoryHeapNode_s* m_first; // of the free list
    const MemoryHeapNode_s* m_last;
    uint64_t* m_units;            // rule 4: a bit for each unit; null: the bank has no index
    uint64_t* m_spanned;          // rule 4: a bit for each word of m_units
    uint64_t* m_groups;           // a bit for each word of m_classes; set: it isn't 0
    uint64_t* m_classes;          // a bit for each class; set: the class has nodes
    unsigned int* m_heads;        // for each class: 1 + the first node's first unit; 0: the class is empty
    uint64_t m_tops[sc_topCount]; // a bit for each of up to 257 words of m_groups; set: it isn't 0
};

struct FreeIndex::Set {
    std::atomic<const MemoryMgr*> manager;  // null: the set is free
    std::atomic<const MemoryBank_s*> banks; // of the manager; null: the set is free
    FreeIndex indexes[32];
};

// Only the search in the first set is inlined, because a game has one manager.
inline FreeIndex* FreeIndex::of(const MemoryBank_s* banks, size_t number)
{
    if (number >= 32 || s_sets[0].banks.load(std::memory_order_acquire) != banks) {
        return _ofLaterSets(banks, number);
    }
    FreeIndex* index = &s_sets[0].indexes[number];
    return index->m_units ? index : nullptr;
}
