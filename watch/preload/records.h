// The records of the blocks in use of one bank. A thread must hold the bank's lock (recordedbank.cpp) to use them.
//
//   64-bit build: 32 bytes for the record of each block, and 8 to 16 bytes for the hash table that finds the record
//
// All memory comes from mmap, because the game may serve malloc from a bank.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace watch {

enum RecordFlag : uint32_t {
    RECORD_REPORTED = 1,   // a fault of this block was reported; no more faults of the block are
    RECORD_QUARANTINE = 2, // the game has freed the block
    RECORD_FALLBACK = 4,   // the block lies outside of its bank's region
    RECORD_NO_HEADER = 8,  // the block lies in the region of a linear bank
};

struct RecordedHeader {
    uint32_t size; // the size word of the header
    uint32_t name; // the raw word of the source name
};

struct Record {
    char* block; // null: the record is not in use
    union {
        RecordedHeader header;
        const char* file;   // RECORD_NO_HEADER: the source name
        uintptr_t nextFree; // not in use: the place of the next such record, plus 1; 0: none
    };
    uint32_t line;
    uint32_t request; // bytes that the game asked for; all bytes of the block once the game has called getSize
    uint32_t born;    // when the game allocated the block: milliseconds since its first memory manager
    uint32_t bits;    // 17 bits: the number of the stack; 11 bits: the link number; 4 bits: RecordFlag

    // Stores all bits at once. So the processor need not wait for the old value of a new record.
    void setBits(uint32_t stack, uint32_t linkNumber, uint32_t flags)
    {
        bits = stack << 15 | (linkNumber & sc_linkMask) << 4 | flags;
    }

    uint32_t stack() const { return bits >> 15; } // its number, 0 for none

    // 64-bit build, fallback block: the lowest bits of the number in its links.
    uint32_t linkNumber() const { return bits >> 4 & sc_linkMask; }
    static const uint32_t sc_linkMask = 0x7ff;

    bool hasNoFlag() const { return (bits & 15) == 0; }
    bool is(RecordFlag flag) const { return (bits & flag) != 0; }
    void set(RecordFlag flag) { bits |= flag; }
};

static_assert(sizeof(Record) <= 32, "one line of the processor's cache has two records");

// The class has no constructor: each bank's records begin as zeros, before any code of the game runs.
class Records {
public:
    // Adds a record of the block; the caller stores its other fields. Returns null when there is no memory; isComplete is
    // false then.
    Record* add(char* block)
    {
        const bool hasPlace = m_free != 0 || m_places < m_readyPlaces || _growPlaces();
        if (!hasPlace || (m_count >= m_mostCount && !_growSlots())) {
            return nullptr;
        }
        Search found = _search(block);
        while (!found.isFound && found.distance > sc_mostDistance) {
            if (!_growSlots()) {
                return nullptr;
            }
            found = _search(block);
        }
        // If the block has a record already, that record is used again.
        return found.isFound ? &_recordOf(m_slots[found.slot]) : _addAt(found, block);
    }

    // Returns null if the block has no record; else stores its slot, which is for remove.
    Record* find(const void* block, uint32_t* slot) const
    {
        if (!m_slots) {
            return nullptr;
        }
        const Search found = _search(block);
        *slot = found.slot;
        return found.isFound ? &_recordOf(m_slots[found.slot]) : nullptr;
    }
    Record* find(const void* block) const
    {
        uint32_t slot;
        return find(block, &slot);
    }

    // Removes the record, and moves entries of later slots forward, so that each search still finds its entry.
    void remove(Record* record) { remove(record, _search(record->block).slot); }

    // Does the same. `empty` is the slot that find has stored, since when no record was added or removed.
    void remove(Record* record, uint32_t empty)
    {
        const uint32_t place = _placeOf(m_slots[empty]);
        for (uint32_t slot = (empty + 1) & m_mask; m_slots[slot] != 0; slot = (slot + 1) & m_mask) {
            const uint32_t steps = (slot - empty) & m_mask;
            if (m_slots[slot] >> sc_distanceShift >= steps) {
                m_slots[empty] = m_slots[slot] - (steps << sc_distanceShift);
                empty = slot;
            }
        }
        m_slots[empty] = 0;
        record->block = nullptr;
        record->nextFree = m_free;
        m_free = place + 1;
        m_count -= 1;
    }

    // Makes the processor load the slot of the block into its cache.
    void prefetch(const void* block) const { __builtin_prefetch(m_slots + _homeOf(block), 1); }

    void clear();

    // False when the records of some blocks are missing.
    bool isComplete() const { return !m_isIncomplete; }
    uint32_t count() const { return m_count; }

    // The record at a place from 0 to places() - 1; its block is null when the place is not in use.
    uint32_t places() const { return m_places; }
    Record& at(uint32_t place) const { return m_chunks[place / sc_chunk][place % sc_chunk]; }

private:
    static const uint32_t sc_chunk = 1024;
    static const uint32_t sc_mostChunks = 8192;

    // A slot of the hash table; 0: the slot is empty. The home of a block is the slot that its address gives. If other
    // blocks use the home, the block gets the next empty slot. A search compares slots, and hardly reads a record but
    // the one it returns.
    //
    //   31        26 25 24 23                              0
    //   +-----------+-----+---------------------------------+
    //   | distance  | tag | place of the record, plus 1     |    distance: slots from the home to this slot
    //   +-----------+-----+---------------------------------+    tag: two bits of the hash of the address
    typedef uint32_t Slot;
    static const uint32_t sc_distanceShift = 26;
    static const uint32_t sc_mostDistance = 63;
    static const uint32_t sc_tagShift = 24;
    static const uint32_t sc_placeMask = 0xffffff;
    static const uint32_t sc_mostSlots = 1u << 28;

    struct Search {
        uint32_t slot;     // the slot of the block's record, or the empty slot for a new one
        uint32_t distance; // from its home
        bool isFound;
    };

    static uint32_t _placeOf(Slot slot) { return (slot & sc_placeMask) - 1; }
    Record& _recordOf(Slot slot) const { return at(_placeOf(slot)); }

    static uint32_t _granuleOf(const void* block)
    {
        return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(block) / 32);
    }
    static uint32_t _hashOf(const void* block) { return _granuleOf(block) / 8 * 0x9e3779b1u; }
    static uint32_t _tagOf(const void* block) { return _hashOf(block) >> 4 & 3; }

    // Blocks with close addresses get close homes, because a game often uses such blocks together.
    uint32_t _homeOf(const void* block) const
    {
        return ((_hashOf(block) >> m_shift) ^ (_granuleOf(block) % 8)) & m_mask;
    }

    Search _search(const void* block) const
    {
        uint32_t slot = _homeOf(block);
        uint32_t wanted =
            _tagOf(block) << sc_tagShift; // the upper 8 bits of the block's entry, if it is in this slot
        for (uint32_t distance = 0; m_slots[slot] != 0; ++distance) {
            if ((m_slots[slot] & ~sc_placeMask) == wanted && _recordOf(m_slots[slot]).block == block) {
                return {slot, distance, true};
            }
            wanted += 1u << sc_distanceShift;
            slot = (slot + 1) & m_mask;
        }
        return {slot, (slot - _homeOf(block)) & m_mask, false};
    }

    static Slot _entryOf(const Search& free, const void* block, uint32_t place)
    {
        return free.distance << sc_distanceShift | _tagOf(block) << sc_tagShift | (place + 1);
    }

    Record* _addAt(const Search& free, char* block)
    {
        const uint32_t place = m_free != 0 ? m_free - 1 : m_places++;
        Record& record = at(place);
        m_free = m_free != 0 ? static_cast<uint32_t>(record.nextFree) : 0;
        m_slots[free.slot] = _entryOf(free, block, place);
        m_count += 1;
        record.block = block;
        __builtin_prefetch(m_free != 0 ? &at(m_free - 1) : nullptr, 1); // the next call of add will write this record
        return &record;
    }

    // Make room for one more record. Return false, and note that records are missing, when there is no memory.
    bool _growSlots();
    bool _growPlaces();
    bool _lacksMemory();
    bool _enterAll(); // writes the slots of all records; false: a distance is too large

    Record* m_chunks[sc_mostChunks];
    Slot* m_slots;          // open addressing with linear probing; null: no slots yet
    uint32_t m_mask;        // the number of slots, less 1
    uint32_t m_shift;       // 32 less the binary logarithm of the number of slots
    uint32_t m_mostCount;   // records that the slots have room for: half of the slots
    uint32_t m_places;      // records handed out so far
    uint32_t m_readyPlaces; // records that the chunks have room for
    uint32_t m_free;        // the first free place plus 1; see Record::nextFree
    uint32_t m_count;
    bool m_isIncomplete;
};

} // namespace watch
