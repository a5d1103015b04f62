// Compares one block with its record.
#pragma once

#include "watch/preload/fault.h"
#include "watch/preload/managerview.h"
#include "watch/preload/records.h"

namespace watch {

struct BankOfRecords {
    int index;
    const MemoryBank_s& bank;
    const Records& records;
    bool areLinksKnown; // each record has its neighbours on the manager's list
};

// True when the block has a header: all blocks but those in the region of a linear bank.
inline bool hasHeader(const MemoryBank_s& bank, const Record& record)
{
    return bank.type != MEMBANK_LINEAR || (record.size & sc_fallback) != 0;
}

inline const char* headerOf(const Record& record)
{
    return record.block - sc_headerBytes;
}

// Bytes of the block: the request and the spare bytes after it.
inline unsigned int bytesOf(const MemoryBank_s& bank, const Record& record)
{
    const unsigned int size = record.size & ~sc_fallback;
    return hasHeader(bank, record) ? size - sc_headerBytes : size;
}

// Returns the word that a link at the address `at` must have to lead to the header of the block `to` in the same
// region; 0 if `to` is null. core/memorymgr_refs.h describes the words of links.
inline uint32_t linkWord(const char* at, const Record* to)
{
    static const bool sc_isPointer = sizeof(void*) == 4;
    return to ? static_cast<uint32_t>(reinterpret_cast<uintptr_t>(headerOf(*to)) -
                                      (sc_isPointer ? 0 : reinterpret_cast<uintptr_t>(at)))
              : 0;
}

// True when a link of the block, WORD_NEXT or WORD_PREV, leads to the block's neighbour on the manager's list.
inline bool isLinkRight(const BankOfRecords& bank, const Record& record, HeaderWord link)
{
    const char* at = headerOf(record) + 4 * link;
    const uint32_t word = headerWord(headerOf(record), link);
    if (sizeof(void*) > 4 && (record.size & sc_fallback) != 0) {
        static const uint32_t sc_prev = 2; // bit 1 of the word: prev
        return word == record.links + (link == WORD_PREV ? sc_prev : 0);
    }
    const uint32_t neighbour = link == WORD_PREV ? record.newer : record.older;
    return !bank.areLinksKnown || word == linkWord(at, bank.records.linked(neighbour));
}

// True when the header holds what the record says.
inline bool isHeaderRight(const BankOfRecords& bank, const Record& record)
{
    if (!hasHeader(bank.bank, record)) {
        return true;
    }
    const char* header = headerOf(record); // not by memcmp: the address sanitizer would report a call of it
    return headerWord(header, WORD_MAGIC) == sc_used && headerWord(header, WORD_SIZE) == record.size &&
           headerWord(header, WORD_FILE) == record.name && headerWord(header, WORD_LINE) == record.line &&
           isLinkRight(bank, record, WORD_NEXT) && isLinkRight(bank, record, WORD_PREV);
}

// Checks the header and the spare bytes (in quarantine: all bytes), and reports a fault. Reports at most one
// fault of the header or the spare bytes for each block. `caller` is the return address of free; null for other
// calls. Returns true when the header is right.
bool checkBlock(const BankOfRecords& bank, Record& record, const void* caller);

// Checks that the `count` bytes from `bytes` on are sc_freedByte. If not, reports a write to freed memory and fills
// the bytes again.
void checkFreed(const BankOfRecords& bank, const char* bytes, size_t count, const char* when);

} // namespace watch
