// The helpers for headers, lists, locations and banks that the memory manager's sources share. Private: games do not
// include this file.
//
// A node is a header and the memory after it. alloc returns the address of that memory, the block. The numbers are
// bytes from the node's start:
//
//   0       4       8       12      16      20      24                                     size
//   +-------+-------+-------+-------+-------+-------+---------------------------------------+
//   | magic | size  | file  | line  | next  | prev  | the block: the caller's bytes         | the next node
//   +-------+-------+-------+-------+-------+-------+---------------------------------------+
//
//   magic  0xfeedface in use, 0xdeadf00d free
//   size   bytes of the node, the header included; top bit set: the node lies outside its bank (a fallback block)
//   file   and line: the block's tag, as the caller of alloc gave it; no meaning in a free node
//   next   and prev: the links of the one list that the node is on: free, used or fallback
#pragma once

#include "core/memorymgr.h"

static const unsigned int sc_magicUsed = 0xfeedface;
static const unsigned int sc_magicFree = 0xdeadf00d;

static const unsigned int sc_headerSize = sizeof(MemoryHeapNode_s);
static const unsigned int sc_extBit = 0x80000000;      // set in the size of a node outside its bank
static const unsigned int sc_largestNode = 0x7fffffff; // bytes: the largest size without that bit
static const unsigned int sc_granularity = 32;         // bytes: node sizes and linear requests are rounded up to it

// Returns condition. The compiler arranges the code for a condition that is true.
inline bool isUsual(bool condition)
{
    return __builtin_expect(condition, true);
}

inline unsigned int sizeOf(const MemoryHeapNode_s* node)
{
    return node->size & ~sc_extBit;
}

inline MemoryHeapNode_s* behind(MemoryHeapNode_s* node)
{
    return reinterpret_cast<MemoryHeapNode_s*>(reinterpret_cast<char*>(node) + sizeOf(node));
}

// Writes the header of a free node of size bytes at place, and returns it. The node is on no list yet. The bytes at
// place can have any values before.
inline MemoryHeapNode_s* makeFreeNode(char* place, unsigned int size)
{
    MemoryHeapNode_s* node = reinterpret_cast<MemoryHeapNode_s*>(place);
    node->magic = sc_magicFree;
    node->size = size;
    setUpLinks(node);
    return node;
}

// Where the nodes of a list lie: inside their bank (free and used list) or anywhere (fallback list). The code writes
// a link of the first kind without reading it first: insideLink in memorymgr_refs.h says why.
enum e_NodesOf { NODES_OF_BANK, NODES_OF_LOCATION };

inline MemoryHeapNode_s* linkOf(const MemoryNodeRef& from, e_NodesOf nodes)
{
    return nodes == NODES_OF_BANK ? insideLink(from) : static_cast<MemoryHeapNode_s*>(from);
}

inline void setLink(MemoryNodeRef& from, MemoryHeapNode_s* node, e_NodesOf nodes)
{
    if (nodes == NODES_OF_BANK) {
        setInsideLink(from, node);
    } else {
        from = node;
    }
}

// Puts node into a list between two neighbours: before is null at the head, after is null at the end.
inline void linkBetween(MemoryHeapNode_s*& list, MemoryHeapNode_s* before, MemoryHeapNode_s* node,
                        MemoryHeapNode_s* after, e_NodesOf nodes = NODES_OF_BANK)
{
    if (before) {
        setLink(node->prev, before, nodes);
        setLink(before->next, node, nodes);
    } else {
        setLink(node->prev, nullptr, nodes);
        list = node;
    }
    if (after) {
        setLink(node->next, after, nodes);
        setLink(after->prev, node, nodes);
    } else {
        setLink(node->next, nullptr, nodes);
    }
}

inline void pushFront(MemoryHeapNode_s*& list, MemoryHeapNode_s* node, e_NodesOf nodes = NODES_OF_BANK)
{
    linkBetween(list, nullptr, node, list, nodes);
}

// Takes node off a list. node's own links keep their values.
inline void unlink(MemoryHeapNode_s*& list, MemoryHeapNode_s* node, e_NodesOf nodes = NODES_OF_BANK)
{
    MemoryHeapNode_s* before = linkOf(node->prev, nodes);
    MemoryHeapNode_s* after = linkOf(node->next, nodes);
    if (before && after) {
        setLink(before->next, after, nodes);
        setLink(after->prev, before, nodes);
        return;
    }
    if (before) {
        setLink(before->next, after, nodes);
    } else {
        list = after;
    }
    if (after) {
        setLink(after->prev, before, nodes);
    }
}

// Returns size bytes from the location; null if it has no memory left or no callback for it.
inline void* takeFrom(const MemoryLocation_s& location, unsigned long size)
{
    return location.allocCb && size != 0 ? location.allocCb(size) : nullptr;
}

// Gives block, which may be null, back to the location. Does nothing if the location has no callback for it.
inline void giveTo(const MemoryLocation_s& location, void* block)
{
    if (location.freeCb && block) {
        location.freeCb(block);
    }
}

// Returns the record of a bank, for indexes from -1 (the system bank) to 31; null for any other index. The record
// of a bank that has not been defined is all zero: it has no memory, and its requests go to location 0.
inline MemoryBank_s* MemoryMgr::_bank(int index)
{
    return const_cast<MemoryBank_s*>(static_cast<const MemoryMgr*>(this)->_bank(index));
}

inline const MemoryBank_s* MemoryMgr::_bank(int index) const
{
    if (isUsual(index >= 0 && index < 32)) {
        return &banks[index];
    }
    return index == -1 ? &systemBank : nullptr;
}
