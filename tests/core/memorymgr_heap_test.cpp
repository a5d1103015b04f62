// What alloc, free and getSize do: heap banks, linear banks, other banks, what a bank can't serve, and the end.
//
// This program has an alert of its own in place of the platform's, which writes down what it was asked to show.
#include "tests/support/game_memory.h"

#include "core/platform.h"

#include <stdarg.h>
#include <stdlib.h>
#include <vector>

int Platform::MessageBox(const char* caption, const char* format, ...)
{
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    fprintf(stderr, "alert [%s] [%s]\n", caption, text);
    return 1;
}

namespace {

// A manager with one bank, in a location that keeps count.
class OneBank : public GameMemory {
public:
    OneBank(e_MemoryBankType type, unsigned int size)
    {
        Source::serve(*this, MEMLOC_DEFAULT);
        defineBank(MEMLOC_DEFAULT, type, "bank", size);
        remove(bankSizePath); // each of them is the game's first run
        initialize();
        Source::takeLog();
    }

    void* alloc(unsigned long size) { return MemoryMgr::alloc(0, size, "test", ++m_line); }
    int free(void* block) { return MemoryMgr::free(0, block); }
    unsigned int getSize(void* block) { return MemoryMgr::getSize(0, block); }
    const MemoryBank_s& bank() const { return banks[0]; }

    // Where a block begins, in bytes from the start of the bank.
    long at(const void* block) const { return static_cast<const char*>(block) - bank().base; }

private:
    unsigned int m_line = 0;
};

class Heap : public OneBank {
public:
    explicit Heap(unsigned int size) : OneBank(MEMBANK_HEAP, size) {}

    // Takes a whole node of this size, a multiple of 32.
    void* allocNode(unsigned int size) { return alloc(size - 25); }
};

class Linear : public OneBank {
public:
    explicit Linear(unsigned int size) : OneBank(MEMBANK_LINEAR, size) {}
};

// A source of blocks of any size, as long as nobody looks behind the header.
struct Endless {
    static inline char s_block[64];
    static inline unsigned long s_asked;

    static void* alloc(unsigned long size)
    {
        s_asked = size;
        return s_block;
    }
    static void* realloc(void*, unsigned long size) { return alloc(size); }
    static void free(void*) {}

    static void serve(MemoryMgr& memory, e_MemoryLocation location)
    {
        memory.defineLocAllocCb(location, alloc);
        memory.defineLocReallocCb(location, realloc);
        memory.defineLocFreeCb(location, free);
    }
};

// A list of nodes as text, from its head: "96+32" is a node of 32 bytes that begins 96 bytes into the bank.
std::string listed(const MemoryBank_s& bank, const MemoryHeapNode_s* node)
{
    std::string text;
    const MemoryHeapNode_s* before = nullptr;
    for (; node; before = node, node = node->next) {
        EXPECT_EQ(node->prev, before);
        text += (text.empty() ? "" : " ") + std::to_string(reinterpret_cast<const char*>(node) - bank.base) + "+" +
                std::to_string(node->size);
    }
    return text;
}

std::string freeNodes(const Heap& heap)
{
    return listed(heap.bank(), heap.bank().freeList);
}
std::string usedNodes(const Heap& heap)
{
    return listed(heap.bank(), heap.bank().usedList);
}

TEST(HeapAlloc, Of0BytesReturnsNullAndCountsNothing)
{
    Heap heap(1024);
    EXPECT_EQ(heap.alloc(0), nullptr);
    EXPECT_EQ(heap.bank().allocCount, 0u);
    EXPECT_EQ(heap.bank().bytesInUse, 0u);
    EXPECT_EQ(freeNodes(heap), "0+1024");
    EXPECT_EQ(heap.MemoryMgr::alloc(-1, 0, "test", 1), nullptr);
    EXPECT_EQ(heap.systemBank.allocCount, 0u);
    EXPECT_EQ(Source::takeLog(), "");
}

TEST(HeapAlloc, TakesNodesOf32BytesAndAlwaysMoreThanTheHeaderAndTheRequest)
{
    static const struct {
        unsigned long size;
        unsigned int node;
    } sc_cases[] = {
        {1, 32},             // room for 8
        {7, 32},    {8, 64}, // 8 + 24 is 32 already, and still gains 32 more
        {9, 64},    {39, 64},   {40, 96},    {71, 96},     {72, 128},      {100, 128},
        {103, 128}, {104, 160}, {999, 1024}, {1000, 1056}, {65000, 65056},
    };
    for (const auto& c : sc_cases) {
        Heap heap(1 << 17);
        void* block = heap.alloc(c.size);
        EXPECT_EQ(heap.getSize(block), c.node - 24) << c.size;
        EXPECT_EQ(sizeOf(heap.bank().usedList), c.node) << c.size;
        EXPECT_EQ(heap.bank().bytesInUse, c.node) << c.size;
        memset(block, 0xff, heap.getSize(block));
        EXPECT_EQ(heap.check(0), 0);
    }
}

TEST(HeapAlloc, PutsTheCallersSourceAndLineIntoTheHeader)
{
    static const char sc_source[] = "game/level";
    GameMemory memory;
    memory.defineHeap("heap", 1024);
    memory.initialize();
    char* block = static_cast<char*>(memory.alloc(0, 100, sc_source, 4711));

    const MemoryHeapNode_s* node = memory.banks[0].usedList;
    EXPECT_EQ(reinterpret_cast<const char*>(node), block - 24);
    EXPECT_EQ(magicOf(node), 0xfeedfaceu);
    EXPECT_EQ(sizeOf(node), 128u);
    EXPECT_EQ(node->file, sc_source); // the pointer, not the text
    EXPECT_EQ(lineOf(node), 4711u);
    EXPECT_EQ(node->next, nullptr);
    EXPECT_EQ(node->prev, nullptr);
}

// Six words of 32 bits in front of the block, on every host.
TEST(HeapAlloc, KeepsTheHeaderWhereToolsLookForIt)
{
    EXPECT_EQ(sizeof(MemoryHeapNode_s), 24u);
    Heap heap(1024);
    void* block = heap.MemoryMgr::alloc(0, 100, "test", 0x01020304);
    EXPECT_EQ(heap.at(block), 24);
    EXPECT_EQ(headerWord(block, 0), 0xfeedfaceu);
    EXPECT_EQ(headerWord(block, 1), 128u);
    EXPECT_EQ(headerWord(block, 3), 0x01020304u);
    EXPECT_EQ(headerWord(heap.bank().base + 128 + 24, 0), 0xdeadf00du);
    EXPECT_EQ(headerWord(heap.bank().base + 128 + 24, 1), 896u);
}

TEST(HeapAlloc, StoresANullSourceAsNull)
{
    GameMemory memory;
    memory.defineHeap("heap", 64);
    memory.initialize();
    memory.alloc(0, 1, nullptr, 0);
    EXPECT_EQ(memory.banks[0].usedList->file, nullptr);
}

TEST(HeapAlloc, TellsManySourcesApart)
{
    static char s_sources[5000];
    GameMemory memory;
    memory.defineHeap("heap", 5000 * 32);
    memory.initialize();
    std::vector<void*> blocks;
    for (char& source : s_sources) {
        blocks.push_back(memory.alloc(0, 1, &source, 1));
    }
    const MemoryHeapNode_s* node = memory.banks[0].usedList;
    for (int i = 4999; i >= 0; --i, node = node->next) {
        ASSERT_EQ(node->file, &s_sources[i]);
    }
}

TEST(HeapAlloc, SplitsFromTheFrontAndListsTheNewestFirst)
{
    Heap heap(1024);
    EXPECT_EQ(heap.at(heap.allocNode(32)), 24);
    EXPECT_EQ(heap.at(heap.allocNode(64)), 32 + 24);
    EXPECT_EQ(heap.at(heap.allocNode(96)), 96 + 24);
    EXPECT_EQ(usedNodes(heap), "96+96 32+64 0+32");
    EXPECT_EQ(freeNodes(heap), "192+832");
}

TEST(HeapAlloc, CountsNodesAndBytes)
{
    Heap heap(1024);
    void* first = heap.allocNode(32);
    heap.allocNode(64);
    EXPECT_EQ(heap.bank().allocCount, 2u);
    EXPECT_EQ(heap.bank().usedNodeCount, 2u);
    EXPECT_EQ(heap.bank().freeNodeCount, 1u);
    EXPECT_EQ(heap.bank().bytesInUse, 96u);
    EXPECT_EQ(heap.bank().peakBytes, 96u);

    heap.free(first);
    EXPECT_EQ(heap.bank().freeCount, 1u);
    EXPECT_EQ(heap.bank().usedNodeCount, 1u);
    EXPECT_EQ(heap.bank().freeNodeCount, 2u);
    EXPECT_EQ(heap.bank().bytesInUse, 64u);
    EXPECT_EQ(heap.bank().peakBytes, 96u); // the most there has been
    EXPECT_EQ(heap.bank().allocCount, 2u);

    heap.allocNode(32);
    EXPECT_EQ(heap.bank().peakBytes, 96u);
    EXPECT_EQ(heap.bank().size, 1024u);
    EXPECT_EQ(Source::takeLog(), ""); // all of it from the bank's own memory
}

TEST(HeapAlloc, SplitsANodeOnlyWhereMoreThanAHeaderIsLeft)
{
    static const struct {
        unsigned int bank;
        unsigned int asked;
        unsigned int given;
    } sc_cases[] = {
        {64, 32, 32},                             // 32 + 24 < 64
        {64, 64, 64}, {80, 64, 80}, {56, 32, 56}, // exactly a header would be left
        {57, 32, 32}, {88, 64, 88}, {89, 64, 64}, {95, 64, 64},
    };
    for (const auto& c : sc_cases) {
        GameMemory memory;
        memory.defineHeap("heap", 1024);
        writeFile(memory.bankSizePath, "heap=" + std::to_string(c.bank));
        memory.initialize();
        void* block = memory.alloc(0, c.asked - 25, "test", 1);
        EXPECT_EQ(memory.getSize(0, block), c.given - 24) << c.bank;
        EXPECT_EQ(memory.banks[0].bytesInUse, c.given) << c.bank;
        EXPECT_EQ(memory.banks[0].freeNodeCount, c.given == c.bank ? 0u : 1u) << c.bank;
        EXPECT_EQ(memory.check(0), 0) << c.bank;
        EXPECT_EQ(memory.free(0, block), 0);
        EXPECT_EQ(sizeOf(memory.banks[0].freeList), c.bank);
    }
}

// A heap whose free nodes are, from its start, as large as given, each with a node in use behind it.
class SplitHeap : public Heap {
public:
    explicit SplitHeap(const std::vector<unsigned int>& nodes) : Heap(sum(nodes))
    {
        std::vector<void*> blocks;
        for (const unsigned int size : nodes) {
            blocks.push_back(allocNode(size));
            allocNode(32);
        }
        for (void* block : blocks) {
            free(block);
        }
    }

private:
    static unsigned int sum(const std::vector<unsigned int>& nodes)
    {
        unsigned int size = 0;
        for (const unsigned int node : nodes) {
            size += node + 32;
        }
        return size;
    }
};

TEST(HeapAlloc, KeepsFreeNodesFromSmallToLarge)
{
    SplitHeap heap({96, 32, 128, 64});
    EXPECT_EQ(freeNodes(heap), "128+32 352+64 0+96 192+128");
}

TEST(HeapAlloc, ListsTheLatestOfEqualNodesFirst)
{
    SplitHeap heap({64, 32, 64, 32, 64});
    EXPECT_EQ(freeNodes(heap), "256+32 96+32 320+64 160+64 0+64");
}

TEST(HeapAlloc, TakesTheSmallestNodeThatFits)
{
    SplitHeap heap({256, 96, 160, 64});
    EXPECT_EQ(heap.at(heap.allocNode(96)), 288 + 24);
    EXPECT_EQ(heap.at(heap.allocNode(96)), 416 + 24); // the one of 160, of which 64 are left
    EXPECT_EQ(freeNodes(heap), "512+64 608+64 0+256");
}

TEST(HeapAlloc, TakesTheLatestOfEqualNodes)
{
    SplitHeap heap({64, 64, 64});
    EXPECT_EQ(heap.at(heap.allocNode(64)), 192 + 24);
    EXPECT_EQ(heap.at(heap.allocNode(64)), 96 + 24);
    EXPECT_EQ(heap.at(heap.allocNode(64)), 0 + 24);
}

TEST(HeapAlloc, ListsTheRestOfASplitNodeBeforeNodesOfTheSameSize)
{
    SplitHeap heap({96, 64, 160});
    EXPECT_EQ(heap.at(heap.allocNode(128)), 224 + 24); // leaves 32
    EXPECT_EQ(freeNodes(heap), "352+32 128+64 0+96");
    EXPECT_EQ(heap.at(heap.allocNode(32)), 352 + 24);
    EXPECT_EQ(heap.at(heap.allocNode(32)), 128 + 24); // leaves 32
    EXPECT_EQ(heap.at(heap.allocNode(64)), 0 + 24);   // leaves 32
    EXPECT_EQ(freeNodes(heap), "64+32 160+32");
}

TEST(HeapAlloc, UsesUpTheWholeBank)
{
    Heap heap(32 * 32);
    for (int i = 0; i < 32; ++i) {
        EXPECT_EQ(heap.at(heap.allocNode(32)), i * 32 + 24);
    }
    EXPECT_EQ(heap.bank().freeList, nullptr);
    EXPECT_EQ(heap.bank().freeNodeCount, 0u);
    EXPECT_EQ(heap.bank().extNodeCount, 0u);
    EXPECT_EQ(heap.check(0), 0);
}

TEST(HeapFree, OfThreeBlocksInAnyOrderLeavesOneNode)
{
    std::string order = "012";
    do {
        Heap heap(1024);
        void* blocks[] = {heap.alloc(10), heap.alloc(200), heap.alloc(30)};
        for (const char digit : order) {
            EXPECT_EQ(heap.free(blocks[digit - '0']), 0);
        }
        EXPECT_EQ(freeNodes(heap), "0+1024") << order;
        EXPECT_EQ(heap.bank().freeNodeCount, 1u);
        EXPECT_EQ(heap.bank().usedNodeCount, 0u);
        EXPECT_EQ(heap.bank().bytesInUse, 0u);
        EXPECT_EQ(heap.check(0, true), 0);
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(HeapFree, JoinsANodeWithTheFreeNodeBeforeIt)
{
    Heap heap(160);
    void* a = heap.allocNode(32);
    void* b = heap.allocNode(64);
    heap.allocNode(64);
    heap.free(a);
    heap.free(b);
    EXPECT_EQ(freeNodes(heap), "0+96");
    EXPECT_EQ(heap.bank().freeNodeCount, 1u);
}

TEST(HeapFree, JoinsANodeWithTheFreeNodeAfterIt)
{
    Heap heap(160);
    void* a = heap.allocNode(32);
    void* b = heap.allocNode(64);
    heap.allocNode(64);
    heap.free(b);
    heap.free(a);
    EXPECT_EQ(freeNodes(heap), "0+96");
    EXPECT_EQ(heap.bank().freeNodeCount, 1u);
}

TEST(HeapFree, JoinsANodeWithTheFreeNodesBeforeAndAfterIt)
{
    Heap heap(256);
    void* a = heap.allocNode(32);
    void* b = heap.allocNode(64);
    void* c = heap.allocNode(96);
    heap.allocNode(64);
    heap.free(a);
    heap.free(c);
    EXPECT_EQ(freeNodes(heap), "0+32 96+96");
    heap.free(b);
    EXPECT_EQ(freeNodes(heap), "0+192");
    EXPECT_EQ(heap.bank().freeNodeCount, 1u);
}

TEST(HeapFree, PutsAJoinedNodeWhereItsNewSizeBelongs)
{
    SplitHeap heap({64, 160, 128});
    EXPECT_EQ(freeNodes(heap), "0+64 288+128 96+160");
    heap.free(heap.bank().base + 64 + 24); // between the first two
    EXPECT_EQ(freeNodes(heap), "288+128 0+256");
}

TEST(HeapFree, ListsAJoinedNodeBeforeNodesOfTheSameSize)
{
    SplitHeap heap({32, 64, 128});
    heap.free(heap.bank().base + 32 + 24); // 32 + 32 + 64
    EXPECT_EQ(freeNodes(heap), "0+128 160+128");
}

TEST(HeapFree, RemovesABlockFromAnyPlaceInTheUsedList)
{
    Heap heap(128);
    void* a = heap.allocNode(32);
    void* b = heap.allocNode(32);
    void* c = heap.allocNode(32);
    void* d = heap.allocNode(32);
    heap.free(c);
    EXPECT_EQ(usedNodes(heap), "96+32 32+32 0+32");
    heap.free(a);
    EXPECT_EQ(usedNodes(heap), "96+32 32+32");
    heap.free(d);
    EXPECT_EQ(usedNodes(heap), "32+32");
    heap.free(b);
    EXPECT_EQ(usedNodes(heap), "");
}

TEST(HeapFree, NeverJoinsNodesOfDifferentBanks)
{
    GameMemory memory;
    memory.defineHeap("first", 64);
    memory.defineHeap("second", 64);
    memory.initialize();
    void* first = memory.alloc(0, 39, "test", 1);
    void* second = memory.alloc(1, 39, "test", 1);
    memory.free(1, second);
    memory.free(0, first);
    EXPECT_EQ(sizeOf(memory.banks[0].freeList), 64u);
    EXPECT_EQ(sizeOf(memory.banks[1].freeList), 64u);
    EXPECT_EQ(memory.check(0, true), 0);
    EXPECT_EQ(memory.check(1, true), 0);
}

TEST(HeapFree, OfNullDoesNothingAndCountsNothing)
{
    Heap heap(1024);
    EXPECT_EQ(heap.free(nullptr), 0);
    EXPECT_EQ(heap.MemoryMgr::free(-1, nullptr), 0);
    EXPECT_EQ(heap.bank().freeCount, 0u);
    EXPECT_EQ(heap.systemBank.freeCount, 0u);
}

TEST(HeapFree, OfABlockTwiceAnswersMemerrBlockAndLeavesTheBankAsItWas)
{
    Heap heap(1024);
    void* block = heap.alloc(100);
    heap.alloc(100);
    EXPECT_EQ(heap.free(block), 0);
    EXPECT_EQ(heap.free(block), MEMERR_BLOCK);
    EXPECT_EQ(heap.bank().freeCount, 1u);
    EXPECT_EQ(heap.bank().usedNodeCount, 1u);
    EXPECT_EQ(heap.bank().freeNodeCount, 2u);
    EXPECT_EQ(heap.bank().bytesInUse, 128u);
    EXPECT_EQ(freeNodes(heap), "0+128 256+768");
    EXPECT_EQ(heap.check(0), 0);
}

TEST(HeapFree, RefusesAFreedBlockThatIsPartOfALargerNode)
{
    Heap heap(1024);
    void* a = heap.alloc(100);
    void* b = heap.alloc(100);
    void* c = heap.alloc(100);
    heap.free(a);
    heap.free(b);
    heap.free(c); // one node again, but each old header is left as it was
    EXPECT_EQ(heap.free(a), MEMERR_BLOCK);
    EXPECT_EQ(heap.free(b), MEMERR_BLOCK);
    EXPECT_EQ(heap.free(c), MEMERR_BLOCK);
    EXPECT_EQ(headerWord(b, 0), 0xdeadf00du);
    EXPECT_EQ(freeNodes(heap), "0+1024");
}

#if UINTPTR_MAX > 0xffffffffu // a 32-bit build does not see the difference: its links are plain pointers

// A stray write has set the top bit of the size. Only fallback blocks have this bit, so the location would get an address
// that it has not given. But the links of the block are not those of a fallback block.
TEST(HeapFree, RefusesABlockOfTheRegionWhoseSizeIsThatOfAFallbackBlock)
{
    Heap memory(1024);
    void* block = memory.alloc(100);
    const unsigned int size = headerWord(block, 1);
    setHeaderWord(block, 1, size | 0x80000000);
    const std::string before(reinterpret_cast<const char*>(&memory.bank()), sizeof(MemoryBank_s));
    EXPECT_EQ(memory.free(block), MEMERR_BLOCK);
    EXPECT_EQ(Source::takeLog(), "");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&memory.bank()), sizeof(MemoryBank_s)), before);
    setHeaderWord(block, 1, size);
    EXPECT_EQ(memory.free(block), 0);
    EXPECT_EQ(memory.check(0, true), 0);
}

#endif

TEST(HeapFree, OfAPointerThatIsNoBlockAnswersMemerrBlock)
{
    Heap heap(1024);
    struct {
        unsigned char before[24]; // as far as free looks back
        char object;
    } ours = {};
    EXPECT_EQ(heap.free(&ours.object), MEMERR_BLOCK);
    memset(ours.before, 0xff, sizeof(ours.before));
    EXPECT_EQ(heap.free(&ours.object), MEMERR_BLOCK);

    char* block = static_cast<char*>(heap.alloc(100));
    memset(block, 0, 100);
    EXPECT_EQ(heap.free(block + 24), MEMERR_BLOCK);
    EXPECT_EQ(heap.free(block + 25), MEMERR_BLOCK); // wherever it is
    EXPECT_EQ(heap.check(0), 0);
    EXPECT_EQ(heap.bank().freeCount, 0u);
    EXPECT_EQ(heap.free(block), 0);
}

TEST(HeapGetSize, IsTheSizeThatTheCallerMayUse)
{
    Heap heap(1024);
    EXPECT_EQ(heap.getSize(heap.alloc(1)), 8u);
    EXPECT_EQ(heap.getSize(heap.alloc(8)), 40u);
    EXPECT_EQ(heap.getSize(nullptr), 0u);
    void* outside = heap.alloc(2000);
    EXPECT_EQ(heap.getSize(outside), 2048u - 24); // without the bit that says where it lies
    memset(outside, 0xff, 2024);
    heap.free(outside);
}

TEST(Fallback, ServesRequestsForWhichTheHeapHasNoRoom)
{
    GameMemory memory;
    Source::serve(memory, MEMLOC_CUSTOM);
    memory.defineBank(MEMLOC_CUSTOM, MEMBANK_HEAP, "heap", 64);
    memory.initialize();
    Source::takeLog();
    static const char sc_source[] = "game/level";
    const MemoryBank_s& bank = memory.banks[0];

    char* block = static_cast<char*>(memory.alloc(0, 100, sc_source, 4711));
    EXPECT_EQ(Source::takeLog(), "alloc 128 = #2"); // from the bank's own location, header included
    EXPECT_EQ(block, Source::block(2) + 24);
    EXPECT_EQ(bank.extList, reinterpret_cast<MemoryHeapNode_s*>(Source::block(2)));
    EXPECT_EQ(magicOf(bank.extList), 0xfeedfaceu);
    EXPECT_EQ(sizeOf(bank.extList), 0x80000080u);
    EXPECT_EQ(bank.extList->file, sc_source);
    EXPECT_EQ(lineOf(bank.extList), 4711u);
    EXPECT_EQ(bank.extList->next, nullptr);
    EXPECT_EQ(bank.extList->prev, nullptr);
    EXPECT_EQ(headerWord(block, 1), 0x80000080u);

    EXPECT_EQ(bank.allocCount, 1u);
    EXPECT_EQ(bank.extNodeCount, 1u);
    EXPECT_EQ(bank.usedNodeCount, 0u);
    EXPECT_EQ(bank.freeNodeCount, 1u);
    EXPECT_EQ(bank.bytesInUse, 128u);
    EXPECT_EQ(bank.peakBytes, 128u);
    EXPECT_EQ(sizeOf(bank.freeList), 64u);

    EXPECT_EQ(memory.free(0, block), 0);
    EXPECT_EQ(Source::takeLog(), "free #2");
    EXPECT_EQ(bank.extList, nullptr);
    EXPECT_EQ(bank.freeCount, 1u);
    EXPECT_EQ(bank.extNodeCount, 1u); // for good
    EXPECT_EQ(bank.bytesInUse, 0u);
    EXPECT_EQ(bank.peakBytes, 128u);
    EXPECT_EQ(bank.freeNodeCount, 1u);
}

TEST(Fallback, SmallerRequestsAreStillServedByTheBank)
{
    Heap heap(64);
    heap.alloc(100);
    EXPECT_EQ(heap.at(heap.allocNode(64)), 24);
    heap.alloc(1);
    EXPECT_EQ(Source::takeLog(), "alloc 128 = #2, alloc 32 = #3");
    EXPECT_EQ(heap.bank().bytesInUse, 128u + 64u + 32u);
}

// In a 64-bit build, both links of a fallback block name the same entry of a table. In a 32-bit build they are pointers.
TEST(Fallback, FreeRefusesABlockWithADamagedLinkWhereLinksAreEntriesOfATable)
{
    if (sizeof(void*) == 4) {
        return;
    }
    Heap heap(1024);
    void* block = heap.alloc(2000);
    Source::takeLog();
    for (int word : {4, 5}) {
        for (int bit = 0; bit < 32; ++bit) {
            setHeaderWord(block, word, headerWord(block, word) ^ 1u << bit);
            EXPECT_EQ(heap.free(block), MEMERR_BLOCK) << word << " " << bit;
            setHeaderWord(block, word, headerWord(block, word) ^ 1u << bit);
        }
    }
    EXPECT_EQ(Source::takeLog(), "");
    EXPECT_EQ(heap.free(block), 0);
    EXPECT_EQ(heap.bank().extList, nullptr);
}

TEST(Fallback, ListsTheNewestBlockFirstAndFreesBlocksInAnyOrder)
{
    static const struct {
        std::string order;
        std::string left[3]; // blocks on the list after each free
    } sc_cases[] = {
        {"123", {"32", "3", ""}}, {"132", {"32", "2", ""}}, {"213", {"31", "3", ""}},
        {"231", {"31", "1", ""}}, {"312", {"21", "2", ""}}, {"321", {"21", "1", ""}},
    };
    for (const auto& c : sc_cases) {
        Source::startAnew();
        Heap heap(32);
        char* blocks[] = {nullptr, static_cast<char*>(heap.alloc(100)), static_cast<char*>(heap.alloc(200)),
                          static_cast<char*>(heap.alloc(300))};
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(heap.free(blocks[c.order[i] - '0']), 0);
            std::string left;
            const MemoryHeapNode_s* before = nullptr;
            for (const MemoryHeapNode_s* node = heap.bank().extList; node; before = node, node = node->next) {
                EXPECT_EQ(node->prev, before);
                left += std::to_string(Source::number(node) - 1); // #1 is the bank's own memory
            }
            EXPECT_EQ(left, c.left[i]) << c.order;
        }
    }
}

TEST(Fallback, BlocksMayLieAnywhere)
{
    Source::offset = 3;
    Heap heap(32);
    std::vector<char*> blocks;
    for (int i = 0; i < 100; ++i) {
        blocks.push_back(static_cast<char*>(heap.alloc(1000)));
        memset(blocks.back(), 0xff, 1000);
    }
    for (char* block : blocks) {
        EXPECT_EQ(heap.free(block), 0);
    }
    EXPECT_EQ(heap.bank().extList, nullptr);
    EXPECT_EQ(heap.bank().extNodeCount, 100u);
}

TEST(Fallback, ServesTheSystemBankAlways)
{
    Heap heap(1024);
    void* block = heap.MemoryMgr::alloc(-1, 100, "test", 7);
    EXPECT_EQ(Source::takeLog(), "alloc 128 = #2");
    EXPECT_EQ(headerWord(block, 0), 0xfeedfaceu);
    EXPECT_EQ(headerWord(block, 1), 0x80000080u);
    EXPECT_EQ(headerWord(block, 3), 7u);
    EXPECT_EQ(heap.systemBank.allocCount, 1u);
    EXPECT_EQ(heap.systemBank.extNodeCount, 1u);
    EXPECT_EQ(heap.systemBank.bytesInUse, 128u);
    EXPECT_EQ(heap.systemBank.peakBytes, 128u);
    EXPECT_EQ(heap.bank().allocCount, 0u);

    EXPECT_EQ(heap.MemoryMgr::free(-1, block), 0);
    EXPECT_EQ(Source::takeLog(), "free #2");
    EXPECT_EQ(heap.systemBank.freeCount, 1u);
    EXPECT_EQ(heap.systemBank.bytesInUse, 0u);

    struct {
        unsigned char before[24];
        char object;
    } ours = {};
    EXPECT_EQ(heap.MemoryMgr::free(-1, &ours.object), MEMERR_BLOCK);
    EXPECT_EQ(heap.MemoryMgr::getSize(-1, block), 0u); // it has no sizes to tell
}

TEST(LinearAlloc, HandsOutConsecutiveMultiplesOf32WithoutHeaders)
{
    Linear linear(1024);
    EXPECT_EQ(linear.at(linear.alloc(1)), 0);
    EXPECT_EQ(linear.at(linear.alloc(32)), 32); // a multiple stays as it is
    EXPECT_EQ(linear.at(linear.alloc(33)), 64);
    EXPECT_EQ(linear.at(linear.alloc(64)), 128);
    EXPECT_EQ(linear.at(linear.bank().cursor), 192);
    EXPECT_EQ(linear.bank().allocCount, 4u);
    EXPECT_EQ(linear.bank().bytesInUse, 192u);
    EXPECT_EQ(linear.bank().peakBytes, 192u);
    EXPECT_EQ(linear.bank().usedNodeCount, 0u);
    EXPECT_EQ(linear.bank().extNodeCount, 0u);
    EXPECT_EQ(Source::takeLog(), "");
}

TEST(LinearAlloc, Of0BytesReturnsNullAndCountsNothing)
{
    Linear linear(1024);
    EXPECT_EQ(linear.alloc(0), nullptr);
    EXPECT_EQ(linear.bank().allocCount, 0u);
    EXPECT_EQ(linear.bank().bytesInUse, 0u);
}

TEST(LinearAlloc, FillsTheBankToTheLastByte)
{
    Linear linear(96);
    EXPECT_EQ(linear.at(linear.alloc(32)), 0);
    EXPECT_EQ(linear.at(linear.alloc(64)), 32);
    EXPECT_EQ(linear.bank().extNodeCount, 0u);
    EXPECT_EQ(linear.bank().bytesInUse, 96u);
}

TEST(LinearAlloc, SendsWhatDoesNotFitToTheFallback)
{
    Linear linear(96);
    linear.alloc(32);
    void* block = linear.MemoryMgr::alloc(0, 65, "test", 7);
    EXPECT_EQ(Source::takeLog(), "alloc 120 = #2"); // 96 and a header
    EXPECT_EQ(block, Source::block(2) + 24);
    EXPECT_EQ(headerWord(block, 0), 0xfeedfaceu);
    EXPECT_EQ(headerWord(block, 1), 0x80000078u);
    EXPECT_EQ(headerWord(block, 3), 7u);
    EXPECT_EQ(linear.bank().allocCount, 2u);
    EXPECT_EQ(linear.bank().extNodeCount, 1u);
    EXPECT_EQ(linear.bank().bytesInUse, 32u + 120u);
    EXPECT_EQ(linear.bank().peakBytes, 32u + 120u);
}

TEST(LinearAlloc, AfterTheFirstFallbackBlockAllFollowUntilTheNextReset)
{
    Linear linear(1024);
    linear.alloc(32);
    linear.alloc(1000);
    linear.alloc(1); // 992 bytes of the bank are free
    EXPECT_EQ(Source::takeLog(), "alloc 1048 = #2, alloc 56 = #3");
    EXPECT_EQ(linear.at(linear.bank().cursor), 32);
    linear.free(nullptr);
    EXPECT_EQ(linear.at(linear.alloc(1)), 0);
}

// However much lies outside: the sum of it all may pass 32 bits on a host with more memory than that.
TEST(LinearAlloc, NeverReturnsBytesPastTheEndOfTheBank)
{
    Linear linear(1024);
    linear.alloc(960);
    linear.banks[0].bytesInUse = 0xffffffe0u;
    linear.alloc(64);
    linear.alloc(512);
    EXPECT_EQ(Source::takeLog(), "alloc 88 = #2, alloc 536 = #3");
}

TEST(LinearFree, EmptiesTheBankWhateverPointerIsPassed)
{
    Linear linear(1024);
    char* block = static_cast<char*>(linear.alloc(100));
    int ours = 0;
    for (void* given : {static_cast<void*>(nullptr), static_cast<void*>(block), static_cast<void*>(block + 1),
                        static_cast<void*>(&ours)}) {
        linear.alloc(100);
        EXPECT_EQ(linear.free(given), 0);
        EXPECT_EQ(linear.bank().bytesInUse, 0u);
        EXPECT_EQ(linear.bank().cursor, linear.bank().base);
    }
    EXPECT_EQ(linear.bank().freeCount, 4u); // resets, not blocks
    EXPECT_EQ(linear.bank().allocCount, 5u);
    EXPECT_EQ(linear.bank().peakBytes, 256u);
    EXPECT_EQ(linear.alloc(1), block);
    EXPECT_EQ(Source::takeLog(), "");
}

TEST(LinearFree, OfAnEmptyBankCountsToo)
{
    Linear linear(1024);
    EXPECT_EQ(linear.free(nullptr), 0);
    EXPECT_EQ(linear.bank().freeCount, 1u);
}

TEST(LinearFree, LeavesABankThatWasJustFullAsItIs)
{
    Linear linear(64);
    linear.alloc(64);
    linear.free(nullptr);
    EXPECT_EQ(Source::takeLog(), "");
    EXPECT_EQ(linear.bank().size, 64u);
}

TEST(LinearFree, GrowsABankThatHasOverflowedByHalf)
{
    Linear linear(1024);
    for (int i = 0; i < 40; ++i) {
        memset(linear.alloc(32), 0xff, 32);
        EXPECT_EQ(linear.bank().extNodeCount, i < 32 ? 0u : i - 31u); // the 33rd is the first outside
    }
    EXPECT_EQ(linear.bank().bytesInUse, 1024u + 8 * 56u);
    Source::takeLog();

    EXPECT_EQ(linear.free(nullptr), 0);
    const std::string log = Source::takeLog();
    for (int block = 2; block <= 9; ++block) {
        EXPECT_NE(log.find("free #" + std::to_string(block)), std::string::npos) << log;
    }
    const std::string last = "realloc #1 1536 = #10";
    EXPECT_EQ(log.substr(log.length() - last.length()), last);

    EXPECT_EQ(linear.bank().size, 1536u);
    EXPECT_EQ(linear.bank().base, Source::block(10));
    EXPECT_EQ(linear.bank().cursor, Source::block(10));
    EXPECT_EQ(linear.bank().extList, nullptr);
    EXPECT_EQ(linear.bank().bytesInUse, 0u);
    EXPECT_EQ(linear.bank().freeCount, 1u);
    EXPECT_EQ(linear.bank().extNodeCount, 8u);
    EXPECT_EQ(linear.bank().peakBytes, 1472u);

    for (int i = 0; i < 48; ++i) {
        memset(linear.alloc(32), 0xff, 32);
    }
    EXPECT_EQ(linear.bank().extNodeCount, 8u); // all 48 of them inside
}

TEST(LinearFree, GrowsABankAtLeastToWhatWasInUse)
{
    Linear linear(1024);
    linear.alloc(5000);
    linear.free(nullptr);
    EXPECT_EQ(Source::takeLog(), "alloc 5048 = #2, free #2, realloc #1 5048 = #3");
    EXPECT_EQ(linear.bank().size, 5048u);
}

TEST(LinearFree, ComputesHalfOfTheSizeInSinglePrecision)
{
    static const struct {
        unsigned int size;
        unsigned int grown;
    } sc_cases[] = {
        {1, 2},       // no half of it, but what was in use
        {1001, 1501}, // 500.5 loses its fraction
        {1000003, 1500004},
        {16777217, 25165825},     // half of 16777216
        {33554435, 50331653},     // half of 33554436
        {1400000001, 2100000001}, // half of 1400000000
    };
    for (const auto& c : sc_cases) {
        GameMemory memory;
        Endless::serve(memory, MEMLOC_CUSTOM);
        memory.defineBank(MEMLOC_CUSTOM, MEMBANK_LINEAR, "bank", 32);
        writeFile(memory.bankSizePath, "bank=" + std::to_string(c.size));
        memory.initialize();
        memory.banks[0].bytesInUse = c.size + 1;
        memory.free(0, nullptr);
        EXPECT_EQ(memory.getMemoryBankSize(0), c.grown) << c.size;
        EXPECT_EQ(Endless::s_asked, c.grown) << c.size;
    }
}

TEST(LinearFree, GivesTheOldMemoryBackWhenItCannotGrow)
{
    Linear linear(1024);
    linear.alloc(2000);
    Source::takeLog();
    Source::largest = 1024;
    EXPECT_EQ(linear.free(nullptr), 0);
    EXPECT_EQ(Source::takeLog(), "free #2, realloc #1 2040 = null, free #1");
    EXPECT_EQ(linear.bank().base, nullptr);
    EXPECT_EQ(linear.bank().cursor, nullptr);
    EXPECT_EQ(linear.bank().bytesInUse, 0u);

    void* block = linear.alloc(100); // from the fallback from now on
    EXPECT_EQ(Source::takeLog(), "alloc 152 = #3");
    memset(block, 0xff, 100);
}

TEST(LinearFree, GivesTheOldMemoryBackWhenThereAreNo2GiBToGrowTo)
{
    GameMemory memory;
    Source::serve(memory, MEMLOC_CUSTOM);
    memory.defineBank(MEMLOC_CUSTOM, MEMBANK_LINEAR, "bank", 32);
    memory.initialize();
    memory.banks[0].bytesInUse = 0x80000000u;
    Source::largest = 1024;
    EXPECT_EQ(memory.free(0, nullptr), 0);
    EXPECT_EQ(Source::takeLog(), "alloc 32 = #1, realloc #1 2147483648 = null, free #1");
    EXPECT_EQ(memory.getMemoryBankSize(0), 0x80000000u);
    EXPECT_EQ(memory.banks[0].base, nullptr);
    EXPECT_EQ(memory.banks[0].cursor, nullptr);
}

TEST(LinearFree, OfABankWithoutMemoryGivesItsBlocksBack)
{
    GameMemory memory;
    Source::serve(memory, MEMLOC_CUSTOM);
    memory.defineBank(MEMLOC_CUSTOM, MEMBANK_LINEAR, "bank", 1024);
    Source::largest = 512;
    memory.initialize();
    memory.alloc(0, 100, "test", 1); // far from overflowing the size it should have
    EXPECT_EQ(memory.free(0, nullptr), 0);
    EXPECT_EQ(Source::takeLog(), "alloc 1024 = null, alloc 152 = #1, free #1");
    EXPECT_EQ(memory.banks[0].extList, nullptr);
    EXPECT_EQ(memory.getMemoryBankSize(0), 1024u);
}

TEST(LinearFree, WithoutAReallocCallbackTheBankKeepsItsMemory)
{
    GameMemory memory;
    memory.defineLocAllocCb(MEMLOC_CUSTOM, Source::alloc);
    memory.defineLocFreeCb(MEMLOC_CUSTOM, Source::free);
    memory.defineBank(MEMLOC_CUSTOM, MEMBANK_LINEAR, "bank", 32);
    memory.initialize();
    memory.alloc(0, 100, "test", 1);
    EXPECT_EQ(memory.free(0, nullptr), 0);
    EXPECT_EQ(Source::takeLog(), "alloc 32 = #1, alloc 152 = #2, free #2, free #1");
    EXPECT_EQ(memory.banks[0].base, nullptr);
}

TEST(LinearGetSize, IsAlways0)
{
    Linear linear(64);
    EXPECT_EQ(linear.getSize(linear.alloc(32)), 0u);
    EXPECT_EQ(linear.getSize(linear.alloc(1000)), 0u);
    EXPECT_EQ(linear.getSize(nullptr), 0u);
}

TEST(OtherBanks, RequestExactlyTheCallersSizeFromTheirLocation)
{
    OneBank other(MEMBANK_OTHER, 1024);
    char* block = static_cast<char*>(other.alloc(100));
    EXPECT_EQ(Source::takeLog(), "alloc 100 = #1");
    EXPECT_EQ(block, Source::block(1) + 24); // the header is in it
    EXPECT_EQ(headerWord(block, 1), 0x80000064u);
    EXPECT_EQ(other.bank().allocCount, 1u);
    EXPECT_EQ(other.bank().extNodeCount, 1u);
    EXPECT_EQ(other.bank().bytesInUse, 100u);
    EXPECT_EQ(other.bank().peakBytes, 100u);
    memset(block, 0xff, 76);
}

TEST(OtherBanks, RequestAtLeastTheSizeOfAHeader)
{
    OneBank other(MEMBANK_OTHER, 1024);
    other.alloc(1);
    other.alloc(23);
    other.alloc(24);
    other.alloc(25);
    EXPECT_EQ(Source::takeLog(), "alloc 24 = #1, alloc 24 = #2, alloc 24 = #3, alloc 25 = #4");
    EXPECT_EQ(other.alloc(0), nullptr);
    EXPECT_EQ(Source::takeLog(), "");
}

TEST(OtherBanks, ReturnSize0AndFreeNothing)
{
    OneBank other(MEMBANK_OTHER, 1024);
    void* block = other.alloc(100);
    Source::takeLog();
    EXPECT_EQ(other.free(block), 0);
    EXPECT_EQ(other.free(nullptr), 0);
    EXPECT_EQ(other.getSize(block), 0u);
    EXPECT_EQ(Source::takeLog(), "");
    EXPECT_EQ(other.bank().freeCount, 0u);
    EXPECT_EQ(other.bank().bytesInUse, 100u);
    EXPECT_NE(other.bank().extList, nullptr);
}

// A location that lives in bank 0 and keeps its accounts in the very bank it serves, bank 1.
struct Nested {
    static inline char s_ground[64]; // before there is a bank 0
    static inline std::vector<void*> s_accounts;

    static void* alloc(unsigned long size)
    {
        if (size == sizeof(s_ground)) {
            return s_ground;
        }
        s_accounts.push_back(g_MemoryPtr->alloc(1, 1, "account", 1));
        return g_MemoryPtr->alloc(0, size, "nested", 1);
    }
    static void free(void* block)
    {
        if (block != s_ground) {
            EXPECT_EQ(g_MemoryPtr->free(1, s_accounts.back()), 0);
            EXPECT_EQ(g_MemoryPtr->free(0, block), 0);
            s_accounts.pop_back();
        }
    }
};

TEST(Callbacks, MayCallTheManager)
{
    GameMemory memory;
    memory.defineLocAllocCb(MEMLOC_CUSTOM, Nested::alloc);
    memory.defineLocFreeCb(MEMLOC_CUSTOM, Nested::free);
    memory.defineHeap("heap", 4096);
    memory.defineBank(MEMLOC_CUSTOM, MEMBANK_HEAP, "nested", sizeof(Nested::s_ground));
    memory.initialize();

    void* first = memory.alloc(1, 100, "test", 1);
    void* second = memory.alloc(1, 200, "test", 2);
    memset(first, 0xff, 100);
    memset(second, 0xff, 200);
    EXPECT_EQ(memory.banks[0].usedNodeCount, 2u);
    EXPECT_EQ(memory.banks[1].usedNodeCount, 2u); // the two accounts
    EXPECT_EQ(memory.banks[1].extNodeCount, 2u);
    EXPECT_EQ(memory.banks[1].allocCount, 4u);
    EXPECT_EQ(memory.banks[1].bytesInUse, 2 * 32u + 128u + 256u);

    EXPECT_EQ(memory.free(1, first), 0);
    EXPECT_EQ(memory.free(1, second), 0);
    EXPECT_EQ(memory.check(0, true), 0);
    EXPECT_EQ(memory.check(1, true), MEMERR_OVERFLOW);
    EXPECT_EQ(memory.banks[1].bytesInUse, 0u);
    EXPECT_EQ(memory.banks[1].extList, nullptr);
}

TEST(LargeRequests, AreServedWhenTheHeaderCanStoreTheirSize)
{
    static const struct {
        e_MemoryBankType type;
        unsigned long size;
        unsigned long asked;
    } sc_cases[] = {
        {MEMBANK_HEAP, 0x7fffffc7, 0x7fffffe0},
        {MEMBANK_LINEAR, 0x7fffffe0, 0x7ffffff8},
        {MEMBANK_OTHER, 0x7fffffff, 0x7fffffff},
    };
    for (const auto& c : sc_cases) {
        GameMemory memory;
        Endless::serve(memory, MEMLOC_DEFAULT);
        memory.defineBank(MEMLOC_DEFAULT, c.type, "bank", 32);
        remove(memory.bankSizePath); // the round before has used 2 GiB
        memory.initialize();
        char* block = static_cast<char*>(memory.alloc(0, c.size, "test", 1));
        EXPECT_EQ(block, Endless::s_block + 24);
        EXPECT_EQ(Endless::s_asked, c.asked);
        EXPECT_EQ(headerWord(block, 1), 0x80000000u | c.asked);
        EXPECT_EQ(memory.banks[0].bytesInUse, c.asked);
        if (c.type == MEMBANK_HEAP) {
            EXPECT_EQ(memory.getSize(0, block), c.asked - 24);
        }
        EXPECT_EQ(memory.free(0, block), 0);
    }
}

class Exhausted : public testing::Test {
protected:
    // The whole of what stands on the standard error stream, as a regular expression.
    static std::string lastWords()
    {
        return std::string("^alert \\[Out of Memory Error\\] \\[") + Platform::GetAppTitle() +
               " has run out of memory and must be\nterminated\\. Please ensure that there are not any\n"
               "unnecessary programs running before attempting\nto execute this application again\\.\n\\]\n"
               "onOutOfMemory\\(0\\)\n$";
    }
};

TEST_F(Exhausted, ShowsAnAlertCallsOnOutOfMemoryAndExitsWithStatusMinus1)
{
    for (const e_MemoryBankType type : {MEMBANK_HEAP, MEMBANK_LINEAR, MEMBANK_OTHER}) {
        OneBank memory(type, 64);
        Source::largest = 0;
        EXPECT_EXIT(memory.alloc(100), testing::ExitedWithCode(255), lastWords()) << type;
        EXPECT_EXIT(memory.MemoryMgr::alloc(-1, 1, "test", 1), testing::ExitedWithCode(255), lastWords());
        Source::largest = ULONG_MAX;
    }
}

TEST_F(Exhausted, ALocationWithoutMemoryDoesNotEndTheGameWhileTheBankHasRoom)
{
    Heap heap(64);
    Source::largest = 0;
    EXPECT_NE(heap.alloc(10), nullptr);
    Source::largest = ULONG_MAX;
    Linear linear(64);
    Source::largest = 0;
    EXPECT_NE(linear.alloc(64), nullptr);
}

TEST_F(Exhausted, ALocationWithoutCallbacksEndsTheGameAtTheFirstRequest)
{
    GameMemory memory;
    memory.defineBank(MEMLOC_CUSTOM, MEMBANK_HEAP, "heap", 64);
    memory.initialize();
    EXPECT_EXIT(memory.alloc(0, 1, "test", 1), testing::ExitedWithCode(255), lastWords());
}

TEST_F(Exhausted, ASizeThatNoHeaderCanStoreEndsTheGame)
{
    static const struct {
        e_MemoryBankType type;
        unsigned long size;
    } sc_cases[] = {
        {MEMBANK_HEAP, 0x7fffffc8}, // one more than the largest node's
        {MEMBANK_HEAP, 0xffffffe7}, // with its header it is 32 bits of ones,
        {MEMBANK_HEAP, 0xffffffe8}, // 32 bits of zeros,
        {MEMBANK_HEAP, ULONG_MAX},
        {MEMBANK_HEAP, ULONG_MAX - 23}, // and no bits of anything
        {MEMBANK_HEAP, ULONG_MAX / 2 + 1},
        {MEMBANK_LINEAR, 0x7fffffe1},
        {MEMBANK_LINEAR, 0xffffffe0},
        {MEMBANK_LINEAR, 0xffffffff}, // rounded up it wraps to 0
        {MEMBANK_LINEAR, ULONG_MAX},
        {MEMBANK_LINEAR, ULONG_MAX - 31},
        {MEMBANK_LINEAR, ULONG_MAX / 2 + 1},
        {MEMBANK_OTHER, 0x80000000},
        {MEMBANK_OTHER, 0xffffffff},
        {MEMBANK_OTHER, ULONG_MAX},
#if ULONG_MAX > 0xffffffff
        {MEMBANK_HEAP, 0x100000001}, // 32 bits of it are a small request
        {MEMBANK_LINEAR, 0x100000001},
        {MEMBANK_OTHER, 0x100000030},
#endif
    };
    for (const auto& c : sc_cases) {
        GameMemory memory;
        Endless::serve(memory, MEMLOC_DEFAULT);
        memory.defineBank(MEMLOC_DEFAULT, c.type, "bank", 1024);
        memory.initialize();
        EXPECT_EXIT(memory.alloc(0, c.size, "test", 1), testing::ExitedWithCode(255), lastWords()) << c.size;
        if (c.type == MEMBANK_HEAP) {
            EXPECT_EXIT(memory.alloc(-1, c.size, "test", 1), testing::ExitedWithCode(255), lastWords()) << c.size;
        }
    }
}

TEST_F(Exhausted, OnOutOfMemoryMayUseTheBanks)
{
    class LastWill : public GameMemory {
        void onOutOfMemory(int reason) override
        {
            GameMemory::onOutOfMemory(reason);
            void* block = alloc(0, 1, "last will", 1); // the lock of this bank is ours
            fprintf(stderr, "%s, %d, %d\n", block ? "served" : "refused", free(0, block), check(0));
        }
    };
    LastWill memory;
    Source::serve(memory, MEMLOC_DEFAULT);
    memory.defineHeap("heap", 64);
    memory.initialize();
    Source::largest = 0;
    EXPECT_EXIT(memory.alloc(0, 100, "test", 1), testing::ExitedWithCode(255), "\nserved, 0, 0\n$");
}

} // namespace
