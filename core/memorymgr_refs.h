// The three links of a header, each a 32-bit word on every host: next, prev, and the source name file.
//
// A header has 24 bytes on every host, because the sizes of banks are tuned with it (docs/architecture.md, "Record
// layouts and virtual tables"). In a 32-bit build a link is a plain pointer. In a 64-bit build a link is one of the
// two classes below. They read and assign like a pointer. Their 32-bit word is read as follows:
//
//   next or prev of a node inside a bank: the distance to the other header
//   31                                                             1   0
//   +----------------------------------------------------------------+---+
//   | signed distance in bytes, from this word to the other header   | 0 |    0: null
//   +----------------------------------------------------------------+---+
//
//   next or prev of a fallback block: the block's entry in the table of fallback links, which holds the pointers
//   31                                                         2   1   0
//   +------------------------------------------------------------+---+---+
//   | number of the entry, from 0                                | p | 1 |    p: 0 is the entry's next, 1 its prev
//   +------------------------------------------------------------+---+---+
//
//   file: the number of the name in the table of source names, which holds the pointers
//   31                                                                 0
//   +--------------------------------------------------------------------+
//   | number of the name, from 1                                         |    0: null
//   +--------------------------------------------------------------------+
//
// A distance fits in 31 bits and a sign because a heap bank is smaller than 2 GiB. Fallback blocks can lie anywhere
// in memory, so 32 bits are too few for the distance between two of them. A fallback block has one entry for both of
// its links. Each different name pointer gets a number of its own, which lasts as long as the process.
//
// The tables get more memory from calloc when they need it. They never move an entry. A header may lie at any
// address, so these types have an alignment of 1, like all fields of a header.
//
// Threads. The links of a node are used under the lock of its bank. All banks share the tables, which have locks of
// their own.
#pragma once

#include <stdint.h>

struct MemoryHeapNode_s;

typedef unsigned int MemoryWord __attribute__((aligned(1))); // a 32-bit field of a header

// "Inside" in a name means a node in the region of its bank, "outside" means a fallback block.

// Sets next and prev of a node inside a bank to null. Call it before the links are first read or assigned.
void setUpLinks(MemoryHeapNode_s* node);

// Takes an entry of the table for a fallback block, and sets its next and prev to null. Call it before the links are
// first read or assigned. Returns false when there is no memory for one more entry; the links are then not set.
bool setUpOutsideLinks(MemoryHeapNode_s* node);

// Returns false if next and prev are not the two links of one entry of the table: then the header is damaged. A 32-bit
// build has no table, and returns true.
bool areOutsideLinks(const MemoryHeapNode_s* node);

// Gives the entry of a fallback block back to the table. Call it once, before the block's memory goes back.
void giveUpOutsideLinks(MemoryHeapNode_s* node);

// insideLink(link) returns the node that a link points to; setInsideLink(link, node) assigns a node or null. Both are
// for links of nodes inside a bank only, so they need not test bit 0 of the word. setInsideLink writes the word
// without reading it first: the processor does not wait for a header that is not in its cache.

#if UINTPTR_MAX == 0xffffffffu

typedef MemoryHeapNode_s* MemoryNodeRef __attribute__((aligned(1)));
typedef const char* MemoryNameRef __attribute__((aligned(1)));

inline MemoryHeapNode_s* insideLink(const MemoryNodeRef& link)
{
    return link;
}

inline void setInsideLink(MemoryNodeRef& link, MemoryHeapNode_s* node)
{
    link = node;
}

#else

#pragma GCC visibility push(default)

class MemoryNodeRef;
inline MemoryHeapNode_s* insideLink(const MemoryNodeRef& link);
inline void setInsideLink(MemoryNodeRef& link, MemoryHeapNode_s* node);

// next or prev of a header. The distance is counted from the address of this word, so the word would mean another
// node at another address. For this reason the class has no copy constructor; assignment converts the link through a
// pointer.
class MemoryNodeRef {
public:
    MemoryNodeRef() = default;
    MemoryNodeRef(const MemoryNodeRef&) = delete;

    operator MemoryHeapNode_s*() const { return m_word & sc_outside ? *_outside() : insideLink(*this); }
    MemoryHeapNode_s* operator->() const { return *this; }

    MemoryNodeRef& operator=(MemoryHeapNode_s* node)
    {
        if (m_word & sc_outside) {
            *_outside() = node;
        } else {
            setInsideLink(*this, node);
        }
        return *this;
    }
    MemoryNodeRef& operator=(const MemoryNodeRef& other) { return *this = static_cast<MemoryHeapNode_s*>(other); }

private:
    friend void setUpLinks(MemoryHeapNode_s* node);
    friend bool setUpOutsideLinks(MemoryHeapNode_s* node);
    friend bool areOutsideLinks(const MemoryHeapNode_s* node);
    friend void giveUpOutsideLinks(MemoryHeapNode_s* node);
    friend MemoryHeapNode_s* insideLink(const MemoryNodeRef& link);
    friend void setInsideLink(MemoryNodeRef& link, MemoryHeapNode_s* node);

    static const unsigned int sc_outside = 1; // bit 0 of m_word: the link of a fallback block
    static const unsigned int sc_prev = 2;    // bit 1, in such a link: prev

    // Distances count from this address.
    uintptr_t _here() const { return reinterpret_cast<uintptr_t>(this); }
    MemoryHeapNode_s** _outside() const; // the pointer in the table, for a link of a fallback block

    // Bit 0 is free for sc_outside, because a distance is even: headers of a bank lie a multiple of 32 bytes apart,
    // and next and prev lie 16 and 20 bytes after the start of a header.
    MemoryWord m_word;
};

// m_word holds the distance as a signed number of 32 bits.
inline MemoryHeapNode_s* insideLink(const MemoryNodeRef& link)
{
    const intptr_t distance = static_cast<int>(link.m_word);
    if (distance == 0) {
        return nullptr;
    }
    MemoryHeapNode_s* node = reinterpret_cast<MemoryHeapNode_s*>(link._here() + static_cast<uintptr_t>(distance));
    if (!node) {
        __builtin_unreachable(); // so the compiler tests for null only once
    }
    return node;
}

inline void setInsideLink(MemoryNodeRef& link, MemoryHeapNode_s* node)
{
    link.m_word = node ? static_cast<unsigned int>(reinterpret_cast<uintptr_t>(node) - link._here()) : 0;
}

// file of a header. Reads as the pointer that was assigned; the text is not copied.
class MemoryNameRef {
public:
    operator const char*() const;

    // Becomes null when the name is not in the table and the table has no memory for one more.
    MemoryNameRef& operator=(const char* name);

private:
    MemoryNameRef& _assignNew(const char* name);

    MemoryWord m_number; // 0: null
};

#pragma GCC visibility pop

#endif
