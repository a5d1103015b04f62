// The records of the memory manager, as its own class and derived classes see them, and the words of headers.
#pragma once

#include "core/memorymgr.h"

#include <stdint.h>
#include <string.h>

// A program that the game starts may be without libcore, and LD_PRELOAD names this library there as well. So the one
// function of libcore that is called directly may be missing.
__asm__(".weak _ZNK13MemoryNodeRef8_outsideEv");

namespace watch {

class ManagerView : public MemoryMgr {
public:
    using MemoryMgr::bankCount;
    using MemoryMgr::banks;
    using MemoryMgr::systemBank;

    static ManagerView& of(MemoryMgr* manager) { return *static_cast<ManagerView*>(manager); }

    // Returns the record of a bank from -1 to 31; null for any other index.
    MemoryBank_s* bank(int index)
    {
        if (index >= 0 && index < 32) {
            return &banks[index];
        }
        return index == -1 ? &systemBank : nullptr;
    }
};

static const unsigned int sc_used = 0xfeedface; // the marks of a header
static const unsigned int sc_free = 0xdeadf00d;
static const unsigned int sc_fallback = 0x80000000; // in a size word: the block lies outside its bank's region
static const unsigned int sc_headerBytes = 24;
static const unsigned int sc_granule = 32;

inline unsigned int roundUp(unsigned int bytes) // to whole granules
{
    return (bytes + sc_granule - 1) & ~(sc_granule - 1);
}

enum HeaderWord { WORD_MAGIC, WORD_SIZE, WORD_FILE, WORD_LINE, WORD_NEXT, WORD_PREV };

// A header may lie at any address, so its words are copied.
inline unsigned int headerWord(const char* header, HeaderWord word)
{
    unsigned int value;
    memcpy(&value, header + 4 * word, sizeof(value));
    return value;
}

inline MemoryHeapNode_s* nodeAt(const char* header)
{
    return reinterpret_cast<MemoryHeapNode_s*>(const_cast<char*>(header));
}

// True when the address lies in the bank's region.
inline bool isInRegion(const MemoryBank_s& bank, const void* address)
{
    const uintptr_t base = reinterpret_cast<uintptr_t>(bank.base);
    return base != 0 && reinterpret_cast<uintptr_t>(address) - base < bank.size;
}

} // namespace watch
