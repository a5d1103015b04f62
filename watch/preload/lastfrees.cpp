#include "watch/preload/lastfrees.h"

namespace watch {

LastFrees g_lastFrees;

LastFree LastFrees::_read(const Slot& slot)
{
    LastFree last;
    last.bank = slot.bank.load(std::memory_order_relaxed);
    last.tag.size = slot.size.load(std::memory_order_relaxed);
    last.tag.name = slot.name.load(std::memory_order_relaxed);
    last.tag.line = slot.line.load(std::memory_order_relaxed);
    last.caller = reinterpret_cast<const void*>(slot.caller.load(std::memory_order_relaxed));
    return last;
}

bool LastFrees::find(const void* block, LastFree* last) const
{
    const uintptr_t address = reinterpret_cast<uintptr_t>(block);
    const Slot& slot = m_slots[_slotOf(address)];
    *last = _read(slot);
    return slot.block.load(std::memory_order_relaxed) == address;
}

bool LastFrees::findAround(const void* address, const char** block, LastFree* last) const
{
    for (const Slot& slot : m_slots) {
        const uintptr_t start = slot.block.load(std::memory_order_relaxed);
        *last = _read(slot);
        if (start != 0 && reinterpret_cast<uintptr_t>(address) - start < last->tag.size) {
            *block = reinterpret_cast<const char*>(start);
            return true;
        }
    }
    return false;
}

} // namespace watch
