// How a block's header names other headers and its source file in 32 bits, whatever the host.
//
// The header is 24 bytes everywhere, so that budgets agree between hosts. On a 32-bit host these types are plain
// pointers. On a 64-bit host they are 32-bit stand-ins that read and assign like the pointers they stand for:
//
// - a header inside a bank keeps the distance to the other header: a bank is smaller than 2 GiB;
// - the neighbours of a fallback block can lie anywhere, so its two links live in a table, and the header says where;
// - source names are numbered in a second table, one number for each pointer that was ever given.
//
// Both tables grow into ordinary memory and never move an entry. A header may lie at any address, so these types, like all
// its fields, ask for no alignment.
#pragma once

#include <stdint.h>

struct MemoryHeapNode_s;

typedef unsigned int MemoryWord __attribute__((aligned(1))); // a 32-bit field of a header

// A header's two links have to be set up before they are first read or assigned: as those of a node inside its bank,
// on no list yet, or as those of a fallback block (false when there is no memory for that), which are given up again
// before its block goes away.
void setUpLinks(MemoryHeapNode_s* node);
bool setUpOutsideLinks(MemoryHeapNode_s* node);
void giveUpOutsideLinks(MemoryHeapNode_s* node);

// There are also insideLink(link) and setInsideLink(link, node), for links that are known to be of a node inside its
// bank. They read and assign without a look at which kind a link is: a header that is only written needn't be fetched.

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

// A link of a header. It means something only where it stands, so it can't be copied: read it into a pointer.
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
    friend void giveUpOutsideLinks(MemoryHeapNode_s* node);
    friend MemoryHeapNode_s* insideLink(const MemoryNodeRef& link);
    friend void setInsideLink(MemoryNodeRef& link, MemoryHeapNode_s* node);

    static const unsigned int sc_outside = 1; // m_word is a place in the table: its number * 4, 2 for prev, and this
    static const unsigned int sc_prev = 2;

    uintptr_t _here() const { return reinterpret_cast<uintptr_t>(this); }
    MemoryHeapNode_s** _outside() const;

    MemoryWord m_word; // 0: null. Nodes of a bank lie 32 bytes apart or a multiple of it, which leaves bit 0 free.
};

// The word is the low half of the distance; as a signed number it is all of it.
inline MemoryHeapNode_s* insideLink(const MemoryNodeRef& link)
{
    const intptr_t distance = static_cast<int>(link.m_word);
    return distance ? reinterpret_cast<MemoryHeapNode_s*>(link._here() + static_cast<uintptr_t>(distance)) : nullptr;
}

inline void setInsideLink(MemoryNodeRef& link, MemoryHeapNode_s* node)
{
    link.m_word = node ? static_cast<unsigned int>(reinterpret_cast<uintptr_t>(node) - link._here()) : 0;
}

class MemoryNameRef {
public:
    operator const char*() const;
    MemoryNameRef& operator=(const char* name); // null, too, when there is no memory to number one more name

private:
    MemoryNameRef& _assignNew(const char* name);

    MemoryWord m_number; // 0: null
};

#pragma GCC visibility pop

#endif
