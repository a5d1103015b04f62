// Comparing one block with its record.
#pragma once

#include "watch/preload/fault.h"
#include "watch/preload/managerview.h"
#include "watch/preload/records.h"

namespace watch {

struct BankOfRecords {
    int index;
    const MemoryBank_s& bank;
    const Records& records;
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

// True when the header holds what the record says.
inline bool isHeaderRight(const MemoryBank_s& bank, const Record& record)
{
    if (!hasHeader(bank, record)) {
        return true;
    }
    const char* header = headerOf(record); // not by memcmp: the address sanitizer would report a call of it
    return headerWord(header, WORD_MAGIC) == sc_used && headerWord(header, WORD_SIZE) == record.size &&
           headerWord(header, WORD_FILE) == record.name && headerWord(header, WORD_LINE) == record.line &&
           headerWord(header, WORD_NEXT) == record.next && headerWord(header, WORD_PREV) == record.prev;
}

// Compares the header and the spare bytes with what they have to be, and tells a fault. A block is told once. `caller`
// is the return address of free; null at other times.
void checkBlock(const BankOfRecords& bank, Record& record, const void* caller);

// Tells that bytes of freed memory were written. `bytes` to bytes + count have to be sc_freedByte.
void checkFreed(const BankOfRecords& bank, const char* bytes, size_t count, const char* when);

} // namespace watch
