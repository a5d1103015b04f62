#include "watch/preload/records.h"

#include <string.h>
#include <sys/mman.h>

namespace watch {

static void* takePages(size_t bytes)
{
    void* pages = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return pages == MAP_FAILED ? nullptr : pages;
}

bool Records::_lacksMemory()
{
    m_isIncomplete = true;
    return false;
}

bool Records::_enterAll()
{
    for (uint32_t place = 0; place < m_places; ++place) {
        const char* block = at(place).block;
        if (!block) {
            continue;
        }
        const Search free = _search(block);
        if (free.distance > sc_mostDistance) {
            return false;
        }
        m_slots[free.slot] = _entryOf(free, block, place);
    }
    return true;
}

// Doubles the slots, until each entry is close enough to its home. The records have all that the slots need, so the old
// slots are not read.
bool Records::_growSlots()
{
    for (uint32_t count = m_slots ? (m_mask + 1) * 2 : 1024; count <= sc_mostSlots; count *= 2) {
        Slot* slots = static_cast<Slot*>(takePages(count * sizeof(Slot)));
        if (!slots) {
            break;
        }
        if (m_slots) {
            munmap(m_slots, (m_mask + 1) * sizeof(Slot));
        }
        m_slots = slots;
        m_mask = count - 1;
        m_shift = static_cast<uint32_t>(__builtin_clz(m_mask));
        m_mostCount = count / 2;
        if (_enterAll()) {
            return true;
        }
    }
    return _lacksMemory();
}

bool Records::_growPlaces()
{
    const uint32_t chunk = m_places / sc_chunk;
    if (chunk == sc_mostChunks) {
        return _lacksMemory();
    }
    if (!m_chunks[chunk]) {
        m_chunks[chunk] = static_cast<Record*>(takePages(sc_chunk * sizeof(Record)));
    }
    if (!m_chunks[chunk]) {
        return _lacksMemory();
    }
    m_readyPlaces = (chunk + 1) * sc_chunk;
    return true;
}

void Records::clear()
{
    if (m_slots) {
        memset(m_slots, 0, (m_mask + 1) * sizeof(Slot));
    }
    m_places = m_readyPlaces = m_free = m_count = 0;
}

} // namespace watch
