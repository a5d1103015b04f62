// 1. While its lock is free, a bank has one record for each block in use, and each record has the words of its header.
//    Links are not stored as words: a record has the places of its neighbours.
// 2. While a region is filled, each byte of a free node after its header is sc_freedByte, and so is each byte of a linear
//    bank's region from the cursor on.
// 3. While areLinksKnown, the neighbours of each record are those on the manager's list.
// 4. If an operation damages a bank (it frees a block of another bank, or a block with a damaged header), rules 2 and
//    3 no longer hold for the bank: isFilled and areLinksKnown become false. So one fault causes no messages about
//    other blocks.
#include "watch/preload/recordedbank.h"

#include "watch/preload/announce.h"
#include "watch/preload/banklock.h"
#include "watch/preload/blockcheck.h"
#include "watch/preload/channel.h"
#include "watch/preload/freefaults.h"
#include "watch/preload/lastfrees.h"
#include "watch/preload/pattern.h"
#include "watch/preload/settings.h"
#include "watch/preload/stacks.h"

#include <sys/mman.h>

namespace watch {

namespace {

struct RecordedBank {
    BankMutex mutex;
    Records records;
    uint32_t newest[2] = {};    // place plus 1 of the newest block: in the region, and outside of it; 0: none
    bool areLinksKnown = false; // rule 3
    bool isFilled = false;      // rule 2
    bool isBusy = false;        // the real operation is under way; it may end the process

    // The blocks in quarantine, oldest first: a ring of settings().quarantine records.
    Record** held = nullptr;
    uint32_t heldFirst = 0;
    uint32_t heldCount = 0;
};

} // namespace

static RecordedBank s_banks[33]; // by bank index + 1
MemoryMgr* g_recordedManager;

static RecordedBank& recordedBank(int bank)
{
    return s_banks[bank + 1];
}

namespace {

class Lock {
public:
    explicit Lock(RecordedBank& bank) : m_mutex(bank.mutex) { m_mutex.lock(); }
    ~Lock() { m_mutex.unlock(); }

private:
    BankMutex& m_mutex;
};

class Busy {
public:
    explicit Busy(RecordedBank& bank) : m_isBusy(bank.isBusy), m_before(bank.isBusy) { m_isBusy = true; }
    ~Busy() { m_isBusy = m_before; }

private:
    bool& m_isBusy;
    bool m_before; // a location's callback may use the bank again
};

} // namespace

static int realFree(const Call& call, RecordedBank& mine, void* block, RealFree* real)
{
    Busy busy(mine);
    return real(call.manager, call.bank, block);
}

static MemoryBank_s& realBank(MemoryMgr* manager, int index)
{
    return *ManagerView::of(manager).bank(index);
}

static bool isChecking()
{
    return settings().check != CHECK_NONE;
}

static bool isInRegionOf(const MemoryBank_s& bank, const Record& record)
{
    return (record.size & sc_fallback) == 0 && isInRegion(bank, record.block);
}

// Returns the start of the block: its header, or in a linear bank's region, where blocks have no header, its first
// byte.
static char* wholeOf(const MemoryBank_s& bank, const Record& record)
{
    return record.block - (hasHeader(bank, record) ? sc_headerBytes : 0);
}

static size_t wholeBytesOf(const Record& record)
{
    return record.size & ~sc_fallback;
}

static bool isFallback(const Record& record)
{
    return (record.size & sc_fallback) != 0;
}

static BankOfRecords viewOf(int index, const MemoryBank_s& bank, const RecordedBank& mine)
{
    return {index, bank, mine.records, mine.areLinksKnown && mine.records.isComplete()};
}

// ---- The manager's list of a block with a header

// The newest block is the first on the manager's list.
static void addToList(RecordedBank& mine, Record& record, uint32_t place)
{
    uint32_t& newest = mine.newest[isFallback(record)];
    record.older = newest;
    if (Record* older = mine.records.linked(newest)) {
        older->newer = place;
    }
    newest = place;
}

static void takeFromList(RecordedBank& mine, const Record& record)
{
    Record* newer = mine.records.linked(record.newer);
    Record* older = mine.records.linked(record.older);
    (newer ? newer->older : mine.newest[isFallback(record)]) = record.older;
    if (older) {
        older->newer = record.newer;
    }
}

// ---- Checks of a whole bank

static void checkBlocks(int index, const MemoryBank_s& bank, RecordedBank& mine)
{
    const BankOfRecords all = viewOf(index, bank, mine);
    for (uint32_t place = 0; place < mine.records.places(); ++place) {
        if (mine.records.at(place).block) {
            checkBlock(all, mine.records.at(place), nullptr);
        }
    }
}

// Checks the bytes of all free nodes of a region. Stops at the first damaged header; the tool reports it when it
// walks the bank.
static void checkFreeBytes(int index, const MemoryBank_s& bank, RecordedBank& mine)
{
    if (!isChecking() || !mine.isFilled || !bank.base) {
        return;
    }
    const BankOfRecords all = viewOf(index, bank, mine);
    const char* end = bank.base + bank.size;
    if (bank.type == MEMBANK_LINEAR) {
        checkFreed(all, bank.cursor, static_cast<size_t>(end - bank.cursor), "after the bank was emptied");
        return;
    }
    for (const char* header = bank.base; static_cast<size_t>(end - header) >= sc_headerBytes;) {
        const unsigned int magic = headerWord(header, WORD_MAGIC);
        const unsigned int size = headerWord(header, WORD_SIZE);
        if ((magic != sc_used && magic != sc_free) || size < sc_headerBytes ||
            size > static_cast<size_t>(end - header)) {
            return;
        }
        if (magic == sc_free) {
            checkFreed(all, header + sc_headerBytes, size - sc_headerBytes, "after it was freed");
        }
        header += size;
    }
}

// ---- alloc

// Stores the words of the header in the record. A block in a linear bank's region has no header; its size is the
// request, rounded up to whole granules.
static void fillRecord(const MemoryBank_s& bank, Record& record, unsigned int size)
{
    record.size = (size + sc_granule - 1) & ~(sc_granule - 1);
    if (bank.type != MEMBANK_LINEAR || !isInRegion(bank, record.block)) {
        const char* header = headerOf(record);
        record.size = headerWord(header, WORD_SIZE);
        record.name = headerWord(header, WORD_FILE);
        record.links = headerWord(header, WORD_NEXT);
    }
    const unsigned int bytes = bytesOf(bank, record);
    record.request = size < bytes ? size : bytes; // in a bank of another type, a block is shorter than the request
}

static void fillBlock(int index, const MemoryBank_s& bank, RecordedBank& mine, const Record& record)
{
    const unsigned int bytes = bytesOf(bank, record);
    if (mine.isFilled && isInRegionOf(bank, record)) {
        checkFreed(viewOf(index, bank, mine), record.block, bytes, "before it was handed out again");
    }
    fill(record.block + record.request, bytes - record.request, sc_spareByte);
}

void* recordedAlloc(const Call& call, unsigned long size, const char* file, unsigned int line, RealAlloc* real)
{
    RecordedBank& mine = recordedBank(call.bank);
    const MemoryBank_s& bank = realBank(call.manager, call.bank);
    Lock lock(mine);
    if (settings().check == CHECK_EACH) {
        checkBlocks(call.bank, bank, mine);
    }
    char* block = static_cast<char*>(real(call.manager, call.bank, size, file, line));
    uint32_t place;
    Record* record = block ? mine.records.add(block, &place) : nullptr;
    if (!record) {
        return block;
    }
    record->file = file;
    record->line = line;
    fillRecord(bank, *record, static_cast<unsigned int>(size));
    if (settings().stacks) {
        record->moreBits = numberOfStack(call.caller, call.frame) << 4;
    }
    if (isChecking()) {
        fillBlock(call.bank, bank, mine, *record);
    }
    announceBlock(&mine, block, record->request, wholeOf(bank, *record), wholeBytesOf(*record));
    if (hasHeader(bank, *record)) {
        addToList(mine, *record, place);
    }
    return block;
}

// ---- free: a heap bank and the system bank

// True when the node at this header is on the free list. A node that was coalesced with the node before it is not.
static bool isOnFreeList(const MemoryBank_s& bank, const char* header)
{
    const MemoryHeapNode_s* node = nodeAt(header);
    const MemoryHeapNode_s* before = insideLink(node->prev);
    if (!before) {
        return bank.freeList == node;
    }
    return isInRegion(bank, before) && insideLink(before->next) == node;
}

// Fills a freed node. When the manager has coalesced nodes, also fills the headers that do not begin a node any more.
static void fillFreed(const MemoryBank_s& bank, char* header, unsigned int size, bool isJoinedAfter)
{
    fill(header + sc_headerBytes, size - sc_headerBytes + (isJoinedAfter ? sc_headerBytes : 0), sc_freedByte);
    if (!isOnFreeList(bank, header)) {
        fill(header, sc_headerBytes, sc_freedByte);
    }
}

// Calls the real free for a block with a record, and removes the record. isRight: the block's header is undamaged.
static int release(const Call& call, RecordedBank& mine, Record& record, bool isRight, RealFree* real)
{
    const MemoryBank_s& bank = realBank(call.manager, call.bank);
    char* header = record.block - sc_headerBytes;
    const bool isInside = isInRegionOf(bank, record);
    const unsigned int size = record.size & ~sc_fallback;
    const char* after = header + size;
    const bool isJoinedAfter = isInside && isInRegion(bank, after) && headerWord(after, WORD_MAGIC) == sc_free;

    void* block = record.block;
    const bool isOutside = isFallback(record);
    beforeFree(header, size, isOutside);
    const int result = realFree(call, mine, block, real);
    if (result != MEMERR_NONE) {
        record.set(RECORD_REPORTED); // its header is damaged, which was reported
        return result;
    }
    takeFromList(mine, record);
    mine.records.remove(&record);
    retractBlock(&mine, block, header, size, isOutside);
    if (!isRight) {
        mine.isFilled = mine.areLinksKnown = false;
        return result;
    }
    if (isChecking() && mine.isFilled && isInside) {
        fillFreed(bank, header, size, isJoinedAfter);
    }
    return result;
}

static int releaseHeld(const Call& call, RecordedBank& mine, Record& record, RealFree* real)
{
    const bool isRight = isHeaderRight(viewOf(call.bank, realBank(call.manager, call.bank), mine), record);
    return release(call, mine, record, isRight, real);
}

// Puts a block into quarantine. When the quarantine is full, frees the oldest block in it.
static int hold(const Call& call, RecordedBank& mine, Record& record, RealFree* real)
{
    const unsigned int most = settings().quarantine;
    const MemoryBank_s& bank = realBank(call.manager, call.bank);
    if (!mine.held) {
        void* pages = mmap(nullptr, most * sizeof(void*), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages == MAP_FAILED) {
            return releaseHeld(call, mine, record, real);
        }
        mine.held = static_cast<Record**>(pages);
    }
    if (mine.heldCount == most) {
        Record& oldest = *mine.held[mine.heldFirst];
        mine.heldFirst = (mine.heldFirst + 1) % most;
        mine.heldCount -= 1;
        checkBlock(viewOf(call.bank, bank, mine), oldest, nullptr);
        releaseHeld(call, mine, oldest, real);
    }
    record.set(RECORD_QUARANTINE);
    memset(record.block, sc_freedByte, bytesOf(bank, record));
    mine.held[(mine.heldFirst + mine.heldCount) % most] = &record;
    mine.heldCount += 1;
    return MEMERR_NONE;
}

static void freeHeld(const Call& call, RecordedBank& mine, RealFree* real)
{
    for (; mine.heldCount > 0; --mine.heldCount) {
        releaseHeld(call, mine, *mine.held[mine.heldFirst], real);
        mine.heldFirst = (mine.heldFirst + 1) % settings().quarantine;
    }
}

// Call it when free has accepted a block that is not in this bank's records. Removes the record of the block from the
// other bank that has it; both banks are damaged now. Returns false when no bank has a record of the block.
static bool forgetElsewhere(const void* block)
{
    bool isFound = false;
    for (int index = -1; index < 32; ++index) {
        RecordedBank& other = recordedBank(index);
        if (!other.mutex.tryLock()) {
            continue; // another thread uses that bank
        }
        if (Record* record = other.records.find(block)) {
            takeFromList(other, *record);
            other.records.remove(record);
            other.isFilled = other.areLinksKnown = false;
            isFound = true;
        }
        other.mutex.unlock();
    }
    return isFound;
}

// Frees an address that has no record in this bank.
static int freeUnknown(const Call& call, RecordedBank& mine, void* block, RealFree* real)
{
    ManagerView& view = ManagerView::of(call.manager);
    if (!isInRegion(*view.bank(call.bank), static_cast<char*>(block) - sc_headerBytes)) {
        examineFree(view, call.bank, block, call.caller);
    }
    const int result = realFree(call, mine, block, real);
    if (result == MEMERR_NONE) {
        mine.isFilled = mine.areLinksKnown = false;
        if (forgetElsewhere(block) || !mine.records.isComplete()) {
            return result;
        }
    }
    explainRefusal(view, call.bank, block, call.caller); // the bytes of a free block may look like a block in use
    if (!isLibraryBuffer(block)) {
        announceWrongFree(&mine, block);
    }
    return result;
}

// Checks the link that the real free is about to write.
static void checkNeighbour(const BankOfRecords& all, uint32_t place, HeaderWord link)
{
    Record* neighbour = all.records.linked(place);
    if (neighbour && !isLinkRight(all, *neighbour, link)) {
        checkBlock(all, *neighbour, nullptr);
    }
}

static int freeInHeap(const Call& call, RecordedBank& mine, void* block, RealFree* real)
{
    const MemoryBank_s& bank = realBank(call.manager, call.bank);
    Record* record = mine.records.find(block);
    if (!record) {
        return freeUnknown(call, mine, block, real);
    }
    __builtin_prefetch(mine.records.linked(record->older), 1);
    __builtin_prefetch(mine.records.linked(record->newer), 1);
    if (record->is(RECORD_QUARANTINE)) {
        tellDoubleFree(ManagerView::of(call.manager), call.bank, block, call.caller);
        return MEMERR_BLOCK;
    }
    const BankOfRecords all = viewOf(call.bank, bank, mine);
    const bool isRight = checkBlock(all, *record, call.caller);
    if (isRight) {
        checkNeighbour(all, record->newer, WORD_NEXT);
        checkNeighbour(all, record->older, WORD_PREV);
    }
    const unsigned int bytes = record->request;
    g_lastFrees.note(block, {call.bank, {bytes, record->name, record->line}, call.caller});
    return settings().quarantine != 0 ? hold(call, mine, *record, real) : release(call, mine, *record, isRight, real);
}

// ---- free: a linear bank

static int emptyLinear(const Call& call, RecordedBank& mine, void* block, RealFree* real)
{
    const MemoryBank_s& bank = realBank(call.manager, call.bank);
    checkBlocks(call.bank, bank, mine);
    checkFreeBytes(call.bank, bank, mine);
    const char* base = bank.base;
    const unsigned int size = bank.size;
    const size_t used = static_cast<size_t>(bank.cursor - bank.base);
    for (uint32_t place = 0; place < mine.records.places(); ++place) {
        const Record& record = mine.records.at(place);
        beforeFree(wholeOf(bank, record), wholeBytesOf(record), isFallback(record));
        retractBlock(&mine, record.block, wholeOf(bank, record), wholeBytesOf(record), true);
    }
    retractRegion(bank.base, size);
    const int result = realFree(call, mine, block, real);
    mine.records.clear();
    mine.newest[0] = mine.newest[1] = 0;
    if (isChecking() && mine.isFilled && bank.base) {
        const bool isSame = bank.base == base && bank.size == size;
        memset(bank.base, sc_freedByte, isSame ? used : bank.size);
    }
    announceRegion(bank.base, bank.size);
    return result;
}

int recordedFree(const Call& call, void* block, RealFree* real)
{
    RecordedBank& mine = recordedBank(call.bank);
    const MemoryBank_s& bank = realBank(call.manager, call.bank);
    __builtin_prefetch(static_cast<char*>(block) - sc_headerBytes);
    Lock lock(mine);
    if (settings().check == CHECK_EACH) {
        checkBlocks(call.bank, bank, mine);
    }
    if (bank.type == MEMBANK_HEAP && block) {
        return freeInHeap(call, mine, block, real);
    }
    if (block) {
        examineFree(ManagerView::of(call.manager), call.bank, block, call.caller);
    }
    return bank.type == MEMBANK_LINEAR ? emptyLinear(call, mine, block, real) : real(call.manager, call.bank, block);
}

// ---- Other calls

void recordGetSize(const Call& call, void* block, unsigned int size)
{
    RecordedBank& mine = recordedBank(call.bank);
    Lock lock(mine);
    Record* record = mine.records.find(block);
    if (record && size >= record->request && !record->is(RECORD_REPORTED)) {
        checkBlock(viewOf(call.bank, realBank(call.manager, call.bank), mine), *record, nullptr);
        resizeBlock(&mine, block, record->request, size);
        record->request = size;
    }
}

void recordManager(MemoryMgr* manager)
{
    if (!settings().socket || !settings().needsRecords()) {
        return;
    }
    const bool isFirst = g_recordedManager == nullptr;
    g_recordedManager = manager;
    for (RecordedBank& mine : s_banks) {
        Lock lock(mine);
        if (isFirst) {
            announcePool(&mine);
        }
        mine.records.clear();
        mine.newest[0] = mine.newest[1] = 0;
        mine.heldCount = 0;
        mine.areLinksKnown = true;
        mine.isFilled = false;
    }
}

static void forgetRegion(const MemoryBank_s& bank, RecordedBank& mine)
{
    for (uint32_t place = 0; place < mine.records.places(); ++place) {
        Record& record = mine.records.at(place);
        if (record.block && !isFallback(record)) {
            retractBlock(&mine, record.block, wholeOf(bank, record), wholeBytesOf(record), true);
            mine.records.remove(&record);
        }
    }
    mine.newest[0] = 0;
    mine.heldCount = 0;
    mine.isFilled = false;
}

void regionsEnd(MemoryMgr* manager)
{
    for (int index = 0; index < 32; ++index) {
        RecordedBank& mine = recordedBank(index);
        const MemoryBank_s& bank = realBank(manager, index);
        Lock lock(mine);
        forgetRegion(bank, mine);
        if (bank.base) {
            retractRegion(bank.base, bank.size);
        }
    }
}

void regionsBegin(MemoryMgr* manager)
{
    for (int index = 0; index < ManagerView::of(manager).bankCount; ++index) {
        RecordedBank& mine = recordedBank(index);
        const MemoryBank_s& bank = realBank(manager, index);
        Lock lock(mine);
        if (!bank.base) {
            continue;
        }
        if (isChecking()) {
            const unsigned int header = bank.type == MEMBANK_HEAP ? sc_headerBytes : 0;
            memset(bank.base + header, sc_freedByte, bank.size - header);
            mine.isFilled = true;
        }
        announceRegion(bank.base, bank.size);
    }
}

void checkRecords(MemoryMgr* manager, RealFree* real)
{
    for (int index = -1; index < 32; ++index) {
        RecordedBank& mine = recordedBank(index);
        const MemoryBank_s& bank = realBank(manager, index);
        if (!mine.mutex.lockSoon()) {
            continue;
        }
        if (!mine.isBusy) { // else the process ends inside of an operation, which has changed a part of the bank
            checkBlocks(index, bank, mine);
            freeHeld({manager, index, nullptr}, mine, real);
            checkFreeBytes(index, bank, mine);
        }
        mine.mutex.unlock();
    }
}

// ---- The records, for the tool

static void sendBlock(int index, const MemoryBank_s& bank, const Record& record, Channel& channel)
{
    Message line;
    line.add("block ").add(index).add(" ");
    if (isInRegionOf(bank, record)) {
        line.add(static_cast<unsigned int>(record.block - bank.base));
    } else {
        line.add("-1");
    }
    line.add(" ").add(record.request).add(" ").addHex(reinterpret_cast<uintptr_t>(record.file)).add(" ");
    line.add(record.line).add(" ").add(record.stack()).add("\n");
    channel.send(line);
}

static void sendStacks(Channel& channel)
{
    for (uint32_t number = 1; number <= stackCount(); ++number) {
        Message line;
        line.add("stack ").add(number);
        addStackTo(line, number, " ");
        line.add("\n");
        channel.send(line);
    }
}

void sendBlocks(MemoryMgr* manager, Channel& channel)
{
    for (int index = -1; index < 32; ++index) {
        RecordedBank& mine = recordedBank(index);
        const MemoryBank_s& bank = realBank(manager, index);
        if (!mine.mutex.lockSoon()) {
            continue;
        }
        for (uint32_t place = 0; place < mine.records.places(); ++place) {
            const Record& record = mine.records.at(place);
            if (record.block && (record.stack() != 0 || !hasHeader(bank, record))) {
                sendBlock(index, bank, record, channel);
            }
        }
        mine.mutex.unlock();
    }
    sendStacks(channel);
}

} // namespace watch
