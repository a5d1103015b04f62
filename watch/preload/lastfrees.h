// Who freed which block: the frees of some thousand blocks, in a table of fixed size. A block takes the place of an
// older one, so the table costs the same for every game. It answers for a second free of the same block.
#pragma once

#include "watch/preload/fault.h"

#include <atomic>

namespace watch {

struct LastFree {
    int bank = 0;
    Tag tag;
    const void* caller = nullptr;
};

class LastFrees {
public:
    void note(const void* block, const LastFree& last);
    bool find(const void* block, LastFree* last) const; // false when the table does not have the block any more

    // The block that was freed at an address inside of it. Reads the whole table.
    bool findAround(const void* address, const char** block, LastFree* last) const;

private:
    static const unsigned int sc_slots = 4096;

    // Two threads may write a slot at the same time. The sum of all words tells a slot with words of both.
    struct Slot {
        std::atomic<uintptr_t> block{0};
        std::atomic<uintptr_t> caller{0};
        std::atomic<uint32_t> words[4] = {}; // bank, size, name, line
        std::atomic<uint32_t> sum{0};
    };

    static uint32_t _sumOf(uintptr_t block, uintptr_t caller, const uint32_t (&words)[4]);
    static unsigned int _slotOf(uintptr_t block) { return static_cast<unsigned int>(block >> 3) * 0x9e3779b1u >> 20; }

    Slot m_slots[sc_slots];
};

extern LastFrees g_lastFrees;

} // namespace watch
