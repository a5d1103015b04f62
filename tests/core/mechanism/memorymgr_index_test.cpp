// The index of a large heap bank: how much memory it takes, that its answers are those of a walk along the free list, and
// that a bank goes on without it after other code has written to the list or to a header. memorymgr_model_test checks
// that it finds the right nodes.
#include "core/memorymgr.h"
#include "tests/support/game_memory.h"
#include "tests/support/library_memory.h"

#include <optional>

namespace {

const unsigned int sc_large = 128 << 10; // bytes: a bank that has an index

class LargeHeap : public GameMemory {
public:
    explicit LargeHeap(unsigned int size = sc_large)
    {
        Source::serve(*this, MEMLOC_DEFAULT);
        defineHeap("heap", 32);
        writeFile(bankSizePath, "heap=" + std::to_string(size));
        initialize();
    }

    // Takes a whole node of this size, a multiple of 32.
    char* allocNode(unsigned int size) { return static_cast<char*>(alloc(0, size - 25, "test", 1)); }
    int free(void* block) { return MemoryMgr::free(0, block); }

    // From its head: "96+32" is a node of 32 bytes that begins 96 bytes into the bank.
    std::string freeNodes() const
    {
        std::string text;
        const MemoryHeapNode_s* before = nullptr;
        for (const MemoryHeapNode_s* node = banks[0].freeList; node; before = node, node = node->next) {
            EXPECT_EQ(node->prev, before);
            text += (text.empty() ? "" : " ") + std::to_string(reinterpret_cast<const char*>(node) - banks[0].base) +
                    "+" + std::to_string(node->size);
        }
        return text;
    }
};

MemoryHeapNode_s* headerOf(void* block)
{
    return static_cast<MemoryHeapNode_s*>(block) - 1;
}

#ifdef WATCHES_LIBRARY_MEMORY

// The indexes of the first manager have their memory in the library, as far as it goes. While this manager exists, the
// indexes of others come from calloc.
class FirstManager : public GameMemory {
public:
    FirstManager()
    {
        defineHeap("first", sc_large);
        initialize();
    }
};

// What initialize takes beside the bank.
size_t takenFor(e_MemoryBankType type, unsigned int size)
{
    const FirstManager other;
    Source::startAnew();
    GameMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, type, "bank", 32);
    Source::serve(memory, MEMLOC_DEFAULT);
    writeFile(memory.bankSizePath, "bank=" + std::to_string(size));
    LibraryMemory::taken = 0;
    LibraryMemory::isWatched = true;
    memory.initialize();
    LibraryMemory::isWatched = false;
    EXPECT_EQ(Source::takeLog(), "alloc " + std::to_string(size) + " = #1"); // the location isn't asked for it
    return LibraryMemory::taken;
}

TEST(Index, TakesLessThanOnePercentOfItsBankAndHalfAPercentOfALargeOne)
{
    for (const unsigned int size : {32u << 10, 40001u, 64u << 10, 100000u, 1u << 20, (16u << 20) + 7, 64u << 20}) {
        EXPECT_GT(takenFor(MEMBANK_HEAP, size), size / 256u) << size; // a bit for each 32 bytes, at least
        EXPECT_LT(takenFor(MEMBANK_HEAP, size), size / 100u) << size;
    }
    EXPECT_LT(takenFor(MEMBANK_HEAP, 64u << 20), (64u << 20) / 195u); // 0.51 %
}

TEST(Index, IsNotMadeForSmallAndLinearBanks)
{
    EXPECT_EQ(takenFor(MEMBANK_HEAP, (32 << 10) - 1), 0u);
    EXPECT_EQ(takenFor(MEMBANK_HEAP, 32), 0u);
    EXPECT_EQ(takenFor(MEMBANK_LINEAR, 1 << 20), 0u);
}

TEST(Index, OfTheFirstManagersSmallBanksTakesNoMemory)
{
    LargeHeap heap;
    LibraryMemory::taken = 0;
    LibraryMemory::isWatched = true;
    heap.initialize(); // its banks begin anew
    LibraryMemory::isWatched = false;
    EXPECT_EQ(LibraryMemory::taken, 0u);
}

TEST(Index, AllocAndFreeTakeNoMoreMemoryForTheIndex)
{
    const FirstManager other;
    LargeHeap heap;
    heap.free(heap.allocNode(64)); // the first to name "test"
    LibraryMemory::taken = 0;
    LibraryMemory::isWatched = true;
    std::vector<void*> blocks;
    blocks.reserve(100);
    for (int i = 0; i < 100; ++i) {
        blocks.push_back(heap.allocNode(32 + 32 * (i % 9)));
    }
    for (void* block : blocks) {
        heap.free(block);
    }
    LibraryMemory::isWatched = false;
    EXPECT_EQ(LibraryMemory::taken, 0u);
    EXPECT_EQ(heap.freeNodes(), "0+131072");
}

TEST(Index, ABankWorksWithoutMemoryForItsIndex)
{
    const FirstManager other;
    LargeHeap heap;
    LibraryMemory::isWatched = LibraryMemory::isEmpty = true;
    heap.initialize(); // its banks begin anew
    LibraryMemory::isWatched = LibraryMemory::isEmpty = false;
    EXPECT_GT(LibraryMemory::blockCount, 0);
    char* first = heap.allocNode(64);
    heap.allocNode(96);
    heap.free(first);
    EXPECT_EQ(heap.freeNodes(), "0+64 160+130912");
}

TEST(Index, NeedsBothOfItsBlocksAndGivesTheOtherOneBack)
{
    const FirstManager other;
    for (const int refused : {0, 1}) {
        LargeHeap heap;
        LibraryMemory::blockCount = LibraryMemory::givenBack = 0;
        LibraryMemory::refused = refused;
        LibraryMemory::isWatched = true;
        heap.initialize();
        LibraryMemory::isWatched = false;
        EXPECT_EQ(LibraryMemory::blockCount, 2) << refused;
        EXPECT_EQ(LibraryMemory::givenBack, 1) << refused;
        char* first = heap.allocNode(64);
        heap.allocNode(96);
        heap.free(first);
        EXPECT_EQ(heap.freeNodes(), "0+64 160+130912") << refused;
        LibraryMemory::refused = -1;
    }
}

TEST(Index, IsGivenUpForGoodWhenItsBankContradictsIt)
{
    const FirstManager other;
    LargeHeap heap;
    LibraryMemory::isWatched = true;
    heap.initialize(); // its banks begin anew
    char* block = heap.allocNode(256);
    heap.allocNode(32);
    heap.free(block);
    EXPECT_EQ(LibraryMemory::givenBack, 0);
    headerOf(block)->size = 64;
    heap.allocNode(128);
    EXPECT_EQ(LibraryMemory::givenBack, 2);

    headerOf(block)->size = 256; // nothing contradicts it now
    LibraryMemory::blockCount = 0;
    EXPECT_EQ(heap.allocNode(256), block);
    heap.free(block);
    LibraryMemory::isWatched = false;
    EXPECT_EQ(LibraryMemory::blockCount, 0);
    EXPECT_EQ(heap.check(0), 0);
}

TEST(PlainNew, IsNullWithoutMemory)
{
    LibraryMemory::isWatched = LibraryMemory::isEmpty = true;
    const GameMemory* memory = new GameMemory;
    LibraryMemory::isWatched = LibraryMemory::isEmpty = false;
    EXPECT_EQ(memory, nullptr);
}

#endif

// A node of every size, beginning at every distance from a word of the index, is joined with what is freed beside it.
TEST(Index, FindsNeighboursWhereverTheyBeginAndEnd)
{
    const unsigned int sc_unit = 32;
    for (unsigned int before = 1; before <= 65; ++before) {
        LargeHeap heap;
        heap.allocNode(before * sc_unit);
        for (unsigned int size = 1; size <= 260; ++size) {
            char* first = heap.allocNode(size * sc_unit);
            char* second = heap.allocNode(sc_unit);
            char* third = heap.allocNode(size * sc_unit);
            heap.allocNode(sc_unit);
            heap.free(first);
            heap.free(third);
            heap.free(second);
            ASSERT_EQ(heap.banks[0].freeNodeCount, 2u) << before << ", " << size;
            ASSERT_EQ(sizeOf(heap.banks[0].freeList), (2 * size + 1) * sc_unit) << before << ", " << size;
            ASSERT_EQ(heap.allocNode((2 * size + 1) * sc_unit), first);
            heap.free(first);
            heap.free(first + (2 * size + 1) * sc_unit);
            ASSERT_EQ(heap.banks[0].freeNodeCount, 1u) << before << ", " << size;
        }
    }
}

TEST(Index, TheEndOfABankWhoseSizeIsNoMultipleOf32KeepsItsPlace)
{
    LargeHeap heap(sc_large + 31);
    char* odd = heap.allocNode(64);
    char* wall = heap.allocNode(32);
    char* rest = heap.allocNode(sc_large - 96 - 32); // leaves 63
    EXPECT_EQ(heap.freeNodes(), "131040+63");
    heap.free(odd);
    EXPECT_EQ(heap.freeNodes(), "131040+63 0+64");
    char* end = heap.allocNode(32); // of the smaller one, whose rest of 31 bytes can hold a header
    EXPECT_EQ(end, heap.banks[0].base + 131040 + 24);
    EXPECT_EQ(heap.freeNodes(), "131072+31 0+64");
    heap.free(end);
    EXPECT_EQ(heap.allocNode(64), odd);
    EXPECT_EQ(heap.allocNode(32), end);
    heap.free(odd);
    heap.free(end);
    heap.free(wall);
    heap.free(rest);
    EXPECT_EQ(heap.freeNodes(), "0+131103");
    EXPECT_EQ(heap.check(0, true), 0);
}

// Nodes of more than 1/128 of the bank share classes: 4096 to 5119 bytes are one of them.
TEST(Index, TakesTheSmallestOfTheLargeNodesThatFit)
{
    LargeHeap heap;
    std::vector<char*> holes;
    for (const unsigned int size : {5088u, 4096u, 4608u, 4800u, 9600u}) {
        holes.push_back(heap.allocNode(size));
        heap.allocNode(32);
    }
    for (char* hole : holes) {
        heap.free(hole);
    }
    EXPECT_EQ(heap.allocNode(4640), holes[3]);
    EXPECT_EQ(heap.allocNode(4608), holes[2]);
    EXPECT_EQ(heap.allocNode(5120), holes[4]);
    EXPECT_EQ(heap.allocNode(4064), holes[1]);
    EXPECT_EQ(heap.allocNode(4064), holes[4] + 5120);
    EXPECT_EQ(heap.allocNode(4064), holes[0]);
}

TEST(Index, FindsNeighboursOfANodeThatWasTheOnlyFreeOne)
{
    LargeHeap heap;
    std::vector<char*> blocks;
    for (int i = 0; i < 4; ++i) {
        blocks.push_back(heap.allocNode(3200));
    }
    heap.free(blocks[1]); // the second free node
    heap.free(blocks[3]); // joins with the first
    heap.free(blocks[2]); // joins with both: one is left
    EXPECT_EQ(heap.freeNodes(), "3200+127872");
    EXPECT_EQ(heap.allocNode(64), blocks[1]);
    heap.free(blocks[0]);
    EXPECT_EQ(heap.freeNodes(), "0+3200 3264+127808");
    heap.free(blocks[1]);
    EXPECT_EQ(heap.freeNodes(), "0+131072");
}

// The index treats the newest free node in a way of its own: it has no class and no bits.
TEST(Index, ANodeThatWasPlacedLastComesFirstAmongEqualSizes)
{
    LargeHeap heap;
    std::vector<char*> holes;
    for (const unsigned int size : {64u, 64u, 96u, 64u, 8192u, 8192u}) {
        holes.push_back(heap.allocNode(size));
        heap.allocNode(32);
    }
    for (char* hole : holes) {
        heap.free(hole);
    }
    EXPECT_EQ(heap.allocNode(8192), holes[5]); // the newest
    EXPECT_EQ(heap.allocNode(64), holes[3]);
    EXPECT_EQ(heap.allocNode(96), holes[2]);
    heap.free(holes[3]);
    EXPECT_EQ(heap.allocNode(4096), holes[4]); // leaves 4096 bytes, the newest
    EXPECT_EQ(heap.allocNode(64), holes[3]);
    EXPECT_EQ(heap.allocNode(64), holes[1]);
    EXPECT_EQ(heap.allocNode(64), holes[0]);
    EXPECT_EQ(heap.allocNode(64), holes[4] + 4096);
}

TEST(Index, FindsANodeInABankOfManyClasses)
{
    LargeHeap heap(256 << 20);
    char* small = heap.allocNode(64);
    heap.allocNode(32);
    char* middle = heap.allocNode(1 << 20);
    heap.allocNode(32);
    heap.free(small);
    heap.free(middle);
    EXPECT_EQ(heap.allocNode(96), middle); // thousands of empty classes above its own
    EXPECT_EQ(heap.allocNode(64), small);
    EXPECT_EQ(heap.allocNode(2 << 20), middle + (1 << 20) + 32);
}

TEST(Index, ASizeAboveThatOfTheBankHasNoNode)
{
    LargeHeap heap;
    char* block = heap.allocNode(64);
    heap.allocNode(32);
    heap.free(block); // the newest node is too small
    block = heap.allocNode(sc_large + 32);
    EXPECT_EQ(heap.banks[0].extNodeCount, 1u);
    EXPECT_EQ(heap.free(block), 0);
    EXPECT_EQ(heap.freeNodes(), "0+64 96+130976");
}

// Nodes of 4096 to 5119 bytes share a class.
TEST(Index, AClassWithTooSmallNodesAloneHasNoNode)
{
    LargeHeap heap;
    char* large = heap.allocNode(5088);
    heap.allocNode(32);
    char* small = heap.allocNode(4096);
    heap.allocNode(32);
    char* newest = heap.allocNode(64);
    heap.allocNode(sc_large - 5088 - 4096 - 128);
    heap.free(small);
    heap.free(newest);
    EXPECT_EQ(heap.free(heap.allocNode(4800)), 0);
    EXPECT_EQ(heap.free(heap.allocNode(10000)), 0);
    EXPECT_EQ(heap.banks[0].extNodeCount, 2u);
    heap.free(large); // now the newest
    EXPECT_EQ(heap.allocNode(4800), large);
    EXPECT_EQ(heap.banks[0].extNodeCount, 2u);
}

#ifdef WATCHES_LIBRARY_MEMORY // the sanitizers would write a byte for each 8 bytes of the bank

// A bank of more than 1 GiB has more classes than one word of the top level stands for. Its pages are never touched.
TEST(Index, FindsANodeInABankOfMoreThanOneGigabyte)
{
    if (sizeof(void*) == 4) {
        GTEST_SKIP() << "there may be no room for the bank";
    }
    GameMemory memory;
    memory.defineHeap("heap", 0x60000000);
    memory.initialize();
    void* small = memory.alloc(0, 64, "test", 1);
    memory.alloc(0, 64, "test", 1);
    char* large = static_cast<char*>(memory.alloc(0, 1 << 20, "test", 1));
    memory.alloc(0, 64, "test", 1);
    memory.free(0, small);
    memory.free(0, large); // the newest node has no class
    memory.free(0, memory.alloc(0, 2 << 20, "test", 1));
    EXPECT_EQ(memory.alloc(0, 128, "test", 1), large);
    EXPECT_EQ(memory.alloc(0, 64, "test", 1), small);
}

#endif

TEST(Index, IsMadeAgainWhenItsBankIsMadeAgain)
{
    LargeHeap heap;
    heap.allocNode(64);
    writeFile(heap.bankSizePath, "heap=100001");
    heap.initialize();
    EXPECT_EQ(heap.freeNodes(), "0+100001");
    char* block = heap.allocNode(64);
    EXPECT_EQ(block, heap.banks[0].base + 24);
    heap.free(block);
    EXPECT_EQ(heap.freeNodes(), "0+100001");
}

// Only four managers have indexes at a time. The others give the same answers by walking their lists.
TEST(Index, EachManagerHasIndexesOfItsOwn)
{
    std::optional<LargeHeap> heaps[6];
    for (int round = 0; round < 12; ++round) {
        heaps[round * 5 % 6].emplace(); // the one that was there ends
        for (std::optional<LargeHeap>& heap : heaps) {
            if (heap) {
                char* first = heap->allocNode(64);
                char* second = heap->allocNode(96);
                heap->free(first);
                EXPECT_EQ(heap->freeNodes(), "0+64 160+130912");
                EXPECT_EQ(heap->allocNode(64), first);
                heap->free(second);
                heap->free(first);
                EXPECT_EQ(heap->freeNodes(), "0+131072");
            }
        }
    }
}

// ---- Free lists and headers that other code has changed.
//
// docs/surprises.md promises that the bank then goes on without its index, with the answers that the list gives. So each
// result below is that of a walk along the changed list, and no size in a header may lead the index out of its own
// memory.

TEST(ChangedList, WithoutAListTheFallbackServes)
{
    LargeHeap heap;
    heap.allocNode(64);
    MemoryHeapNode_s* list = heap.banks[0].freeList;
    heap.banks[0].freeList = nullptr;
    char* block = heap.allocNode(64);
    EXPECT_EQ(heap.banks[0].extNodeCount, 1u);
    heap.free(block);
    heap.banks[0].freeList = list;
    EXPECT_EQ(heap.allocNode(64), heap.banks[0].base + 64 + 24);
}

TEST(ChangedList, WithoutAListTheFreedNodeBecomesTheList)
{
    LargeHeap heap;
    char* block = heap.allocNode(64);
    heap.banks[0].freeList = nullptr;
    heap.free(block); // the free node after it is on no list, so the two are not joined
    EXPECT_EQ(heap.freeNodes(), "0+64");
}

TEST(ChangedList, TheOverwrittenSizeOfAFreeNodeCounts)
{
    LargeHeap heap;
    char* block = heap.allocNode(256);
    heap.allocNode(32);
    heap.free(block);
    headerOf(block)->size = 64;
    EXPECT_EQ(heap.allocNode(128), heap.banks[0].base + 256 + 32 + 24);
    EXPECT_EQ(heap.allocNode(64), block);
    EXPECT_EQ(heap.check(0), MEMERR_SIZE); // 192 bytes belong to no node
}

TEST(ChangedList, AFreeNodeWithAnOverwrittenSizeIsTakenOnce)
{
    LargeHeap heap;
    char* block = heap.allocNode(256);
    heap.allocNode(32);
    heap.free(block);
    headerOf(block)->size = 64;
    EXPECT_EQ(heap.allocNode(64), block);
    EXPECT_EQ(heap.allocNode(64), heap.banks[0].base + 256 + 32 + 24);
}

TEST(ChangedList, ASizeLargerThanTheBankCountsToo)
{
    LargeHeap heap;
    headerOf(heap.banks[0].base + 24)->size = sc_large * 2;
    EXPECT_EQ(heap.allocNode(64), heap.banks[0].base + 24);
    EXPECT_EQ(heap.freeNodes(), "64+262080");
}

TEST(ChangedList, AFreeNodeWithoutItsMarkIsStillJoined)
{
    LargeHeap heap;
    char* first = heap.allocNode(64);
    char* second = heap.allocNode(64);
    char* third = heap.allocNode(64);
    heap.allocNode(32);
    heap.free(first);
    heap.free(third);
    setHeaderWord(first, 0, 0x12345678);
    setHeaderWord(third, 0, 0x12345678);
    EXPECT_EQ(heap.check(0), MEMERR_FREE_NODE);
    EXPECT_EQ(heap.free(second), 0);
    EXPECT_EQ(heap.freeNodes(), "0+192 224+130848");
}

TEST(ChangedList, NodesAreJoinedByTheirOverwrittenSizes)
{
    LargeHeap heap;
    char* first = heap.allocNode(64);
    char* second = heap.allocNode(64);
    heap.allocNode(32);
    heap.free(second);
    setHeaderWord(second, 1, sc_large * 2);
    heap.free(first);
    EXPECT_EQ(heap.freeNodes(), "160+130912 0+262208");
}

TEST(ChangedList, TheOverwrittenSizeOfTheNewestFreeNodeCounts)
{
    for (const unsigned int size : {sc_large * 2, 100u}) { // outside the bank; no multiple of 32
        LargeHeap heap;
        char* first = heap.allocNode(64);
        heap.allocNode(32);
        char* second = heap.allocNode(64);
        heap.allocNode(32);
        heap.free(first);
        setHeaderWord(first, 1, size);
        heap.free(second);
        EXPECT_EQ(heap.freeNodes(), "96+64 0+" + std::to_string(size) + " 192+130880");
    }
}

TEST(ChangedList, NodesThatNoLongerTouchAreNotJoined)
{
    LargeHeap heap;
    char* first = heap.allocNode(64);
    char* second = heap.allocNode(64);
    heap.allocNode(32);
    heap.free(first);
    setHeaderWord(first, 1, 32);
    heap.free(second);
    EXPECT_EQ(heap.freeNodes(), "0+32 64+64 160+130912");
}

TEST(ChangedList, AForgedHeaderAtAnImpossibleAddressIsFreed)
{
    LargeHeap heap;
    char* forged = heap.allocNode(128) + 16 + 24;
    memset(forged - 24, 0, 24);
    setHeaderWord(forged, 0, 0xfeedface);
    setHeaderWord(forged, 1, 56);
    EXPECT_EQ(heap.free(forged), 0);
    EXPECT_EQ(heap.freeNodes(), "40+56 128+130944");
}

TEST(ChangedList, AFreeNodeWithoutItsMarkIsStillTaken)
{
    LargeHeap heap;
    char* block = heap.allocNode(64);
    heap.allocNode(32);
    heap.free(block);
    setHeaderWord(block, 0, 0x12345678);
    EXPECT_EQ(heap.allocNode(64), block);
    EXPECT_EQ(heap.check(0), 0);
}

TEST(ChangedList, ABlockOfAnotherBankIsPutOnTheList)
{
    GameMemory memory;
    memory.defineHeap("first", sc_large);
    memory.defineHeap("second", sc_large);
    memory.initialize();
    memory.alloc(0, sc_large - 25, "test", 1); // all of it
    void* stray = memory.alloc(1, 100, "test", 1);
    memory.alloc(1, 100, "test", 1);
    EXPECT_EQ(memory.free(0, stray), 0);
    EXPECT_EQ(memory.banks[0].freeList, headerOf(stray));
    EXPECT_EQ(memory.alloc(0, 100, "test", 1), stray);
}

TEST(ChangedList, ABlockWithAnOverwrittenSizeIsFreed)
{
    for (const unsigned int size : {0u, 1u, 100u, 0x7fffffffu}) {
        LargeHeap heap;
        char* block = heap.allocNode(64);
        heap.allocNode(32);
        setHeaderWord(block, 1, size);
        EXPECT_EQ(heap.free(block), 0);
        EXPECT_EQ(magicOf(headerOf(block)), 0xdeadf00du);
        EXPECT_NE(heap.check(0), 0);
        EXPECT_EQ(heap.banks[0].freeNodeCount, 2u);
    }
}

// Three free nodes with a used node after each of them.
struct HeapWithHoles : LargeHeap {
    char* smaller = allocNode(64);
    char* afterSmaller = allocNode(32);
    char* larger = allocNode(96);
    char* afterLarger = allocNode(32);
    char* newest = allocNode(128);
    char* afterNewest = allocNode(32);
    char* used = allocNode(64);
    char* afterUsed = allocNode(32);

    HeapWithHoles()
    {
        free(smaller);
        free(larger);
        free(newest);
    }
};

TEST(ChangedList, ABlockIsPlacedAndJoinedAlthoughAHeaderOfAFreeNodeHasChanged)
{
    static const unsigned int sc_noMark = 0x12345678;
    const struct {
        char* HeapWithHoles::*changed;
        int word; // of its header: 0 is the mark, 1 the size
        unsigned int value;
        char* HeapWithHoles::*freed;
        const char* freeNodes;
    } sc_cases[] = {
        // The freed node is placed before the changed node of the same size.
        {&HeapWithHoles::smaller, 0, sc_noMark, &HeapWithHoles::used, "384+64 0+64 96+96 224+128 480+130592"},
        // The freed node lies before the changed node, and is joined with it by its size.
        {&HeapWithHoles::larger, 0, sc_noMark, &HeapWithHoles::afterSmaller, "224+128 0+192 480+130592"},
        {&HeapWithHoles::larger, 1, 64, &HeapWithHoles::afterSmaller, "224+128 0+160 480+130592"},
    };
    for (const auto& row : sc_cases) {
        HeapWithHoles heap;
        setHeaderWord(heap.*row.changed, row.word, row.value);
        EXPECT_EQ(heap.free(heap.*row.freed), 0);
        EXPECT_EQ(heap.freeNodes(), row.freeNodes);
    }
}

TEST(ChangedList, ASplitNodeKeepsItsPlaceAfterTheNewestNodeHasLostItsMark)
{
    HeapWithHoles heap;
    setHeaderWord(heap.newest, 0, 0x12345678);
    EXPECT_EQ(heap.allocNode(256), heap.afterUsed + 32);
    EXPECT_EQ(heap.freeNodes(), "0+64 96+96 224+128 736+130336");
    EXPECT_EQ(heap.allocNode(96), heap.larger);
}

TEST(ChangedList, ASizeLargerThanTheBankCountsInAnOlderFreeNodeToo)
{
    HeapWithHoles heap;
    setHeaderWord(heap.larger, 1, sc_large * 2);
    EXPECT_EQ(heap.allocNode(96), heap.larger);
    EXPECT_EQ(heap.banks[0].freeNodeCount, 4u);
}

TEST(ChangedList, AJoinedNodeIsJoinedAgainWithANodeThatNowReachesIt)
{
    GameMemory memory; // a small bank, whose list is walked
    memory.defineHeap("heap", 1024);
    memory.initialize();
    char* blocks[4];
    for (char*& block : blocks) {
        block = static_cast<char*>(memory.alloc(0, 64, "test", 1)); // nodes of 96 bytes
    }
    memory.free(0, blocks[0]);
    memory.free(0, blocks[2]);
    setHeaderWord(blocks[0], 1, 2 * 96); // as if the used node after it belonged to it
    EXPECT_EQ(memory.free(0, blocks[3]), 0);
    EXPECT_EQ(sizeOf(memory.banks[0].freeList), 1024u);
    EXPECT_EQ(memory.banks[0].freeNodeCount, 1u);
}

// Nodes of 4096 to 5119 bytes share a class, so the index follows their links.
TEST(ChangedList, ALinkToAnotherPlaceIsFollowed)
{
    for (const bool isInBank : {false, true}) {
        GameMemory memory;
        memory.defineHeap("heap", sc_large);
        memory.defineHeap("other", 8192);
        memory.initialize();
        void* blocks[6];
        for (int i = 0; i < 6; ++i) {
            blocks[i] = memory.alloc(0, i == 0 ? 4096 - 25 : i == 2 ? 4800 - 25 : 64 - 25, "test", 1);
        }
        for (const int hole : {0, 2, 4}) {
            memory.free(0, blocks[hole]);
        }
        // Not at a multiple of 32 bytes, or in another bank.
        char* place = isInBank ? static_cast<char*>(blocks[2]) - 16 : memory.banks[1].base;
        MemoryHeapNode_s* forged = reinterpret_cast<MemoryHeapNode_s*>(place);
        memset(place, 0, sizeof(*forged)); // without links
        forged->magic = 0xdeadf00d;
        forged->size = 4704;
        headerOf(blocks[0])->next = forged;
        forged->prev = headerOf(blocks[0]);
        EXPECT_EQ(memory.alloc(0, 4704 - 25, "test", 1), place + 24);
        EXPECT_EQ(magicOf(forged), 0xfeedfaceu);
    }
}

// The first node of the bank is free, and the game has given it the mark of a block.
TEST(ChangedList, AFreeNodeWithTheMarkOfABlockIsFreedAgain)
{
    HeapWithHoles heap;
    setHeaderWord(heap.smaller, 0, 0xfeedface);
    EXPECT_EQ(heap.free(heap.smaller), 0);
    EXPECT_EQ(heap.free(heap.smaller), MEMERR_BLOCK);
    EXPECT_NE(heap.check(0), 0);
}

TEST(ChangedList, FreeingAPointerThatIsNoBlockChangesNothing)
{
    LargeHeap heap;
    char* block = heap.allocNode(128);
    memset(block, 0, 100);
    EXPECT_EQ(heap.free(block + 32), MEMERR_BLOCK);
    EXPECT_EQ(heap.free(block + 1), MEMERR_BLOCK);
    EXPECT_EQ(heap.free(block), 0);
    EXPECT_EQ(heap.free(block), MEMERR_BLOCK);
    EXPECT_EQ(heap.freeNodes(), "0+131072");
}

} // namespace
