// What the memory manager's sources share about headers, lists, locations and banks. Not for games.
#pragma once

#include "core/memorymgr.h"

static const unsigned int sc_magicUsed = 0xfeedface;
static const unsigned int sc_magicFree = 0xdeadf00d;

static const unsigned int sc_headerSize = sizeof(MemoryHeapNode_s);
static const unsigned int sc_extBit = 0x80000000;      // in a node's size: it lies outside its bank
static const unsigned int sc_largestNode = 0x7fffffff; // bytes: what the size word can say beside that bit
static const unsigned int sc_granularity = 32;         // bytes: node sizes and linear requests are multiples of it

inline unsigned int sizeOf(const MemoryHeapNode_s* node)
{
    return node->size & ~sc_extBit;
}

inline MemoryHeapNode_s* behind(MemoryHeapNode_s* node)
{
    return reinterpret_cast<MemoryHeapNode_s*>(reinterpret_cast<char*>(node) + sizeOf(node));
}

// A free node at a place that nothing is known about, on no list.
inline MemoryHeapNode_s* makeFreeNode(char* place, unsigned int size)
{
    MemoryHeapNode_s* node = reinterpret_cast<MemoryHeapNode_s*>(place);
    node->magic = sc_magicFree;
    node->size = size;
    setUpLinks(node);
    return node;
}

// Where the nodes of a list lie. Links between nodes inside one bank are written without a look at the header that holds
// them: that header may not be in the processor's cache, and a write does not wait for it.
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

// node keeps its own links.
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

// A location without the callback it needs has nothing to give, and gets nothing back.
inline void* takeFrom(const MemoryLocation_s& location, unsigned long size)
{
    return location.allocCb && size != 0 ? location.allocCb(size) : nullptr;
}

inline void giveTo(const MemoryLocation_s& location, void* block)
{
    if (location.freeCb && block) {
        location.freeCb(block);
    }
}

// The record of a bank that can be, defined or not: one that isn't has no memory and draws from location 0.
inline MemoryBank_s* MemoryMgr::_bank(int index)
{
    return const_cast<MemoryBank_s*>(static_cast<const MemoryMgr*>(this)->_bank(index));
}

inline const MemoryBank_s* MemoryMgr::_bank(int index) const
{
    if (index >= 0 && index < 32) {
        return &banks[index];
    }
    return index == -1 ? &systemBank : nullptr;
}
