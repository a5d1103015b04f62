#include "demo/report.h"

#include "demo/bankcheck.h"
#include "demo/replay.h"

#include <stdarg.h>
#include <stdio.h>

static const size_t sc_mostPlaces = 12; // lines in the table of live blocks

// 1234567 as 1,234,567.
static std::string grouped(unsigned long long number)
{
    std::string text = std::to_string(number);
    for (size_t end = text.size(); end > 3; end -= 3) {
        text.insert(end - 3, 1, ',');
    }
    return text;
}

// Bytes as KiB, rounded up: what is there shows.
static std::string kib(unsigned long long bytes)
{
    return grouped((bytes + 1023) / 1024);
}

// To the standard error stream, behind what has been shown so far.
__attribute__((format(printf, 1, 2))) static void complain(const char* format, ...)
{
    fflush(stdout);
    va_list arguments;
    va_start(arguments, format);
    vfprintf(stderr, format, arguments);
    va_end(arguments);
}

void ReportUsage(const char* program)
{
    complain("usage: %s [FOLDER]\n"
             "Plays the recorded sessions lua-game.ctr and sqlite.ctr; FOLDER is where they are.\n",
             program);
}

void ReportUnreadableSession(const std::string& path, const std::string& why)
{
    complain("%s can't be played: %s.\n", path.c_str(), why.c_str());
}

void ReportOutOfMemory()
{
    complain("The demo has no more memory.\n");
}

void ReportStart(const std::vector<BankSize>& sizes, const std::string& path, bool fileFound)
{
    size_t changed = 0;
    for (const BankSize& size : sizes) {
        changed += size.start != size.planned;
    }
    printf("core demo: %u frames of two recorded programs, each block in a bank of its kind\n\n", sc_frames);
    if (!fileFound) {
        printf("First run: banks start from the sizes in the code.\n");
    } else if (changed == 0) {
        printf("Banks start from the sizes in the code: no others are in\n%s\n", path.c_str());
    } else {
        printf("Banks start from the sizes of the last run: %zu of %zu differ from the code's.\n", changed,
               sizes.size());
    }
}

void ReportPlayed(size_t operations, double seconds)
{
    printf("%s operations in %.1f seconds; every freed block was as it had been left.\n", grouped(operations).c_str(),
           seconds);
}

static const char sc_bankRow[] = // fits a terminal of 80 columns, as all texts do
    "%-14s %8s %6s %6s %6s %6s %5s %8s %8s\n";

void ReportBanks(GameMemory& memory)
{
    printf("\n");
    printf(sc_bankRow, "", "requests", "size", "peak", "in use", "blocks", "free", "largest", "fallback");
    printf(sc_bankRow, "bank", "served", "KiB", "KiB", "KiB", "in use", "nodes", "free KiB", "blocks");
    for (int index = 0; index < BANK_COUNT; ++index) {
        const MemoryBank_s& bank = memory.bank(index);
        const bool heap = bank.type == MEMBANK_HEAP; // a linear bank doesn't tell its blocks apart
        unsigned int largestFree = 0;
        memory.checkMemory(index, &largestFree, false);
        printf(sc_bankRow, bank.name, grouped(bank.allocCount).c_str(), kib(bank.size).c_str(),
               kib(bank.peakBytes).c_str(), kib(bank.bytesInUse).c_str(),
               heap ? grouped(bank.allocCount - bank.freeCount).c_str() : "-",
               heap ? grouped(bank.freeNodeCount).c_str() : "-", kib(largestFree).c_str(),
               grouped(bank.extNodeCount).c_str());
    }
}

void ReportLiveBlocks(const std::vector<LivePlace>& places)
{
    LivePlace others = {"", 0, 0, 0};
    LivePlace all = others;
    for (size_t index = 0; index < places.size(); ++index) {
        all.blocks += places[index].blocks;
        all.bytes += places[index].bytes;
        if (index >= sc_mostPlaces) {
            others.blocks += places[index].blocks;
            others.bytes += places[index].bytes;
        }
    }
    printf("\n%s blocks with %s bytes are still in use, headers included:\n\n", grouped(all.blocks).c_str(),
           grouped(all.bytes).c_str());
    static const char row[] = "%-24s %9s %12s\n";
    printf(row, "asked for in", "blocks", "bytes");
    for (size_t index = 0; index < places.size() && index < sc_mostPlaces; ++index) {
        const LivePlace& place = places[index];
        const std::string name = place.file + ":" + std::to_string(place.line);
        printf(row, name.c_str(), grouped(place.blocks).c_str(), grouped(place.bytes).c_str());
    }
    if (others.blocks != 0) {
        const std::string name = std::to_string(places.size() - sc_mostPlaces) + " other places";
        printf(row, name.c_str(), grouped(others.blocks).c_str(), grouped(others.bytes).c_str());
    }
}

void ReportVerdict(const GameMemory& memory)
{
    printf("\nAll %d banks check out: headers, lists and counters agree, and with the last\n"
           "blocks freed each is one free block again.\n",
           BANK_COUNT);
    int overflowed = 0;
    for (int index = 0; index < BANK_COUNT; ++index) {
        overflowed += memory.bank(index).extNodeCount != 0;
    }
    if (overflowed != 0) {
        printf("%d overflowed: their fallback blocks came from outside the bank.\n", overflowed);
    }
}

void ReportNextSizes(const std::vector<BankSize>& sizes, const std::string& path, bool written)
{
    static const char row[] = "%-15s %13s %13s %13s %13s\n";
    printf("\n");
    printf(row, "bytes", "in the code", "this run", "peak", "next run");
    unsigned long long planned = 0, start = 0, peak = 0, next = 0;
    for (const BankSize& size : sizes) {
        printf(row, size.name, grouped(size.planned).c_str(), grouped(size.start).c_str(), grouped(size.peak).c_str(),
               grouped(size.next).c_str());
        planned += size.planned;
        start += size.start;
        peak += size.peak;
        next += size.next;
    }
    printf(row, "all", grouped(planned).c_str(), grouped(start).c_str(), grouped(peak).c_str(),
           grouped(next).c_str());
    if (written) {
        printf("\nThe next run finds its sizes in\n%s\n", path.c_str());
    } else {
        printf("\nThe next run starts as this one did: there is no writing to\n%s\n", path.c_str());
    }
}

void ReportOverwritten(const char* session, unsigned int block, unsigned int size, int bank)
{
    complain("Block %u of %s, %u bytes in the bank \"%s\", has been written to by somebody else.\n", block, session,
             size, GetBankName(bank));
}

void ReportNotFreed(const char* session, unsigned int block, unsigned int size, int bank, int code)
{
    complain("Block %u of %s, %u bytes in the bank \"%s\", could not be freed: the answer is %d.\n", block, session,
             size, GetBankName(bank), code);
}

static const char* describe(int code)
{
    switch (code) {
    case -4:
        return "a block in use lacks its mark";
    case -5:
        return "a free block lacks its mark";
    case -6:
        return "its blocks don't add up to its size";
    case -7:
        return "the number of blocks in use is wrong";
    case -8:
        return "the number of free blocks is wrong";
    case BANK_LINK_BROKEN:
        return "a list doesn't run back as it runs forth";
    case BANK_BLOCK_LOST:
        return "blocks were lost";
    case BANK_BYTES_LOST:
        return "its blocks don't add up to the bytes in use";
    case BANK_NOT_EMPTY:
        return "something is left in it";
    case BANK_NOT_JOINED:
        return "all is free, but in pieces";
    }
    return "it fails its check";
}

void ReportBankFault(int bank, int code)
{
    complain("The bank \"%s\" is damaged: %s (%d).\n", GetBankName(bank), describe(code), code);
}

void ReportLiveCount(const char* session, unsigned int expected, unsigned int found)
{
    complain("%s should have %u blocks left, but has %u.\n", session, expected, found);
}
