#include "watch/preload/records.h"

#include <string.h>
#include <sys/mman.h>

namespace watch {

static void* takePages(size_t bytes)
{
    void* pages = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return pages == MAP_FAILED ? nullptr : pages;
}

uint32_t Records::_slotOf(const void* block) const
{
    const uint32_t mask = UINT32_MAX >> m_shift;
    const uint32_t tag = _tagOf(block);
    uint32_t slot = _homeOf(tag);
    while (m_slots[slot].place != 0 && (m_slots[slot].tag != tag || at(m_slots[slot].place - 1).block != block)) {
        slot = (slot + 1) & mask;
    }
    return slot;
}

Record* Records::find(const void* block) const
{
    const uint32_t place = m_slots ? m_slots[_slotOf(block)].place : 0;
    return place != 0 ? &at(place - 1) : nullptr;
}

// Makes sure that at most three quarters of the slots are used.
bool Records::_growSlots()
{
    if (m_slots && m_count < (1u << (32 - m_shift)) / 4 * 3) {
        return true;
    }
    const uint32_t shift = m_slots ? m_shift - 1 : 32 - 10;
    const size_t bytes = sizeof(Slot) << (32 - shift);
    Slot* slots = shift > 4 ? static_cast<Slot*>(takePages(bytes)) : nullptr;
    if (!slots) {
        return false;
    }
    if (m_slots) {
        munmap(m_slots, bytes / 2);
    }
    m_slots = slots;
    m_shift = shift;
    for (uint32_t place = 0; place < m_places; ++place) {
        if (at(place).block) {
            m_slots[_slotOf(at(place).block)] = {_tagOf(at(place).block), place + 1};
        }
    }
    return true;
}

bool Records::_growPlaces()
{
    if (m_free != 0 || m_places % sc_chunk != 0) {
        return true;
    }
    const uint32_t chunk = m_places / sc_chunk;
    if (chunk < sc_mostChunks && !m_chunks[chunk]) {
        m_chunks[chunk] = static_cast<Record*>(takePages(sc_chunk * sizeof(Record)));
    }
    return chunk < sc_mostChunks && m_chunks[chunk];
}

Record* Records::add(char* block, uint32_t* placePlus1)
{
    if (!_growSlots() || !_growPlaces()) {
        m_isComplete = false;
        return nullptr;
    }
    const uint32_t slot = _slotOf(block);
    uint32_t place = m_slots[slot].place - 1; // if the block has a record already, that record is used again
    if (m_slots[slot].place == 0) {
        place = m_free != 0 ? m_free - 1 : m_places++;
        m_free = m_free != 0 ? at(place).older : 0;
        m_slots[slot] = {_tagOf(block), place + 1};
        m_count += 1;
    }
    __builtin_prefetch(m_free != 0 ? &at(m_free - 1) : nullptr, 1); // the next call of add will write this record
    Record& record = at(place);
    memset(&record, 0, sizeof(record));
    record.block = block;
    *placePlus1 = place + 1;
    return &record;
}

// Empties the slot of the record. Then moves entries of later slots forward, so that each search still finds its
// entry.
void Records::remove(Record* record)
{
    const uint32_t mask = UINT32_MAX >> m_shift;
    uint32_t empty = _slotOf(record->block);
    const uint32_t place = m_slots[empty].place;
    for (uint32_t slot = (empty + 1) & mask; m_slots[slot].place != 0; slot = (slot + 1) & mask) {
        const uint32_t home = _homeOf(m_slots[slot].tag);
        if (((slot - home) & mask) >= ((slot - empty) & mask)) {
            m_slots[empty] = m_slots[slot];
            empty = slot;
        }
    }
    m_slots[empty].place = 0;
    record->block = nullptr;
    record->older = m_free;
    m_free = place;
    m_count -= 1;
}

void Records::clear()
{
    if (m_slots) {
        memset(m_slots, 0, sizeof(Slot) << (32 - m_shift));
    }
    m_places = m_free = m_count = 0;
}

} // namespace watch
