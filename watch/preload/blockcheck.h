// Compares one block with its record.
#pragma once

#include "watch/preload/fault.h"
#include "watch/preload/managerview.h"
#include "watch/preload/records.h"

namespace watch {

// The headers of the first and the last block of one of the manager's lists; null when the list is empty.
struct ListEnds {
    const char* newest = nullptr;
    const char* oldest = nullptr;
};

struct BankOfRecords {
    int index;
    const MemoryBank_s& bank;
    const Records& records;
    const ListEnds* ends; // of the list of blocks in the region, and of the list of fallback blocks
    bool areLinksKnown;   // the manager's lists are undamaged, as far as this library knows
};

// True when the block has a header: all blocks but those in the region of a linear bank.
inline bool hasHeader(const Record& record)
{
    return !record.is(RECORD_NO_HEADER);
}

inline bool isFallback(const Record& record)
{
    return record.is(RECORD_FALLBACK);
}

inline const char* headerOf(const Record& record)
{
    return record.block - sc_headerBytes;
}

// Bytes of the block: the request and the spare bytes after it.
inline unsigned int bytesOf(const Record& record)
{
    return hasHeader(record) ? (record.header.size & ~sc_fallback) - sc_headerBytes : roundUp(record.request);
}

// True when the links of the block lead to its neighbours. In a 64-bit build, the links of a fallback block are numbers
// that never change; core/memorymgr_refs.h describes them.
inline bool hasPointers(const Record& record)
{
    return sizeof(void*) == 4 || !isFallback(record);
}

// Returns what a record stores of the link `next` of a fallback block.
inline uint32_t linkNumberOf(uint32_t next)
{
    return next >> 2 & Record::sc_linkMask;
}

inline HeaderWord opposite(HeaderWord link)
{
    return link == WORD_NEXT ? WORD_PREV : WORD_NEXT;
}

// Returns the header that a link leads to; null when it leads to none. For links with pointers.
inline const char* linkedHeader(const char* header, HeaderWord link)
{
    const MemoryHeapNode_s* node = nodeAt(header);
    return reinterpret_cast<const char*>(insideLink(link == WORD_NEXT ? node->next : node->prev));
}

// True when the header `to`, which lies in the bank's region, has a link back to this header.
inline bool linksBack(const MemoryBank_s& bank, const char* header, HeaderWord link, const char* to)
{
    return isInRegion(bank, to) && isInRegion(bank, to + sc_headerBytes - 1) &&
           linkedHeader(to, opposite(link)) == header;
}

inline const char* endOf(const ListEnds& ends, HeaderWord link)
{
    return link == WORD_NEXT ? ends.oldest : ends.newest;
}

// Does the rest of isLinkRight.
bool isOddLinkRight(const BankOfRecords& bank, const Record& record, HeaderWord link);

// True when a link of the block, WORD_NEXT or WORD_PREV, leads to the block's neighbour on the manager's list. The two
// headers must refer to each other. If they do not, isOddLinkRight finds out which of the two is damaged.
inline bool isLinkRight(const BankOfRecords& bank, const Record& record, HeaderWord link)
{
    if (!isFallback(record)) {
        const char* header = headerOf(record);
        const char* to = linkedHeader(header, link);
        if (to ? linksBack(bank.bank, header, link, to) : endOf(bank.ends[0], link) == header) {
            return true;
        }
    }
    return isOddLinkRight(bank, record, link);
}

// True when the header holds what the record says.
inline bool isHeaderRight(const BankOfRecords& bank, const Record& record)
{
    if (!hasHeader(record)) {
        return true;
    }
    const char* header = headerOf(record); // not by memcmp: the address sanitizer would report a call of it
    return headerWord(header, WORD_MAGIC) == sc_used && headerWord(header, WORD_SIZE) == record.header.size &&
           headerWord(header, WORD_FILE) == record.header.name && headerWord(header, WORD_LINE) == record.line &&
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
