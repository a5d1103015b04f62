// 1. While its lock is free, a bank has one record for each block in use, and each record has the words of its header.
//    Links are not stored: two neighbours on the manager's list must refer to each other.
// 2. While a region is filled, each byte of a free node after its header is sc_freedByte, and so is each byte of a linear
//    bank's region from the cursor on.
// 3. While areLinksKnown, `ends` has the first and the last block of each of the manager's lists.
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
#include <time.h>

namespace watch {

namespace {

struct RecordedBank {
    BankMutex mutex;
    Records records;
    ListEnds ends[2];           // of the list of blocks in the region, and of the list of fallback blocks
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
static uint32_t s_start;         // the time of the first manager; see millisecondsNow
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

// Returns the start of the block: its header, or in a linear bank's region, where blocks have no header, its first
// byte.
static char* wholeOf(const Record& record)
{
    return record.block - (hasHeader(record) ? sc_headerBytes : 0);
}

static size_t wholeBytesOf(const Record& record)
{
    return bytesOf(record) + (hasHeader(record) ? sc_headerBytes : 0);
}

static BankOfRecords viewOf(int index, const MemoryBank_s& bank, const RecordedBank& mine)
{
    return {index, bank, mine.records, mine.ends, mine.areLinksKnown && mine.records.isComplete()};
}

// ---- The ends of the manager's lists

// Call it after the manager has added the block to its list, as the newest.
static void addToList(RecordedBank& mine, const Record& record)
{
    if (!hasPointers(record)) {
        return;
    }
    ListEnds& ends = mine.ends[isFallback(record)];
    const char* header = headerOf(record);
    if (linkedHeader(header, WORD_NEXT) != ends.newest) {
        mine.areLinksKnown = false; // the bank's record is overwritten; the tool reports it when it walks the bank
    }
    ends.newest = header;
    ends.oldest = ends.oldest ? ends.oldest : header;
}

// Call it before the manager takes the block off its list. The links of the block must be right.
static void takeFromList(RecordedBank& mine, const Record& record)
{
    if (!hasPointers(record)) {
        return;
    }
    ListEnds& ends = mine.ends[isFallback(record)];
    const char* header = headerOf(record);
    const char* older = linkedHeader(header, WORD_NEXT);
    const char* newer = linkedHeader(header, WORD_PREV);
    ends.newest = ends.newest == header ? older : ends.newest;
    ends.oldest = ends.oldest == header ? newer : ends.oldest;
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

// True when a block has no header.
static bool isInLinearRegion(const MemoryBank_s& bank, const char* block)
{
    return bank.type == MEMBANK_LINEAR && isInRegion(bank, block);
}

// Checks that nothing has written to the block since it was free. `size` is the request.
static void checkNewBlock(int index, const MemoryBank_s& bank, RecordedBank& mine, const char* block,
                          unsigned int size)
{
    if (!mine.isFilled || !isInRegion(bank, block)) {
        return;
    }
    const unsigned int bytes =
        bank.type == MEMBANK_LINEAR ? roundUp(size) : headerWord(block - sc_headerBytes, WORD_SIZE) - sc_headerBytes;
    if (!isAll(block, bytes, sc_freedByte)) {
        checkFreed(viewOf(index, bank, mine), block, bytes, "before it was handed out again");
    }
}

// Stores the fields of a new record but the block, the line and the time.
static void fillRecord(const MemoryBank_s& bank, Record& record, const char* file, unsigned int size, uint32_t stack)
{
    record.request = size;
    if (isInLinearRegion(bank, record.block)) {
        record.setBits(stack, 0, RECORD_NO_HEADER);
        record.file = file;
        return;
    }
    const char* header = headerOf(record);
    const unsigned int wholeBytes = headerWord(header, WORD_SIZE);
    record.header.size = wholeBytes;
    record.header.name = headerWord(header, WORD_FILE);
    if ((wholeBytes & sc_fallback) == 0) {
        record.setBits(stack, 0, 0);
        return;
    }
    record.setBits(stack, linkNumberOf(headerWord(header, WORD_NEXT)), RECORD_FALLBACK);
    const unsigned int bytes = bytesOf(record);
    record.request = size < bytes ? size : bytes; // in a bank of another type, a block is shorter than the request
}

static void fillSpareBytes(const RecordedBank& mine, const Record& record)
{
    const unsigned int bytes = bytesOf(record);
    const unsigned int spare = bytes - record.request;
    if (mine.isFilled && !isFallback(record) && bytes >= 32 && spare <= sc_mostSpare) {
        fillSpare(record.block + bytes, spare);
    } else {
        fill(record.block + record.request, spare, sc_spareByte);
    }
}

// The coarse clock is read without a system call. It advances each few milliseconds.
static uint32_t millisecondsNow()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return static_cast<uint32_t>(static_cast<uint64_t>(now.tv_sec) * 1000 +
                                 static_cast<uint64_t>(now.tv_nsec) / 1000000);
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
    if (!block) {
        return nullptr;
    }
    mine.records.prefetch(block);
    const unsigned int request = static_cast<unsigned int>(size);
    if (isChecking()) {
        checkNewBlock(call.bank, bank, mine, block, request);
    }
    Record* record = mine.records.add(block);
    if (!record) {
        return block;
    }
    record->line = line;
    record->born = millisecondsNow() - s_start;
    fillRecord(bank, *record, file, request, settings().stacks ? numberOfStack(call.caller, call.frame) : 0);
    if (isChecking()) {
        fillSpareBytes(mine, *record);
    }
    if (listener() != LISTENER_NONE) {
        announceBlock(&mine, block, record->request, wholeOf(*record), wholeBytesOf(*record));
    }
    if (hasHeader(*record)) {
        addToList(mine, *record);
    }
    return block;
}

// ---- free: a heap bank and the system bank

// Fills a freed node of the region. When the manager has coalesced nodes, also fills the headers that do not begin a
// node any more. `joined`: how many nodes the freed node was coalesced with.
static void fillFreed(RecordedBank& mine, char* header, unsigned int size, unsigned int joined)
{
    if (joined > 2) {
        mine.isFilled = false; // the game has changed the free list
        return;
    }
    const unsigned int isOwnSize = headerWord(header, WORD_SIZE) == size; // a node that grows gets another size
    const unsigned int isJoinedBefore = joined >> 1 | (joined & isOwnSize);
    const unsigned int isJoinedAfter = joined >> 1 | (joined & ~isOwnSize & 1);
    char* begin = header + sc_headerBytes - sc_headerBytes * isJoinedBefore;
    const char* end = header + size + sc_headerBytes * isJoinedAfter;
    fill(begin, static_cast<size_t>(end - begin), sc_freedByte);
}

// Calls the real free for a block with a record, and removes the record. isRight: the block's header is undamaged.
// `slot` is that of the record.
static int release(const Call& call, RecordedBank& mine, Record& record, uint32_t slot, bool isRight, RealFree* real)
{
    const MemoryBank_s& bank = realBank(call.manager, call.bank);
    char* block = record.block;
    char* header = block - sc_headerBytes;
    const bool isInside = !isFallback(record);
    const bool isOutside = isFallback(record);
    const unsigned int size = record.header.size & ~sc_fallback;
    const unsigned int freeNodes = bank.freeNodeCount;
    const bool isAnnounced = listener() != LISTENER_NONE;
    if (isAnnounced) {
        beforeFree(header, size, isOutside);
    }
    if (isRight) {
        takeFromList(mine, record);
    }
    const int result = realFree(call, mine, block, real);
    if (result != MEMERR_NONE) {
        record.set(RECORD_REPORTED); // its header is damaged, which was reported
        return result;
    }
    if (isOutside) {
        mine.records.remove(&record); // the location's callback may have used the bank
    } else {
        mine.records.remove(&record, slot);
    }
    if (isAnnounced) {
        retractBlock(&mine, block, header, size, isOutside);
    }
    if (!isRight) {
        mine.isFilled = mine.areLinksKnown = false;
    } else if (isChecking() && mine.isFilled && isInside) {
        fillFreed(mine, header, size, freeNodes + 1 - bank.freeNodeCount);
    }
    return result;
}

static int releaseHeld(const Call& call, RecordedBank& mine, Record& record, RealFree* real)
{
    const bool isRight = isHeaderRight(viewOf(call.bank, realBank(call.manager, call.bank), mine), record);
    uint32_t slot = 0;
    mine.records.find(record.block, &slot);
    return release(call, mine, record, slot, isRight, real);
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
    memset(record.block, sc_freedByte, bytesOf(record));
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
static void checkNeighbour(const BankOfRecords& all, const Record& record, HeaderWord link)
{
    const MemoryHeapNode_s* node = nodeAt(headerOf(record));
    const MemoryHeapNode_s* to = link == WORD_NEXT ? node->next : node->prev;
    Record* neighbour = to ? all.records.find(to + 1) : nullptr;
    if (neighbour && !isLinkRight(all, *neighbour, opposite(link))) {
        checkBlock(all, *neighbour, nullptr);
    }
}

// Checks the block and both links to it. Returns true when its header is right.
__attribute__((noinline)) static bool checkFreedBlock(const BankOfRecords& all, Record& record, const void* caller)
{
    const bool isRight = checkBlock(all, record, caller);
    if (isRight && all.areLinksKnown) {
        checkNeighbour(all, record, WORD_PREV);
        checkNeighbour(all, record, WORD_NEXT);
    }
    return isRight;
}

// True when checkFreedBlock would find nothing. For the most common case: false also stands for "not known".
static bool isSound(const BankOfRecords& all, const Record& record)
{
    if (!record.hasNoFlag() || !isHeaderRight(all, record)) {
        return false;
    }
    const unsigned int bytes = bytesOf(record);
    const unsigned int spare = bytes - record.request;
    return !isChecking() || (spare <= sc_mostSpare ? isSpare(record.block + bytes, spare)
                                                   : isAll(record.block + record.request, spare, sc_spareByte));
}

static int freeInHeap(const Call& call, RecordedBank& mine, void* block, RealFree* real)
{
    const MemoryBank_s& bank = realBank(call.manager, call.bank);
    uint32_t slot = 0;
    Record* record = mine.records.find(block, &slot);
    if (!record) {
        return freeUnknown(call, mine, block, real);
    }
    if (record->is(RECORD_QUARANTINE)) {
        tellDoubleFree(ManagerView::of(call.manager), call.bank, block, call.caller);
        return MEMERR_BLOCK;
    }
    const BankOfRecords all = viewOf(call.bank, bank, mine);
    const bool isRight = isSound(all, *record) || checkFreedBlock(all, *record, call.caller);
    g_lastFrees.note(block, {call.bank, {record->request, record->header.name, record->line}, call.caller});
    return settings().quarantine != 0 ? hold(call, mine, *record, real)
                                      : release(call, mine, *record, slot, isRight, real);
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
        if (record.block) {
            beforeFree(wholeOf(record), wholeBytesOf(record), isFallback(record));
            retractBlock(&mine, record.block, wholeOf(record), wholeBytesOf(record), true);
        }
    }
    retractRegion(bank.base, size);
    const int result = realFree(call, mine, block, real);
    mine.records.clear();
    mine.ends[0] = mine.ends[1] = ListEnds();
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
    s_start = isFirst ? millisecondsNow() : s_start;
    for (RecordedBank& mine : s_banks) {
        Lock lock(mine);
        if (isFirst) {
            announcePool(&mine);
        }
        mine.records.clear();
        mine.ends[0] = mine.ends[1] = ListEnds();
        mine.heldCount = 0;
        mine.areLinksKnown = true;
        mine.isFilled = false;
    }
}

static void forgetRegion(RecordedBank& mine)
{
    for (uint32_t place = 0; place < mine.records.places(); ++place) {
        Record& record = mine.records.at(place);
        if (record.block && !isFallback(record)) {
            retractBlock(&mine, record.block, wholeOf(record), wholeBytesOf(record), true);
            mine.records.remove(&record);
        }
    }
    mine.ends[0] = ListEnds();
    mine.heldCount = 0;
    mine.isFilled = false;
}

void regionsEnd(MemoryMgr* manager)
{
    for (int index = 0; index < 32; ++index) {
        RecordedBank& mine = recordedBank(index);
        const MemoryBank_s& bank = realBank(manager, index);
        Lock lock(mine);
        forgetRegion(mine);
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

static void addBlock(Message& lines, int index, const MemoryBank_s& bank, const Record& record)
{
    lines.add("block ").add(index).add(" ");
    if (!isFallback(record)) {
        lines.add(static_cast<unsigned int>(wholeOf(record) - bank.base));
    } else {
        lines.add("-1");
    }
    lines.add(" ").add(record.request);
    if (hasHeader(record)) {
        lines.add(" name ").add(record.header.name);
    } else {
        lines.add(" text ").addHex(reinterpret_cast<uintptr_t>(record.file));
    }
    lines.add(" ").add(record.line).add(" ").add(record.stack()).add(" ").add(record.born).add("\n");
}

static void sendBlocksOf(int index, const MemoryBank_s& bank, const RecordedBank& mine, Channel& channel)
{
    static const size_t sc_part = 3800; // bytes sent at once; a line more fits into a message
    Message lines;
    for (uint32_t place = 0; place < mine.records.places(); ++place) {
        if (mine.records.at(place).block) {
            addBlock(lines, index, bank, mine.records.at(place));
        }
        if (lines.length() > sc_part) {
            channel.send(lines);
            lines = Message();
        }
    }
    channel.send(lines);
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
        sendBlocksOf(index, bank, mine, channel);
        mine.mutex.unlock();
    }
    sendStacks(channel);
}

} // namespace watch
