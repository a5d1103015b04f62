// An index of one heap bank's free nodes. It finds nodes without following the free list. It gives the same answers
// as FreeWalk (memorymgr_walk.h). FreeList (memorymgr_freelist.h) tells the index of each change to the free list.
//
// 1. The index does not change the bank: with and without an index, the nodes are on the same list in the same
//    order. All memory of the index lies outside the bank.
// 2. Each node has a class, which follows from its size. Below 1/128 of the bank's size, each multiple of 32 bytes
//    has a class of its own (an exact class). Above that, there are four classes between a power of two and the next
//    (large classes). The free list runs from small to large, so the nodes of a class follow each other. The index
//    knows the first node of each class, and the index knows the last node of the list.
// 3. Each class has a bit, which is set when the class has nodes. Two more levels of bits tell which words of the
//    level below are not 0, so that a search skips empty words. The best fit for a size is the first node of at
//    least that size. When a node of that size is added to the list, its place is before the same node. To find
//    that node, the index goes upward from the size's class to the first class that is not empty, and takes the first
//    node of that class. A large class can also hold smaller nodes, so its nodes are walked; a bank has at most 128
//    nodes in all its large classes. The node at the end of a bank can have a size that is no multiple of 32. It has
//    the class of the next smaller multiple; in an exact class it is the last node.
// 4. A unit is 32 bytes of the bank, and each unit has a boundary bit. It is set if a free node begins with the unit,
//    or ends just before the unit. All other boundary bits are clear. Free nodes never touch, so one
//    unit can't have both reasons, and no bit inside a free node is set. A used node has a free node before it if the
//    bit of its own first unit is set, and a free node after it if the bit of the unit after it is set. From the unit
//    after a free node the index finds the node's first unit: it is the next lower unit whose bit is set. A word
//    holds the bits of 64 units. The word below that of the unit after a free node can lie inside the node as a
//    whole. Then this word is marked as spanned, and holds the number of the node's first unit instead of bits. So
//    the search reads at most two words.
// 5. Rules 2 to 4 do not hold for the newest node, which was placed on the list last. The newest node has no class, and
//    its boundary bits are clear. It gets its class and its bits when another node becomes the newest. The answers to the
//    three questions include the newest node. Among nodes of equal size the newest node is the first. A game often
//    allocates again the memory that it has just freed; then classes and bits do not change.
// 6. Before an operation uses an answer, the index compares it with the header of the node. At the first
//    contradiction the index gives itself up (frees its memory), because the game or a stray write has changed the
//    bank. From then on the bank's free list is walked.
//
// The boundary bits of rule 4 with words of 8 bits instead of 64. U is a used node, F a free one:
//
//  unit      0  1  2  3  4  5  6  7 | 8  9 10 11 12 13 14 15 |16 17 18 19 20 21 22 23 |24 25 26 27 28 29 30 31
//  node      U  U  U  F  F  F  F  F   F  F  F  F  F  F  F  F   F  F  F  F  F  F  F  F   F  F  U  U  U  F  F  U ...
//  boundary  0  0  0  1  0  0  0  0 | 0  0  0  0  0  0  0  0 |     the number 3        | 0  0  1  0  0  1  0  1
//  spanned                       no |                     no |                     yes |                     no
//
// The bit of unit 26 is set, so a free node ends before unit 26. No lower bit of this word is set, and the word below
// is marked as spanned: the free node begins with unit 3. The bit of unit 31 is set, so a free node ends before unit
// 31. It begins with unit 29, whose bit is the next lower one that is set.
//
// An index takes its memory when the bank is made: less than 1 % of the bank's size. It takes no more later. The memory
// comes from calloc, or from a static array of 128 KiB while that has room. The pages of the array are empty until an
// operation writes to them, while calloc would write to all pages of a small block when a game starts.
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

    static FreeIndex* of(const MemoryBank_s* bank); // returns the index of a bank; null when the bank has none
    static void dropAll(const MemoryMgr* manager);  // frees all indexes of a manager

    // The three questions of FreeWalk. Each function stores its answer and returns true. If the bank contradicts the
    // index, the index gives itself up and the function returns false.
    bool firstOfAtLeast(const MemoryBank_s* bank, unsigned long size, MemoryHeapNode_s** node);
    bool placeFor(unsigned int size, FreePlace* place);
    bool neighboursOf(const MemoryBank_s* bank, MemoryHeapNode_s* node, FreeNeighbours* found);

    // FreeList calls these before each change to the free list, while the list and the sizes are still the old ones.
    // Before it asks for the place of a node that it adds, it calls enterNewest. enterNewest and replacing return
    // false if the newest node contradicts the index, which has then given itself up.
    bool enterNewest();
    void adding(const MemoryHeapNode_s* node, const FreePlace& place);
    bool replacing(const MemoryHeapNode_s* old, const MemoryHeapNode_s* node,
                   unsigned int size); // node, of this size, takes old's place
    void removing(const MemoryHeapNode_s* node);

    // Stores the source name of node. Looks into the table of names only if name is not the bank's last one.
    void setName(MemoryHeapNode_s* node, const char* name);

    // In a checked build: returns the first rule above that the index breaks; null when it breaks none.
    const char* brokenRule(const MemoryBank_s* bank) const;

private:
    struct Set;

    // An answer of the index. isSound: the node is null, or its header agrees with what the index knows of the node.
    struct Found {
        MemoryHeapNode_s* node;
        bool isSound;
    };

    static Set* _setOf(const MemoryMgr* manager);
    static size_t _placeOf(const MemoryBank_s* bank);
    __attribute__((cold)) static FreeIndex* _ofLaterSets(const MemoryBank_s* bank);
    void _drop();
    __attribute__((cold)) bool _giveUp();

    unsigned int _classOf(unsigned int size) const;
    unsigned int _largeClassOf(unsigned int size) const;
    bool _isOfClass(unsigned int number, unsigned int size) const;
    unsigned int _firstClassFrom(unsigned int number) const;
    unsigned int _firstClassBehindWord(unsigned int word) const;
    unsigned int _firstGroupAfter(unsigned int group) const;
    void _setHead(unsigned int number, const MemoryHeapNode_s* node);
    void _clearHead(unsigned int number);
    void _enterClass(unsigned int number, const MemoryHeapNode_s* node, const MemoryHeapNode_s* after);
    void _leaveClass(unsigned int number, const MemoryHeapNode_s* node, const MemoryHeapNode_s* after);
    MemoryHeapNode_s* _headOf(unsigned int number) const;
    Found _firstFrom(unsigned long size) const;
    MemoryHeapNode_s* _firstLargeFrom(unsigned long size) const;
    bool _isNewestBefore(unsigned int number) const;
    void _setNewest(const MemoryHeapNode_s* node, unsigned int size);
    void _leave(const MemoryHeapNode_s* node);

    MemoryHeapNode_s* _nodeAt(unsigned int unit) const;
    size_t _offsetOf(const MemoryHeapNode_s* node) const;
    unsigned int _unitOf(const MemoryHeapNode_s* node) const;
    bool _isBoundary(unsigned int unit) const;
    unsigned int _firstUnitOfNodeBefore(unsigned int end) const;
    bool _isSpanning(unsigned int first, unsigned int end) const;
    void _mark(const MemoryHeapNode_s* node);
    void _unmark(const MemoryHeapNode_s* node);
    const char* _brokenUnitRule(const MemoryBank_s* bank) const;

    bool _isUnit(const MemoryHeapNode_s* node) const;
    bool _isPossible(const MemoryHeapNode_s* node) const;
    bool _isNewestSound() const;
    bool _isFreeNode(const MemoryHeapNode_s* node, unsigned long size) const;

    static const size_t sc_sets = 4;
    static Set s_sets[sc_sets];
    static std::atomic<const MemoryMgr*> s_managers[sc_sets]; // the owner of each set; null: the set is free
    static const unsigned int sc_noClass = UINT32_MAX;

    char* m_base;                    // of the bank
    unsigned int m_size;             // of the bank
    unsigned int m_exactCount;       // classes of a single multiple of 32
    const MemoryHeapNode_s* m_first; // of the free list
    const MemoryHeapNode_s* m_last;
    const MemoryHeapNode_s* m_newest; // rule 5; null: all nodes have a class
    unsigned int m_newestSize;        // the size with which it was placed; 0: m_newest is null
    uint64_t* m_boundaries;           // rule 4: a bit for each unit; null: the bank has no index
    uint64_t* m_spanned;              // rule 4: a bit for each word of m_boundaries
    uint64_t* m_classes;              // a bit for each class; set: the class has nodes
    unsigned int* m_heads;            // for each class: 1 + the first node's first unit; 0: the class is empty
    uint64_t* m_groups;               // a bit for each word of m_classes; set: it isn't 0
    const char* m_lastName;           // of setName
    MemoryNameRef m_lastNameRef;      // the link to it; null: none
    unsigned int m_largeOffset;       // added to a large size's number gives its class; can wrap below 0
    unsigned int m_topCount;          // words of m_tops in use
    uint64_t m_tops[5];               // a bit for each of up to 257 words of m_groups; set: it isn't 0
};

// The indexes of one manager. The address of a bank gives its place. The records of a manager's banks follow each
// other, and the size of a record is an odd multiple of sc_step. So the banks of one manager have different places.
struct FreeIndex::Set {
    struct Place {
        std::atomic<const MemoryBank_s*> bank; // null: no bank of this place has an index
        FreeIndex* index;
    };
    static const size_t sc_step = sizeof(MemoryBank_s) & (~sizeof(MemoryBank_s) + 1); // its lowest bit that is set

    Place places[64];
    FreeIndex indexes[32]; // by the number of the bank
};

inline size_t FreeIndex::_placeOf(const MemoryBank_s* bank)
{
    return reinterpret_cast<uintptr_t>(bank) / Set::sc_step % 64;
}

// Only the search in the first set is inlined, because a game has one manager.
inline FreeIndex* FreeIndex::of(const MemoryBank_s* bank)
{
    const Set::Place& place = s_sets[0].places[_placeOf(bank)];
    const bool isInFirst = place.bank.load(std::memory_order_acquire) == bank;
    return __builtin_expect(isInFirst, true) ? place.index : _ofLaterSets(bank);
}
