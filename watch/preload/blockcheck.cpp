#include "watch/preload/blockcheck.h"

#include "watch/preload/lastfrees.h"
#include "watch/preload/pattern.h"
#include "watch/preload/settings.h"
#include "watch/preload/stacks.h"

namespace watch {

#define WATCH_32(byte)                                                                                               \
    byte, byte, byte, byte, byte, byte, byte, byte, byte, byte, byte, byte, byte, byte, byte, byte, byte, byte,      \
        byte, byte, byte, byte, byte, byte, byte, byte, byte, byte, byte, byte, byte, byte

const EndOfBlock g_endOfBlock = {{WATCH_32(sc_freedByte), WATCH_32(sc_spareByte)}, {WATCH_32(0), WATCH_32(0xff)}};

// Returns the block whose last byte lies directly before an address; null when no block does.
static Record* blockBefore(const BankOfRecords& bank, const char* address)
{
    for (uint32_t place = 0; place < bank.records.places(); ++place) {
        Record& record = bank.records.at(place);
        if (record.block && record.block + bytesOf(record) == address) {
            return &record;
        }
    }
    return nullptr;
}

static Fault& addTag(Fault& fault, const Record& record)
{
    return hasHeader(record) ? fault.addTag({record.request, record.header.name, record.line})
                             : fault.addTag(record.request, record.file, record.line);
}

static Fault& addBlock(Fault& fault, const Record& record)
{
    return addTag(fault.add(", "), record);
}

static void addAllocation(Fault& fault, const Record& record)
{
    if (record.stack() != 0) {
        fault.stackNumber("allocated by:", record.stack());
    }
}

static void addFree(Fault& fault, const void* caller)
{
    if (caller) {
        fault.stackFrom("found when the block was freed by:", caller);
    }
}

// ---- Headers

// Links of a fallback block in a 64-bit build: next has the form NUMBER * 4 + 1, and prev is next + 2.
static bool areNumbersRight(const Record& record)
{
    const uint32_t next = headerWord(headerOf(record), WORD_NEXT);
    return (next & 3) == 1 && linkNumberOf(next) == record.linkNumber() &&
           headerWord(headerOf(record), WORD_PREV) == next + 2;
}

bool isOddLinkRight(const BankOfRecords& bank, const Record& record, HeaderWord link)
{
    if (!hasPointers(record)) {
        return areNumbersRight(record);
    }
    if (!bank.areLinksKnown) {
        return true;
    }
    const ListEnds& ends = bank.ends[isFallback(record)];
    const char* header = headerOf(record);
    const char* to = linkedHeader(header, link);
    if (!to) {
        return endOf(ends, link) == header;
    }
    const Record* neighbour = bank.records.find(to + sc_headerBytes);
    if (!neighbour || isFallback(*neighbour) != isFallback(record)) {
        return false;
    }
    const char* back = linkedHeader(to, opposite(link));
    if (back == header) {
        return true;
    }
    if (!back) {
        return endOf(ends, opposite(link)) != to; // right: then the neighbour's link is damaged
    }
    const bool isBackRight = bank.records.find(back + sc_headerBytes) && linkedHeader(back, link) == to;
    return !isBackRight;
}

// Returns true if the first words of a damaged header are right. Then the damage lies directly before the block: the
// game wrote with an index below 0. Else the write came from another place, most often from the block before.
static bool isUnderrun(const Record& record)
{
    const char* header = headerOf(record);
    return headerWord(header, WORD_MAGIC) == sc_used && headerWord(header, WORD_SIZE) == record.header.size &&
           headerWord(header, WORD_FILE) == record.header.name;
}

static void checkSpare(const BankOfRecords& bank, Record& record, const void* caller);

static void tellHeader(const BankOfRecords& bank, Record& record, const void* caller)
{
    record.set(RECORD_REPORTED);
    const bool isBefore = isUnderrun(record);
    Record* before = !isFallback(record) ? blockBefore(bank, headerOf(record)) : nullptr;
    Fault fault(isBefore ? "underrun" : "damage", bank.index, &bank.bank);
    addBlock(fault, record)
        .what(isBefore ? "bytes directly before the block were written over"
                       : "the header of the block is overwritten");
    fault.detail().add("the header's bytes:");
    fault.addBytes(reinterpret_cast<const unsigned char*>(headerOf(record)), 12);
    fault.addBytes(reinterpret_cast<const unsigned char*>(headerOf(record)) + 12, 12);
    if (before) {
        addTag(fault.detail().add("the block before it: "), *before);
    }
    addAllocation(fault, record);
    addFree(fault, caller);
    fault.tell();
    if (before && !before->is(RECORD_REPORTED) && settings().check != CHECK_NONE) {
        checkSpare(bank, *before, nullptr);
    }
}

// ---- Spare bytes

static void checkSpare(const BankOfRecords& bank, Record& record, const void* caller)
{
    const char* spare = record.block + record.request;
    const unsigned int count = bytesOf(record) - record.request;
    const unsigned char* first = firstChange(spare, count, sc_spareByte);
    if (!first) {
        return;
    }
    record.set(RECORD_REPORTED);
    const unsigned char* end = afterLastChange(spare, count, sc_spareByte);
    const unsigned int distance = static_cast<unsigned int>(first - reinterpret_cast<const unsigned char*>(spare));
    Fault fault("overrun", bank.index, &bank.bank);
    addBlock(fault, record).what("bytes after the end of the block were written");
    fault.detail().add("written from ").add(distance).add(" bytes after the end on:");
    fault.addBytes(first, static_cast<unsigned int>(end - first));
    addAllocation(fault, record);
    addFree(fault, caller);
    fault.tell();
}

bool checkBlock(const BankOfRecords& bank, Record& record, const void* caller)
{
    const bool isRight = isHeaderRight(bank, record);
    if (record.is(RECORD_REPORTED)) {
        return isRight;
    }
    if (!isRight) {
        tellHeader(bank, record, caller);
    }
    if (settings().check != CHECK_NONE && !record.is(RECORD_REPORTED)) {
        if (record.is(RECORD_QUARANTINE)) {
            checkFreed(bank, record.block, bytesOf(record), "while it was in quarantine");
        } else {
            checkSpare(bank, record, caller);
        }
    }
    return isRight;
}

// ---- Freed bytes

void checkFreed(const BankOfRecords& bank, const char* bytes, size_t count, const char* when)
{
    const unsigned char* first = firstChange(bytes, count, sc_freedByte);
    if (!first) {
        return;
    }
    const unsigned char* end = afterLastChange(bytes, count, sc_freedByte);
    LastFree last;
    const char* block = nullptr;
    Fault fault("write-after-free", bank.index, &bank.bank);
    const bool isKnown = g_lastFrees.findAround(first, &block, &last);
    if (isKnown) {
        fault.block(last.tag);
    } else {
        fault.address(first);
    }
    fault.what("free memory was written ").add(when);
    fault.detail().add("written:").addBytes(first, static_cast<unsigned int>(end - first));
    if (isKnown) {
        fault.add(", from ").add(static_cast<unsigned int>(reinterpret_cast<const char*>(first) - block));
        fault.add(" bytes after the start of the block on");
        fault.detail().add("the block was freed by:\n    ").addCode(last.caller).add("\n");
    }
    fault.tell();
    memset(const_cast<char*>(bytes), sc_freedByte, count); // so that the fault is reported once
}

} // namespace watch
