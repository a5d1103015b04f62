#include "watch/preload/blockcheck.h"

#include "watch/preload/lastfrees.h"
#include "watch/preload/pattern.h"
#include "watch/preload/settings.h"
#include "watch/preload/stacks.h"

namespace watch {

// Returns the block whose last byte lies directly before an address; null when no block does.
static Record* blockBefore(const BankOfRecords& bank, const char* address)
{
    for (uint32_t place = 0; place < bank.records.places(); ++place) {
        Record& record = bank.records.at(place);
        if (record.block && record.block + bytesOf(bank.bank, record) == address) {
            return &record;
        }
    }
    return nullptr;
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

// Returns true if the first words of a damaged header are right. Then the damage lies directly before the block: the
// game wrote with an index below 0. Else the write came from another place, most often from the block before.
static bool isUnderrun(const Record& record)
{
    const char* header = headerOf(record);
    return headerWord(header, WORD_MAGIC) == sc_used && headerWord(header, WORD_SIZE) == record.size &&
           headerWord(header, WORD_FILE) == record.name;
}

static void checkSpare(const BankOfRecords& bank, Record& record, const void* caller);

static void tellHeader(const BankOfRecords& bank, Record& record, const void* caller)
{
    record.set(RECORD_REPORTED);
    const bool isBefore = isUnderrun(record);
    Record* before = (record.size & sc_fallback) == 0 ? blockBefore(bank, headerOf(record)) : nullptr;
    Fault fault(isBefore ? "underrun" : "damage", bank.index, &bank.bank);
    fault.block(record.request, record.file, record.line)
        .what(isBefore ? "bytes directly before the block were written over"
                       : "the header of the block is overwritten");
    fault.detail().add("the header's bytes:");
    fault.addBytes(reinterpret_cast<const unsigned char*>(headerOf(record)), 12);
    fault.addBytes(reinterpret_cast<const unsigned char*>(headerOf(record)) + 12, 12);
    if (before) {
        fault.detail().add("the block before it: ").addTag(before->request, before->file, before->line);
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
    const unsigned int count = bytesOf(bank.bank, record) - record.request;
    const unsigned char* first = firstChange(spare, count, sc_spareByte);
    if (!first) {
        return;
    }
    record.set(RECORD_REPORTED);
    const unsigned char* end = afterLastChange(spare, count, sc_spareByte);
    const unsigned int distance = static_cast<unsigned int>(first - reinterpret_cast<const unsigned char*>(spare));
    Fault fault("overrun", bank.index, &bank.bank);
    fault.block(record.request, record.file, record.line).what("bytes after the end of the block were written");
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
            checkFreed(bank, record.block, bytesOf(bank.bank, record), "while it was in quarantine");
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
