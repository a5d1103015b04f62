// The records of the blocks in use of one bank. A thread must hold the bank's lock (recordedbank.cpp) to use them.
//
//   64-bit build: 48 bytes for the record of each block, and 11 to 21 bytes for the hash table that finds the record
//
// All memory comes from mmap, because the game may serve malloc from a bank.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace watch {

enum RecordFlag : uint32_t {
    RECORD_REPORTED = 1,   // a fault of this block was reported; no more faults of the block are
    RECORD_QUARANTINE = 2, // the game has freed the block
};

struct Record {
    char* block; // null: the record is not in use
    const char* file;
    uint32_t line;
    uint32_t request;  // bytes that the game asked for; all bytes of the block once the game has called getSize
    uint32_t size;     // the size word of the header; a linear bank's region: the bytes of the block
    uint32_t name;     // the raw word of the source name
    uint32_t older;    // the next block and the previous block on the manager's list: the place of the record plus 1;
    uint32_t newer;    // 0: none. In a record that is not in use, `older` is the next free place plus 1, or 0
    uint32_t links;    // 64-bit build, fallback block: the raw word of its link `next`, which never changes
    uint32_t moreBits; // 28 bits: number of the stack, 0 for none; 4 bits: RecordFlag

    uint32_t stack() const { return moreBits >> 4; }
    bool is(RecordFlag flag) const { return (moreBits & flag) != 0; }
    void set(RecordFlag flag) { moreBits |= flag; }
};

class Records {
public:
    // Adds a record with zeros for all but the block, and stores its place plus 1. Returns null when there is no memory;
    // isComplete is false then.
    Record* add(char* block, uint32_t* placePlus1);

    Record* find(const void* block) const; // returns null if the block has no record
    void remove(Record* record);
    void clear();

    // False when the records of some blocks are missing.
    bool isComplete() const { return m_isComplete; }
    uint32_t count() const { return m_count; }

    // The record at a place from 0 to places() - 1; its block is null when the place is not in use.
    uint32_t places() const { return m_places; }
    Record& at(uint32_t place) const { return m_chunks[place / sc_chunk][place % sc_chunk]; }

    // Returns the record that `older` or `newer` of another record refers to; null for 0.
    Record* linked(uint32_t placePlus1) const { return placePlus1 != 0 ? &at(placePlus1 - 1) : nullptr; }

private:
    static const uint32_t sc_chunk = 1024;
    static const uint32_t sc_mostChunks = 8192;

    // A slot has a tag of the block's address. So a search compares tags, and reads hardly any record but the one it
    // returns.
    struct Slot {
        uint32_t tag;   // the lowest bits of the block's address, see _tagOf
        uint32_t place; // of the record, plus 1; 0: the slot is empty
    };

    // Two blocks that lie 32 GiB or more apart may have the same tag.
    static uint32_t _tagOf(const void* block)
    {
        return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(block) >> 3);
    }
    // Blocks with close addresses get close slots, because a game often uses such blocks together.
    uint32_t _homeOf(uint32_t tag) const
    {
        const uint32_t granule = tag / (32 / 8);
        return (((granule / 8) * 0x9e3779b1u) >> m_shift) ^ (granule % 8);
    }
    uint32_t _slotOf(const void* block) const; // the slot of the block's record, or the empty slot for a new one
    bool _growSlots();
    bool _growPlaces();

    Record* m_chunks[sc_mostChunks];
    Slot* m_slots;     // open addressing with linear probing
    uint32_t m_shift;  // 32 less the binary logarithm of the number of slots; 0: no slots yet
    uint32_t m_places; // records handed out so far
    uint32_t m_free;   // the first free place plus 1; see Record::older
    uint32_t m_count;
    bool m_isComplete = true;
};

} // namespace watch
