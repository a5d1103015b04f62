// What this library remembers of the blocks in use of one bank. A bank's records are used under the bank's lock in
// recordedbank.h.
//
//   64-bit build: 48 bytes for each block, and 8 to 16 for finding its record by its address
//
// All memory comes from mmap, because the game may serve malloc from a bank.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace watch {

enum RecordFlag : uint32_t {
    RECORD_REPORTED = 1,   // a fault of this block was told; one is enough
    RECORD_QUARANTINE = 2, // the game has freed the block
};

struct Record {
    char* block; // null: the record is not in use
    const char* file;
    uint32_t line;
    uint32_t request;  // bytes that the game asked for; all bytes of the block once the game has called getSize
    uint32_t size;     // the size word of the header; a linear bank's region: the bytes of the block
    uint32_t name;     // the raw word of the source name
    uint32_t next;     // the raw links
    uint32_t prev;     //
    uint32_t order;    // number of the allocation in its bank, from 0
    uint32_t moreBits; // 28 bits: number of the stack, 0 for none; 4 bits: RecordFlag

    uint32_t stack() const { return moreBits >> 4; }
    bool is(RecordFlag flag) const { return (moreBits & flag) != 0; }
    void set(RecordFlag flag) { moreBits |= flag; }
};

class Records {
public:
    // Adds a record with zeros for all but the block. Returns null when there is no memory; isComplete is false then.
    Record* add(char* block);

    Record* find(const void* block) const; // null when there is none
    void remove(Record* record);
    void clear();

    // False when the records of some blocks are missing.
    bool isComplete() const { return m_isComplete; }
    uint32_t count() const { return m_count; }

    // The record at a place from 0 to places() - 1; its block is null when the place is not in use.
    uint32_t places() const { return m_places; }
    Record& at(uint32_t place) const { return m_chunks[place / sc_chunk][place % sc_chunk]; }

private:
    static const uint32_t sc_chunk = 1024;
    static const uint32_t sc_mostChunks = 8192;

    static uint32_t _hash(const void* block)
    {
        return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(block) >> 3) * 0x9e3779b1u;
    }
    uint32_t _slotOf(const void* block) const; // of its record, or the empty slot where it belongs
    bool _growSlots();
    bool _growPlaces();

    Record* m_chunks[sc_mostChunks];
    uint32_t* m_slots; // a place plus 1, or 0; open addressing with linear probing
    uint32_t m_shift;  // 32 less the binary logarithm of the number of slots; 0: no slots yet
    uint32_t m_places; // records handed out so far
    uint32_t m_free;   // the first free place plus 1; a free record holds the next one in `order`
    uint32_t m_count;
    bool m_isComplete = true;
};

} // namespace watch
