// The two diagnostics: what checkMemory finds, in which order, and which bytes touchMemory reads.
#include "tests/support/game_memory.h"

#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace {

// A heap bank of 1024 bytes with three blocks, the middle one free again: nodes of 128 (in use), 64 (free), 128 (in
// use) and 704 bytes (free).
class Check : public testing::Test {
protected:
    Check()
    {
        m_memory.defineHeap("bank", 1024);
        m_memory.initialize();
        m_first = m_memory.alloc(0, 100, "test", 1);
        m_freed = m_memory.alloc(0, 32, "test", 2);
        m_last = m_memory.alloc(0, 100, "test", 3);
        m_memory.free(0, m_freed);
        m_rest = m_memory.banks[0].base + 128 + 64 + 128 + 24;
    }

    int check(bool expectEmpty = false) { return m_memory.checkMemory(0, &m_largestFree, expectEmpty); }

    GameMemory m_memory;
    void* m_first;
    void* m_freed;
    void* m_last;
    void* m_rest;
    unsigned int m_largestFree = 99;
};

// Games have these numbers in their logs and saved reports.
TEST(ErrorCodes, KeepTheirValues)
{
    EXPECT_EQ(MEMERR_NONE, 0);
    EXPECT_EQ(MEMERR_UNDEFINED, -1);
    EXPECT_EQ(MEMERR_BANKS, -2);
    EXPECT_EQ(MEMERR_LOCKED, -3);
    EXPECT_EQ(MEMERR_BLOCK, -4);
    EXPECT_EQ(MEMERR_FREE_NODE, -5);
    EXPECT_EQ(MEMERR_SIZE, -6);
    EXPECT_EQ(MEMERR_USED_COUNT, -7);
    EXPECT_EQ(MEMERR_FREE_COUNT, -8);
    EXPECT_EQ(MEMERR_OVERFLOW, -9);
}

TEST_F(Check, OfASoundBankAnswers0AndTheLargestFreeNode)
{
    EXPECT_EQ(check(), 0);
    EXPECT_EQ(m_largestFree, 704u);
}

TEST_F(Check, FindsTheLargestFreeNodeInWhateverOrder)
{
    setHeaderWord(m_freed, 1, 700); // 64 before, and first on the list
    setHeaderWord(m_rest, 1, 68);   // 704
    EXPECT_EQ(check(), 0);
    EXPECT_EQ(m_largestFree, 700u);
}

TEST_F(Check, TakesNullForTheLargestFreeNode)
{
    EXPECT_EQ(m_memory.checkMemory(0, nullptr, false), 0);
    EXPECT_EQ(m_memory.checkMemory(0, nullptr, true), MEMERR_SIZE);
}

TEST_F(Check, ChangesNothing)
{
    const MemoryBank_s before = m_memory.banks[0];
    const std::string bytes(before.base, before.size);
    check(false);
    check(true);
    EXPECT_EQ(memcmp(&m_memory.banks[0], &before, sizeof(before)), 0);
    EXPECT_EQ(std::string(before.base, before.size), bytes);
}

TEST_F(Check, AnswersMemerrBlockWhenABlockInUseLacksItsMark)
{
    for (void* block : {m_first, m_last}) {
        setHeaderWord(block, 0, 0xdeadf00d);
        EXPECT_EQ(check(), MEMERR_BLOCK);
        EXPECT_EQ(m_largestFree, 0u);
        setHeaderWord(block, 0, 0xfeedface);
        EXPECT_EQ(check(), 0);
    }
}

TEST_F(Check, AnswersMemerrFreeNodeWhenAFreeNodeLacksItsMark)
{
    for (void* block : {m_freed, m_rest}) {
        setHeaderWord(block, 0, 0xfeedface);
        EXPECT_EQ(check(), MEMERR_FREE_NODE);
        setHeaderWord(block, 0, 0xdeadf00d);
        EXPECT_EQ(check(), 0);
    }
}

// A block whose owner writes to it after the free.
TEST_F(Check, AnswersMemerrFreeNodeWhenTheFirstWordOfAFreedHeaderIsOverwritten)
{
    setHeaderWord(m_freed, 0, 0);
    EXPECT_EQ(check(), MEMERR_FREE_NODE);
}

// A link that leads out of the bank: to an address that is not mapped.
const unsigned int sc_outside = sizeof(void*) == 4 ? 16 : 0x40000000;

TEST_F(Check, AnswersMemerrBlockWhenALinkOfTheUsedListLeadsOutOfTheBank)
{
    setHeaderWord(m_last, 4, sc_outside);
    EXPECT_EQ(check(), MEMERR_BLOCK);
}

TEST_F(Check, AnswersMemerrFreeNodeWhenALinkOfTheFreeListLeadsOutOfTheBank)
{
    setHeaderWord(m_freed, 4, sc_outside);
    EXPECT_EQ(check(), MEMERR_FREE_NODE);
    EXPECT_EQ(m_largestFree, 64u);
    setHeaderWord(m_freed, 4, 0xfffffff1); // a fallback block's link, to an entry that does not exist
    EXPECT_EQ(check(), MEMERR_FREE_NODE);
}

TEST_F(Check, AnswersMemerrFreeNodeForAListThatBeginsOutsideTheBank)
{
    MemoryBank_s& bank = m_memory.banks[0];
    bank.freeList = reinterpret_cast<MemoryHeapNode_s*>(bank.base + bank.size - 8); // its header would leave the bank
    EXPECT_EQ(check(), MEMERR_FREE_NODE);
    bank.freeList = reinterpret_cast<MemoryHeapNode_s*>(bank.base + bank.size);
    EXPECT_EQ(check(), MEMERR_FREE_NODE);
    char* base = std::exchange(bank.base, nullptr);
    EXPECT_EQ(check(), MEMERR_BLOCK); // a bank without a region has no nodes
    bank.base = base;
}

TEST_F(Check, AnswersMemerrSizeWhenTheLinksOfAListFormACircle)
{
    alarm(60); // without an end, the check would go round for ever
    MemoryHeapNode_s* const head = m_memory.banks[0].usedList;
    head->next = head;
    EXPECT_EQ(check(), MEMERR_SIZE);
}

TEST_F(Check, TakesAHeaderOnlyIfAllOfItsBytesLieInTheRegion)
{
    MemoryBank_s& bank = m_memory.banks[0];
    for (const unsigned int left : {24u, 23u}) { // bytes up to the end of the region
        char* const place = bank.base + bank.size - left;
        memset(place, 0, left);
        memcpy(place, bank.base, 4); // the mark of the first block
        bank.usedList = reinterpret_cast<MemoryHeapNode_s*>(place);
        EXPECT_EQ(check(), left == 24 ? MEMERR_SIZE : MEMERR_BLOCK) << left;
    }
}

// With these sizes, the nodes that the check counts in the circle and the free nodes add up to the bank's size.
TEST_F(Check, AnswersMemerrSizeForACircleWhoseSumIsTheSizeOfTheBank)
{
    alarm(60);
    MemoryBank_s& bank = m_memory.banks[0];
    const unsigned int counted = bank.size / 24 + 2;
    const unsigned int nodeSize = (bank.size - 100) / counted;
    bank.usedList->next = bank.usedList;
    bank.usedList->size = nodeSize;
    bank.freeList->next = nullptr;
    bank.freeList->size = bank.size - counted * nodeSize;
    EXPECT_EQ(check(), MEMERR_SIZE);
}

// A walk around a circle ends after 44 nodes, one more than the bank has room for, and one.
TEST_F(Check, AnswersMemerrSizeForACircleOfFreeNodesThatSeemsToFillTheBank)
{
    alarm(60);
    MemoryHeapNode_s* const head = m_memory.banks[0].freeList;
    head->next = head;
    setHeaderWord(m_freed, 1, 16);
    setHeaderWord(m_last, 1, 192); // the sum is 128 + 192 + 44 * 16 = 1024
    EXPECT_EQ(check(), MEMERR_SIZE);
}

TEST_F(Check, ReportsAFreeNodeWithoutItsMarkBeforeACircleOfTheUsedList)
{
    alarm(60);
    MemoryHeapNode_s* const head = m_memory.banks[0].usedList;
    head->next = head;
    check();
    EXPECT_EQ(m_largestFree, 704u); // the free list is walked all the same
    setHeaderWord(m_freed, 0, 0);
    EXPECT_EQ(check(), MEMERR_FREE_NODE);
}

// A region is never smaller than a header, unless the game has damaged the record of the bank.
TEST_F(Check, AnswersMemerrSizeWhenTheRegionIsSmallerThanAHeader)
{
    MemoryBank_s& bank = m_memory.banks[0];
    bank.usedList = nullptr;
    bank.freeList = reinterpret_cast<MemoryHeapNode_s*>(bank.base);
    setHeaderWord(m_first, 0, 0xdeadf00d);
    for (unsigned int size : {0u, 1u, 23u}) {
        bank.size = size;
        EXPECT_EQ(check(), MEMERR_SIZE) << size;
    }
    bank.usedList = bank.freeList;
    EXPECT_EQ(check(), MEMERR_BLOCK);
}

TEST_F(Check, AnswersMemerrSizeWhenTheSizesDoNotAddUp)
{
    static const struct {
        int node;
        unsigned int size;
    } sc_cases[] = {{0, 96}, {0, 129}, {1, 32}, {1, 96}, {3, 703}, {3, 736}};
    void* blocks[] = {m_first, m_freed, m_last, m_rest};
    for (const auto& c : sc_cases) {
        const unsigned int size = headerWord(blocks[c.node], 1);
        setHeaderWord(blocks[c.node], 1, c.size);
        EXPECT_EQ(check(), MEMERR_SIZE) << c.node << " " << c.size;
        setHeaderWord(blocks[c.node], 1, size);
        EXPECT_EQ(check(), 0);
    }
    m_memory.banks[0].size = 1056;
    EXPECT_EQ(check(), MEMERR_SIZE);
}

TEST_F(Check, AnswersMemerrSizeWhenABankThatShouldBeEmptyIsNot)
{
    EXPECT_EQ(check(true), MEMERR_SIZE);
    EXPECT_EQ(m_largestFree, 704u); // all the same
    m_memory.free(0, m_first);
    EXPECT_EQ(check(true), MEMERR_SIZE);
    m_memory.free(0, m_last);
    EXPECT_EQ(check(true), 0);
    EXPECT_EQ(m_largestFree, 1024u);
}

TEST_F(Check, AnswersMemerrUsedCountWhenTheCountOfUsedNodesIsOff)
{
    m_memory.banks[0].usedNodeCount = 1;
    EXPECT_EQ(check(), MEMERR_USED_COUNT);
    m_memory.banks[0].usedNodeCount = 3;
    EXPECT_EQ(check(), MEMERR_USED_COUNT);
}

TEST_F(Check, AnswersMemerrFreeCountWhenTheCountOfFreeNodesIsOff)
{
    m_memory.banks[0].freeNodeCount = 1;
    EXPECT_EQ(check(), MEMERR_FREE_COUNT);
    m_memory.banks[0].freeNodeCount = 3;
    EXPECT_EQ(check(), MEMERR_FREE_COUNT);
}

TEST_F(Check, AnswersMemerrOverflowOnceTheBankHasOverflowed)
{
    void* outside = m_memory.alloc(0, 1000, "test", 1);
    EXPECT_EQ(check(), MEMERR_OVERFLOW);
    m_memory.free(0, outside);
    m_memory.free(0, m_first);
    m_memory.free(0, m_last);
    EXPECT_EQ(check(true), MEMERR_OVERFLOW); // for good: the budget was too small
    EXPECT_EQ(m_largestFree, 1024u);
}

TEST_F(Check, ReportsTheFirstOfSeveralFaults)
{
    m_memory.banks[0].extNodeCount = 1;
    EXPECT_EQ(check(), MEMERR_OVERFLOW);
    m_memory.banks[0].freeNodeCount = 9;
    EXPECT_EQ(check(), MEMERR_FREE_COUNT);
    m_memory.banks[0].usedNodeCount = 9;
    EXPECT_EQ(check(), MEMERR_USED_COUNT);
    EXPECT_EQ(check(true), MEMERR_SIZE);
    setHeaderWord(m_rest, 0, 0);
    EXPECT_EQ(check(true), MEMERR_FREE_NODE);
    setHeaderWord(m_last, 0, 0);
    EXPECT_EQ(check(true), MEMERR_BLOCK);
}

TEST(CheckMemory, OfAFreshBankAnswers0AndAllOfIt)
{
    GameMemory memory;
    memory.defineHeap("bank", 1024);
    memory.initialize();
    unsigned int largestFree = 99;
    EXPECT_EQ(memory.checkMemory(0, &largestFree, true), 0);
    EXPECT_EQ(largestFree, 1024u);
    memory.alloc(0, 1, "test", 1);
    EXPECT_EQ(memory.checkMemory(0, &largestFree, true), MEMERR_SIZE);
    EXPECT_EQ(memory.checkMemory(0, &largestFree, false), 0);
    EXPECT_EQ(largestFree, 992u);
}

TEST(CheckMemory, OfAFullBankFindsNothingFree)
{
    GameMemory memory;
    memory.defineHeap("bank", 128);
    memory.initialize();
    memory.alloc(0, 100, "test", 1);
    unsigned int largestFree = 99;
    EXPECT_EQ(memory.checkMemory(0, &largestFree, false), 0);
    EXPECT_EQ(largestFree, 0u);
}

TEST(CheckMemory, OfALinearBankAnswersWhatIsLeft)
{
    GameMemory memory;
    memory.defineLinear("bank", 1024);
    memory.initialize();
    unsigned int largestFree = 99;
    EXPECT_EQ(memory.checkMemory(0, &largestFree, true), 0);
    EXPECT_EQ(largestFree, 1024u);
    memory.alloc(0, 100, "test", 1);
    EXPECT_EQ(memory.checkMemory(0, &largestFree, true), 0); // never a fault
    EXPECT_EQ(largestFree, 896u);
    memory.alloc(0, 896, "test", 1);
    EXPECT_EQ(memory.checkMemory(0, &largestFree, false), 0);
    EXPECT_EQ(largestFree, 0u);
}

TEST(CheckMemory, OfAnOverflowedLinearBankAnswersTheDifferenceIn32Bits)
{
    GameMemory memory;
    memory.defineLinear("bank", 1024);
    memory.initialize();
    memory.alloc(0, 1025, "test", 1); // 1056 and a header
    unsigned int largestFree = 99;
    EXPECT_EQ(memory.checkMemory(0, &largestFree, false), 0);
    EXPECT_EQ(largestFree, 1024u - 1080u);
    memory.free(0, nullptr);
}

TEST(CheckMemory, OfAnyOtherBankFindsNothing)
{
    GameMemory memory;
    Source::serve(memory, MEMLOC_DEFAULT);
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_OTHER, "bank", 1024);
    memory.initialize();
    memory.alloc(0, 100, "test", 1);
    unsigned int largestFree = 99;
    EXPECT_EQ(memory.checkMemory(0, &largestFree, true), 0);
    EXPECT_EQ(largestFree, 0u);
}

// Memory that can't be read until somebody tries. The address that is asked for first in each page is written down.
class HiddenPages {
public:
    HiddenPages(char* start, size_t size)
    {
        s_start = start;
        s_count = 0;
        struct sigaction action = {};
        action.sa_sigaction = show;
        action.sa_flags = SA_SIGINFO;
        sigaction(SIGSEGV, &action, &m_before);
        mprotect(start, size, PROT_NONE);
    }
    ~HiddenPages() { sigaction(SIGSEGV, &m_before, nullptr); }

    std::vector<long> reads() const
    {
        return std::vector<long>(s_reads, s_reads + s_count);
    } // offsets from the start

private:
    static void show(int, siginfo_t* info, void*)
    {
        char* address = static_cast<char*>(info->si_addr);
        if (s_count == 8) {
            abort();
        }
        s_reads[s_count++] = address - s_start;
        mprotect(address - (address - s_start) % 4096, 4096, PROT_READ | PROT_WRITE);
    }

    static inline char* s_start;
    static inline long s_reads[8];
    static inline int s_count;
    struct sigaction m_before;
};

// A location of one block that fills whole pages, and one page more to see who goes too far.
struct PageSource {
    static inline char* s_block;
    static inline size_t s_size;

    static void* alloc(unsigned long size)
    {
        s_size = (size + 4095) / 4096 * 4096 + 4096;
        void* block = mmap(nullptr, s_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        return s_block = static_cast<char*>(block);
    }
    static void free(void* block) { munmap(block, s_size); }

    static void serve(MemoryMgr& memory, e_MemoryLocation location)
    {
        memory.defineLocAllocCb(location, alloc);
        memory.defineLocFreeCb(location, free);
    }
};

TEST(TouchMemory, ReadsTheFirstByteOfEachPageOfTheDefaultLocation)
{
    static const struct {
        unsigned int size;
        std::vector<long> reads;
    } sc_cases[] = {
        {32, {0}},
        {4096, {0}},
        {4097, {0, 4096}},
        {5000, {0, 4096}},
        {8192, {0, 4096}},
        {8193, {0, 4096, 8192}},
        {20000, {0, 4096, 8192, 12288, 16384}},
    };
    for (const auto& c : sc_cases) {
        GameMemory memory;
        PageSource::serve(memory, MEMLOC_DEFAULT);
        memory.defineHeap("bank", 32);
        writeFile(memory.bankSizePath, "bank=" + std::to_string(c.size));
        memory.initialize();
        HiddenPages pages(PageSource::s_block, PageSource::s_size);
        memory.touchMemory();
        EXPECT_EQ(pages.reads(), c.reads) << c.size;
    }
}

TEST(TouchMemory, LeavesTheCustomLocationAlone)
{
    GameMemory memory;
    PageSource::serve(memory, MEMLOC_CUSTOM);
    memory.defineHeap("bank", 32);
    memory.defineBank(MEMLOC_CUSTOM, MEMBANK_HEAP, "custom", 8192);
    memory.initialize();
    HiddenPages pages(PageSource::s_block, PageSource::s_size);
    memory.touchMemory();
    EXPECT_EQ(pages.reads(), std::vector<long>());
}

TEST(TouchMemory, LeavesLinearBanksAlone)
{
    GameMemory memory;
    PageSource::serve(memory, MEMLOC_DEFAULT);
    memory.defineLinear("bank", 8192);
    memory.initialize();
    HiddenPages pages(PageSource::s_block, PageSource::s_size);
    memory.touchMemory();
    EXPECT_EQ(pages.reads(), std::vector<long>());
}

TEST(TouchMemory, BeforeInitializeReadsNothing)
{
    GameMemory memory;
    memory.touchMemory();
    memory.defineHeap("bank", 8192);
    memory.touchMemory();
    EXPECT_EQ(memory.locations[MEMLOC_DEFAULT].block, nullptr);
}

TEST(TouchMemory, OfALocationThatFailedReadsNothing)
{
    GameMemory memory;
    Source::serve(memory, MEMLOC_DEFAULT);
    memory.defineHeap("bank", 8192);
    Source::largest = 0;
    memory.initialize();
    memory.touchMemory();
    EXPECT_EQ(memory.locations[MEMLOC_DEFAULT].blockSize, 8192u);
    EXPECT_EQ(memory.locations[MEMLOC_DEFAULT].block, nullptr);
}

} // namespace
