// Who freed which block: the frees of about a thousand blocks, in a table of fixed size. A block takes the place of an
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
    static const unsigned int sc_slots = 1024;

    // One line of the processor's cache has two slots. Two threads may write a slot at the same time; then a message
    // about this block may name the other one's place.
    struct alignas(32) Slot {
        std::atomic<uintptr_t> block{0};
        std::atomic<uintptr_t> caller{0};
        std::atomic<uint32_t> size{0};
        std::atomic<uint32_t> name{0};
        std::atomic<uint32_t> line{0};
        std::atomic<int> bank{0};
    };

    static LastFree _read(const Slot& slot);
    static unsigned int _slotOf(uintptr_t block) { return static_cast<uint32_t>(block >> 3) * 0x9e3779b1u >> 22; }

    Slot m_slots[sc_slots];
};

inline void LastFrees::note(const void* block, const LastFree& last)
{
    const uintptr_t address = reinterpret_cast<uintptr_t>(block);
    Slot& slot = m_slots[_slotOf(address)];
    slot.block.store(address, std::memory_order_relaxed);
    slot.caller.store(reinterpret_cast<uintptr_t>(last.caller), std::memory_order_relaxed);
    slot.size.store(last.tag.size, std::memory_order_relaxed);
    slot.name.store(last.tag.name, std::memory_order_relaxed);
    slot.line.store(last.tag.line, std::memory_order_relaxed);
    slot.bank.store(last.bank, std::memory_order_relaxed);
}

extern LastFrees g_lastFrees;

} // namespace watch
