// The tables that a 64-bit build keeps for the 32-bit references in block headers, also when there is no memory for
// the tables to grow. A 32-bit build has plain pointers in the headers and gives the same results.
#include "core/memorymgr.h"
#include "core/memorymgr_chunks.h"
#include "tests/support/game_memory.h"

#include <algorithm>
#include <string>
#include <vector>

// The sanitizers bring a calloc of their own, which has to be in place.
#if UINTPTR_MAX > 0xffffffffu && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define CAN_RUN_OUT 1

static bool s_tablesGrow = true; // the tables' memory, while it lasts
static size_t s_refused;         // the size of the requests that get no memory
static unsigned int s_requests;
static size_t s_largest; // the size of the largest request

extern "C" void* __libc_calloc(size_t count, size_t size);
extern "C" void* calloc(size_t count, size_t size)
{
    ++s_requests;
    s_largest = std::max(s_largest, count * size);
    return s_tablesGrow && count * size != s_refused ? __libc_calloc(count, size) : nullptr;
}
#endif

// More names than fit a table of any size it starts with. Nobody reads them, so they need not be texts.
static const char* nameOf(size_t number)
{
    static std::vector<char> s_names(100000);
    return &s_names.at(number);
}

static MemoryHeapNode_s* headerOf(void* block)
{
    return static_cast<MemoryHeapNode_s*>(block) - 1;
}

static const char* fileOf(void* block)
{
    return headerOf(block)->file;
}

TEST(Names, OfAnyNumberAreTheCallersPointers)
{
    GameMemory memory;
    std::vector<void*> blocks;
    for (size_t i = 0; i < 20000; ++i) {
        blocks.push_back(memory.alloc(-1, 1, nameOf(i), 1));
    }
    for (size_t i = 0; i < blocks.size(); ++i) {
        ASSERT_EQ(fileOf(blocks[i]), nameOf(i));
        memory.free(-1, blocks[i]);
    }
}

#if UINTPTR_MAX > 0xffffffffu

// The number that a block's header has for the block's source name.
static unsigned int numberOf(void* block)
{
    unsigned int number;
    memcpy(&number, &headerOf(block)->file, sizeof(number));
    return number;
}

// The first hash table has 256 slots. With the 1000 names it grows several times.
TEST(Names, HaveTheSameNumberAfterTheTableHasGrown)
{
    GameMemory memory;
    std::vector<unsigned int> numbers;
    for (int round = 0; round < 2; ++round) {
        for (size_t i = 0; i < 1000; ++i) {
            void* block = memory.alloc(-1, 1, nameOf(i), 1);
            numbers.push_back(numberOf(block));
            memory.free(-1, block);
        }
    }
    for (size_t i = 0; i < 1000; ++i) {
        EXPECT_EQ(numbers[i], numbers[0] + i);
        EXPECT_EQ(numbers[1000 + i], numbers[i]);
    }
}

// The search of the first hash table begins in one of 256 slots, which the upper bits of this product choose. All these
// names begin in the last slot, so the search goes on at the first one.
TEST(Names, ThatCollideHaveOneNumberEach)
{
    GameMemory memory;
    std::vector<const char*> names;
    for (size_t i = 0; names.size() < 8; ++i) {
        if (reinterpret_cast<uintptr_t>(nameOf(i)) * 0x9e3779b97f4a7c15u >> 56 == 255) {
            names.push_back(nameOf(i));
        }
    }
    std::vector<void*> blocks;
    for (int round = 0; round < 2; ++round) {
        for (const char* name : names) {
            blocks.push_back(memory.alloc(-1, 1, name, 1));
            EXPECT_EQ(fileOf(blocks.back()), name);
        }
    }
    for (size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(numberOf(blocks[i]), numberOf(blocks[0]) + i);
        EXPECT_EQ(numberOf(blocks[i + names.size()]), numberOf(blocks[i]));
    }
    for (void* block : blocks) {
        memory.free(-1, block);
    }
}

#endif

TEST(Names, MayBeMissing)
{
    GameMemory memory;
    memory.free(-1, memory.alloc(-1, 1, "test", 1)); // a name, which has the first number
    void* block = memory.alloc(-1, 1, nullptr, 1);
    EXPECT_EQ(fileOf(block), nullptr);
    memory.free(-1, block);
}

TEST(Links, OfFallbackBlocksLeadAlongTheListInBothDirections)
{
    GameMemory memory;
    std::vector<void*> blocks;
    for (int i = 0; i < 5000; ++i) {
        blocks.push_back(memory.alloc(-1, 1, "test", 1));
    }
    for (size_t i = 0; i < blocks.size(); i += 2) { // every other one goes, and its links are somebody else's then
        memory.free(-1, blocks[i]);
        blocks[i] = memory.alloc(-1, 1, "test", 2);
    }
    size_t count = 0;
    MemoryHeapNode_s* last = nullptr;
    for (MemoryHeapNode_s* node = memory.systemBank.extList; node; node = node->next) {
        ASSERT_EQ(static_cast<MemoryHeapNode_s*>(node->prev), last);
        last = node;
        ++count;
    }
    EXPECT_EQ(count, blocks.size());
    for (void* block : blocks) {
        memory.free(-1, block);
    }
    EXPECT_EQ(memory.systemBank.extList, nullptr);
}

TEST(Links, ReadAndAssignLikePointers)
{
    GameMemory memory;
    const int bank = memory.defineHeap("bank", 1024);
    memory.initialize();
    MemoryHeapNode_s* older = headerOf(memory.alloc(bank, 1, "test", 1));
    MemoryHeapNode_s* newer = headerOf(memory.alloc(bank, 1, "test", 2));

    EXPECT_EQ(static_cast<MemoryHeapNode_s*>(newer->next), older);
    EXPECT_EQ(newer->next->line, 1u);
    older->next = newer->next; // where a link stands it leads to the same header
    EXPECT_EQ(static_cast<MemoryHeapNode_s*>(older->next), older);
    older->next = nullptr;
    EXPECT_EQ(static_cast<MemoryHeapNode_s*>(older->next), nullptr);
}

// The library's tables have 20 chunks, which nearly 2^30 fallback blocks would fill.
TEST(Tables, WithAllTheirChunksWantNoMoreMemoryAndDealNoMoreEntries)
{
    std::vector<int> first(1024);
    std::vector<int> second(2048);
    ChunkedTable<int, 2> table(first.data());
    unsigned int dealt = 0;
    while (table.bytesWanted() == 0 && dealt < 1024) {
        EXPECT_EQ(table.at(table.deal()), &first[dealt]);
        dealt += 1;
    }
    EXPECT_EQ(dealt, 1024u - 64u); // the other 64 are for threads that are in calloc
    EXPECT_EQ(table.bytesWanted(), second.size() * sizeof(int));
    table.grow(second.data());
    for (; dealt < 1024 + 2048; ++dealt) {
        EXPECT_EQ(table.bytesWanted(), 0u);
        EXPECT_EQ(table.at(table.deal()), dealt < 1024 ? &first[dealt] : &second[dealt - 1024]);
    }
    EXPECT_EQ(table.bytesWanted(), 0u);
    EXPECT_EQ(table.deal(), sc_noEntry);
}

#ifdef CAN_RUN_OUT

static const char s_late[] = "late";

TEST(Tables, TakeNoMemoryForTheFirstHundredNames)
{
    GameMemory memory;
    const int bank = memory.defineHeap("bank", 8192);
    memory.initialize();
    s_tablesGrow = false;
    for (size_t i = 0; i < 100; ++i) {
        EXPECT_EQ(fileOf(memory.alloc(bank, 1, nameOf(i), 1)), nameOf(i));
    }
    s_tablesGrow = true;
}

TEST(Tables, WithoutMemoryForMoreNamesTheKnownNamesAreStillStored)
{
    GameMemory memory;
    const int bank = memory.defineHeap("bank", 1 << 20);
    memory.initialize();
    size_t count = 0;
    s_tablesGrow = false;
    void* block;
    for (;;) {
        block = memory.alloc(bank, 1, nameOf(count), 1);
        if (!fileOf(block)) {
            break; // the table is full
        }
        memory.free(bank, block);
        ++count;
    }
    for (size_t i = 0; i < count; ++i) {
        void* known = memory.alloc(bank, 1, nameOf(i), 1);
        EXPECT_EQ(fileOf(known), nameOf(i));
        memory.free(bank, known);
    }
    s_tablesGrow = true;
    EXPECT_GE(count, 100u);
    EXPECT_EQ(fileOf(memory.alloc(bank, 1, s_late, 1)), s_late);
}

// The library has room for 1024 names; here only the hash table grows.
TEST(Tables, WithoutMemoryForMoreNamesEachOfTheFirst1024HasItsPlace)
{
    GameMemory memory;
    s_refused = 2048 * sizeof(const char*); // the next names
    size_t count = 0;
    bool isStored = true;
    while (isStored && count < 2000) {
        void* block = memory.alloc(-1, 1, nameOf(count), 1);
        isStored = fileOf(block) == nameOf(count);
        count += isStored;
        memory.free(-1, block);
    }
    s_refused = 0;
    EXPECT_EQ(count, 1024u);
    EXPECT_LT(s_largest, 5000u * 16); // a hash table of 4096 slots
}

TEST(Tables, DoNotGrowWhenFallbackBlocksAreMadeAndFreed)
{
    GameMemory memory;
    memory.free(-1, memory.alloc(-1, 1, "test", 1));
    s_tablesGrow = false;
    s_requests = 0;
    for (int i = 0; i < 5000; ++i) {
        memory.free(-1, memory.alloc(-1, 1, "test", 1)); // where its links find no room, the game ends
    }
    s_tablesGrow = true;
    EXPECT_EQ(s_requests, 0u);
    EXPECT_EQ(memory.systemBank.freeCount, 5001u);
}

// The first hash table of names has 256 slots, of which it uses three quarters.
TEST(Tables, ANullNameTakesNoPlaceOfAName)
{
    GameMemory memory;
    s_tablesGrow = false;
    memory.free(-1, memory.alloc(-1, 1, nullptr, 1));
    size_t count = 0;
    bool isStored = true;
    while (isStored && count < 1000) {
        void* block = memory.alloc(-1, 1, nameOf(count), 1);
        isStored = fileOf(block) != nullptr;
        count += isStored;
        memory.free(-1, block);
    }
    s_tablesGrow = true;
    EXPECT_EQ(count, 192u);
}

TEST(Tables, UseAllLinksAgainThatWereGivenBackTogether)
{
    GameMemory memory;
    std::vector<void*> blocks(600);
    s_tablesGrow = false;
    s_requests = 0;
    for (int round = 0; round < 10; ++round) {
        for (void*& block : blocks) {
            block = memory.alloc(-1, 1, "test", 1); // where its links find no room, the game ends
        }
        size_t count = 0;
        for (MemoryHeapNode_s* node = memory.systemBank.extList; node && count < 1000; node = node->next) {
            ++count;
        }
        EXPECT_EQ(count, blocks.size());
        for (void* block : blocks) {
            memory.free(-1, block);
        }
        EXPECT_EQ(memory.systemBank.extList, nullptr);
    }
    s_tablesGrow = true;
    EXPECT_EQ(s_requests, 0u);
}

TEST(Tables, TakeNoMemoryForTheFirstThousandFallbackBlocks)
{
    GameMemory memory;
    s_tablesGrow = false;
    for (size_t i = 0; i < 1000; ++i) {
        memory.alloc(-1, 1, "test", 1); // where its links find no room, the game ends
    }
    s_tablesGrow = true;
    EXPECT_EQ(memory.systemBank.allocCount, 1000u);
    while (memory.systemBank.extList) {
        memory.free(-1, memory.systemBank.extList + 1);
    }
}

// The links of 1024 fallback blocks have their room in the library. Block #1 is the bank itself.
TEST(Tables, WithoutMemoryForItsLinksAFallbackBlockIsFreedAndTheGameEnds)
{
    GameMemory memory;
    memory.defineHeap("bank", 32);
    Source::serve(memory, MEMLOC_DEFAULT);
    memory.initialize();
    EXPECT_EXIT(
        {
            s_tablesGrow = false;
            atexit([] {
                s_tablesGrow = true; // others end now, too
                fprintf(stderr, "[%s]", Source::takeLog().c_str());
            });
            while (memory.banks[0].extNodeCount < 2000) {
                Source::takeLog();
                memory.alloc(0, 100, "test", 1);
            }
        },
        testing::ExitedWithCode(255), "onOutOfMemory.0.\n.alloc 128 = #1026, free #1026.$");
}

#endif
