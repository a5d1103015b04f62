#include "watch/preload/lastfrees.h"

namespace watch {

LastFrees g_lastFrees;

uint32_t LastFrees::_sumOf(uintptr_t block, uintptr_t caller, const uint32_t (&words)[4])
{
    uint32_t sum = static_cast<uint32_t>(block * 3 + caller);
    for (uint32_t word : words) {
        sum = sum * 5 + word;
    }
    return sum;
}

void LastFrees::note(const void* block, const LastFree& last)
{
    const uintptr_t address = reinterpret_cast<uintptr_t>(block);
    const uintptr_t caller = reinterpret_cast<uintptr_t>(last.caller);
    const uint32_t words[4] = {static_cast<uint32_t>(last.bank), last.tag.size, last.tag.name, last.tag.line};
    Slot& slot = m_slots[_slotOf(address)];
    slot.block.store(address, std::memory_order_relaxed);
    slot.caller.store(caller, std::memory_order_relaxed);
    for (int index = 0; index < 4; ++index) {
        slot.words[index].store(words[index], std::memory_order_relaxed);
    }
    slot.sum.store(_sumOf(address, caller, words), std::memory_order_relaxed);
}

bool LastFrees::find(const void* block, LastFree* last) const
{
    const uintptr_t address = reinterpret_cast<uintptr_t>(block);
    const Slot& slot = m_slots[_slotOf(address)];
    const uintptr_t caller = slot.caller.load(std::memory_order_relaxed);
    uint32_t words[4];
    for (int index = 0; index < 4; ++index) {
        words[index] = slot.words[index].load(std::memory_order_relaxed);
    }
    if (slot.block.load(std::memory_order_relaxed) != address ||
        slot.sum.load(std::memory_order_relaxed) != _sumOf(address, caller, words)) {
        return false;
    }
    *last = {static_cast<int>(words[0]), {words[1], words[2], words[3]}, reinterpret_cast<const void*>(caller)};
    return true;
}

bool LastFrees::findAround(const void* address, const char** block, LastFree* last) const
{
    for (const Slot& slot : m_slots) {
        const uintptr_t start = slot.block.load(std::memory_order_relaxed);
        const bool isInside = start != 0 && reinterpret_cast<uintptr_t>(address) - start <
                                                slot.words[1].load(std::memory_order_relaxed);
        if (isInside && find(reinterpret_cast<const void*>(start), last)) {
            *block = reinterpret_cast<const char*>(start);
            return true;
        }
    }
    return false;
}

} // namespace watch
