// The memory manager from definition through initialisation to shutdown. memorymgr_heap_test has the tests of blocks,
// memorymgr_sizes_test those of the bank-size file.
#include "tests/support/game_memory.h"

#include "core/platform.h"

#include <errno.h>
#include <filesystem>
#include <malloc.h>
#include <new>
#include <stdint.h>
#include <stdlib.h>

namespace {

// A manager in storage that held something else before.
class UsedStorage {
public:
    UsedStorage() { memset(m_bytes, 0xaa, sizeof(m_bytes)); }
    GameMemory* makeManager() { return ::new (m_bytes) GameMemory; }

private:
    alignas(GameMemory) unsigned char m_bytes[sizeof(GameMemory)];
};

// Out of line: compilers warn of a delete where they can see that the object came from elsewhere.
__attribute__((noinline)) void deleteManager(MemoryMgr* memory)
{
    delete memory;
}

TEST(Construction, SetsTheGlobalPointer)
{
    EXPECT_EQ(g_MemoryPtr, nullptr);
    GameMemory memory;
    EXPECT_EQ(g_MemoryPtr, &memory);
}

TEST(Construction, StartsUnlockedWithoutBanks)
{
    UsedStorage storage;
    GameMemory* memory = storage.makeManager();
    EXPECT_EQ(memory->locked, 0);
    EXPECT_EQ(memory->bankCount, 0);
}

TEST(Construction, GivesTheDefaultLocationMallocReallocAndFree)
{
    GameMemory memory;
    const MemoryLocation_s& location = memory.locations[MEMLOC_DEFAULT];

    char* block = static_cast<char*>(location.allocCb(100));
    block[99] = 'x';
    block = static_cast<char*>(location.reallocCb(block, 200));
    EXPECT_EQ(block[99], 'x');
    location.freeCb(block);

    location.freeCb(malloc(10));
    free(location.allocCb(10));

    EXPECT_EQ(location.block, nullptr);
    EXPECT_EQ(location.blockSize, 0u);
    EXPECT_EQ(location.carveCursor, nullptr);
}

TEST(Construction, LeavesTheCustomLocationWithoutCallbacks)
{
    UsedStorage storage;
    const MemoryLocation_s& location = storage.makeManager()->locations[MEMLOC_CUSTOM];
    EXPECT_EQ(location.allocCb, nullptr);
    EXPECT_EQ(location.reallocCb, nullptr);
    EXPECT_EQ(location.freeCb, nullptr);
    EXPECT_EQ(location.block, nullptr);
    EXPECT_EQ(location.blockSize, 0u);
    EXPECT_EQ(location.carveCursor, nullptr);
}

TEST(Construction, PlacesTheBankSizeFileInTheGamesDataFolderAndMakesTheFolder)
{
    GameMemory memory;
    const std::string folder = std::string(getenv("MACAPI_LIBRARY")) + "/Application Support/Brackenlow/" +
                               program_invocation_short_name + "/data";
    EXPECT_EQ(memory.bankSizePath, folder + "/memory.dat");
    EXPECT_TRUE(std::filesystem::is_directory(folder));
    EXPECT_TRUE(std::filesystem::is_empty(folder));
}

TEST(Construction, TruncatesThePathOfTheBankSizeFileTo1023Bytes)
{
    // The data folder's own path still fits, the file's no longer does.
    const size_t tail = strlen("/Application Support/Brackenlow/") + strlen(program_invocation_short_name);
    std::string library = getenv("MACAPI_LIBRARY");
    while (library.length() < 1010 - tail) {
        const size_t left = 1010 - tail - library.length();
        library += "/" + std::string(left > 202 ? 200 : left - 1, 'x');
    }
    std::filesystem::create_directories(library);
    setenv("MACAPI_LIBRARY", library.c_str(), 1);

    GameMemory memory;
    const std::string whole = std::string(Platform::GetAppDataDir("data")) + "/data/memory.dat";
    EXPECT_EQ(whole.length(), 1010u + strlen("/data/memory.dat"));
    EXPECT_EQ(memory.bankSizePath, whole.substr(0, 1023));
    EXPECT_EQ(memory.bankSizePath[1023], '\0');
}

TEST(Construction, LetsTheSystemBankServeBeforeInitialize)
{
    UsedStorage storage;
    GameMemory* memory = storage.makeManager();

    void* block = memory->alloc(-1, 100, "test", 1);
    memset(block, 0xff, 100);
    EXPECT_EQ(memory->systemBank.allocCount, 1u);
    EXPECT_EQ(memory->systemBank.extNodeCount, 1u);
    EXPECT_EQ(memory->systemBank.bytesInUse, 128u);
    EXPECT_EQ(memory->systemBank.usedNodeCount, 0u);
    EXPECT_EQ(memory->systemBank.freeNodeCount, 0u);

    EXPECT_EQ(memory->free(-1, block), 0);
    EXPECT_EQ(memory->systemBank.freeCount, 1u);
    EXPECT_EQ(memory->systemBank.bytesInUse, 0u);
    EXPECT_EQ(memory->systemBank.peakBytes, 128u);
    EXPECT_EQ(memory->systemBank.extList, nullptr);
    memory->~GameMemory();
}

TEST(DefineBank, RoundsTheSizeUpToAMultipleOf32)
{
    static const struct {
        unsigned int asked;
        unsigned int given;
    } sc_cases[] = {
        {0, 32},          {1, 32},  {31, 32},   {32, 32}, // multiples stay as they are
        {33, 64},         {64, 64}, {100, 128}, {1048575, 1048576}, {4294967264u, 4294967264u},
        {4294967265u, 0}, // the next multiple doesn't fit into 32 bits
    };
    GameMemory memory;
    for (const auto& c : sc_cases) {
        const int bank = memory.defineHeap("bank", c.asked);
        EXPECT_EQ(memory.getMemoryBankSize(bank), c.given) << c.asked;
    }
}

TEST(DefineBank, AnswersTheIndexInTheOrderOfDefinition)
{
    GameMemory memory;
    EXPECT_EQ(memory.defineHeap("first", 64), 0);
    EXPECT_EQ(memory.defineLinear("second", 64), 1);
    EXPECT_EQ(memory.defineBank(MEMLOC_CUSTOM, MEMBANK_OTHER, "third", 64), 2);
    EXPECT_EQ(memory.bankCount, 3);
}

TEST(DefineBank, FillsInTheRecord)
{
    UsedStorage storage;
    GameMemory* memory = storage.makeManager();
    char name[] = "level";
    const MemoryBank_s& bank = memory->banks[memory->defineBank(MEMLOC_CUSTOM, MEMBANK_LINEAR, name, 1000)];
    name[0] = '?';

    EXPECT_EQ(bank.location, MEMLOC_CUSTOM);
    EXPECT_EQ(bank.type, MEMBANK_LINEAR);
    EXPECT_STREQ(bank.name, "level"); // a copy
    EXPECT_EQ(bank.size, 1024u);
    EXPECT_EQ(bank.allocCount, 0u);
    EXPECT_EQ(bank.freeCount, 0u);
    EXPECT_EQ(bank.usedNodeCount, 0u);
    EXPECT_EQ(bank.freeNodeCount, 1u); // the whole bank is going to be one
    EXPECT_EQ(bank.extNodeCount, 0u);
    EXPECT_EQ(bank.bytesInUse, 0u);
    EXPECT_EQ(bank.peakBytes, 0u);
    EXPECT_EQ(bank.extList, nullptr);
}

TEST(DefineBank, FillsInARecordAfreshWhenTheGameStartsCountingAgain)
{
    GameMemory memory;
    memory.defineHeap("menu", 64);
    memory.initialize();
    memory.alloc(0, 1, "test", 1);
    memory.free(0, memory.alloc(0, 1000, "test", 1));
    memory.bankCount = 0;

    EXPECT_EQ(memory.defineLinear("level", 32), 0);
    const MemoryBank_s& bank = memory.banks[0];
    EXPECT_STREQ(bank.name, "level");
    EXPECT_EQ(bank.allocCount + bank.freeCount + bank.usedNodeCount + bank.extNodeCount, 0u);
    EXPECT_EQ(bank.freeNodeCount, 1u);
    EXPECT_EQ(bank.bytesInUse + bank.peakBytes, 0u);
}

TEST(DefineBank, TruncatesANameTo31Characters)
{
    GameMemory memory;
    const int longest = memory.defineHeap("abcdefghijklmnopqrstuvwxyz12345", 64);
    const int longer = memory.defineHeap("abcdefghijklmnopqrstuvwxyz123456789", 64);
    EXPECT_STREQ(memory.banks[longest].name, "abcdefghijklmnopqrstuvwxyz12345");
    EXPECT_STREQ(memory.banks[longer].name, "abcdefghijklmnopqrstuvwxyz12345");
}

TEST(DefineBank, ANullNameCountsAsEmpty)
{
    GameMemory memory;
    EXPECT_EQ(memory.defineHeap(nullptr, 64), 0);
    EXPECT_STREQ(memory.banks[0].name, "");
}

TEST(DefineBank, AcceptsAnyType)
{
    GameMemory memory;
    const int bank = memory.defineBank(MEMLOC_DEFAULT, MEMBANK_OTHER, "other", 100);
    EXPECT_EQ(bank, 0);
    EXPECT_EQ(memory.banks[bank].type, MEMBANK_OTHER);
    EXPECT_EQ(memory.banks[bank].size, 128u);
}

TEST(DefineBank, RefusesThe33rdWithMemerrBanks)
{
    GameMemory memory;
    for (int bank = 0; bank < 32; ++bank) {
        EXPECT_EQ(memory.defineHeap("bank", 32), bank);
    }
    EXPECT_EQ(memory.defineHeap("one too many", 32), MEMERR_BANKS);
    EXPECT_EQ(memory.bankCount, 32);
    EXPECT_STREQ(memory.banks[31].name, "bank");
    EXPECT_EQ(memory.initialize(), 0);
    EXPECT_EQ(memory.check(31), 0);
}

TEST(DefineBank, RefusesALocationThatThereIsNotWithMemerrUndefined)
{
    GameMemory memory;
    EXPECT_EQ(memory.defineBank(MEMLOC_TOO_LOW, MEMBANK_HEAP, "bank", 64), MEMERR_UNDEFINED);
    EXPECT_EQ(memory.defineBank(MEMLOC_TOO_HIGH, MEMBANK_HEAP, "bank", 64), MEMERR_UNDEFINED);
    EXPECT_EQ(memory.bankCount, 0);
}

TEST(DefineLocation, StoresEachCallback)
{
    GameMemory memory;
    EXPECT_EQ(memory.defineLocAllocCb(MEMLOC_CUSTOM, Source::alloc), 0);
    EXPECT_EQ(memory.defineLocReallocCb(MEMLOC_CUSTOM, Source::realloc), 0);
    EXPECT_EQ(memory.defineLocFreeCb(MEMLOC_CUSTOM, Source::free), 0);
    EXPECT_EQ(memory.locations[MEMLOC_CUSTOM].allocCb, Source::alloc);
    EXPECT_EQ(memory.locations[MEMLOC_CUSTOM].reallocCb, Source::realloc);
    EXPECT_EQ(memory.locations[MEMLOC_CUSTOM].freeCb, Source::free);
    EXPECT_NE(memory.locations[MEMLOC_DEFAULT].allocCb, Source::alloc);
}

TEST(DefineLocation, TheDefaultOneCanBeReplaced)
{
    GameMemory memory;
    Source::serve(memory, MEMLOC_DEFAULT);
    void* block = memory.alloc(-1, 1, "test", 1);
    memory.free(-1, block);
    EXPECT_EQ(Source::takeLog(), "alloc 32 = #1, free #1");
}

TEST(DefineLocation, RefusesALocationThatThereIsNotWithMemerrUndefined)
{
    GameMemory memory;
    for (const e_MemoryLocation location : {MEMLOC_TOO_LOW, MEMLOC_TOO_HIGH}) {
        EXPECT_EQ(memory.defineLocAllocCb(location, Source::alloc), MEMERR_UNDEFINED);
        EXPECT_EQ(memory.defineLocReallocCb(location, Source::realloc), MEMERR_UNDEFINED);
        EXPECT_EQ(memory.defineLocFreeCb(location, Source::free), MEMERR_UNDEFINED);
    }
}

TEST(Locking, RefusesEveryDefinitionWithMemerrLocked)
{
    GameMemory memory;
    memory.defineHeap("before", 64);
    memory.locked = 1;

    EXPECT_EQ(memory.defineHeap("after", 64), MEMERR_LOCKED);
    EXPECT_EQ(memory.defineLocAllocCb(MEMLOC_CUSTOM, Source::alloc), MEMERR_LOCKED);
    EXPECT_EQ(memory.defineLocReallocCb(MEMLOC_CUSTOM, Source::realloc), MEMERR_LOCKED);
    EXPECT_EQ(memory.defineLocFreeCb(MEMLOC_CUSTOM, Source::free), MEMERR_LOCKED);
    EXPECT_EQ(memory.bankCount, 1);
    EXPECT_EQ(memory.locations[MEMLOC_CUSTOM].allocCb, nullptr);
    EXPECT_EQ(memory.locations[MEMLOC_CUSTOM].reallocCb, nullptr);
    EXPECT_EQ(memory.locations[MEMLOC_CUSTOM].freeCb, nullptr);
}

TEST(Locking, TheManagerNeverLocksItself)
{
    GameMemory memory;
    memory.defineHeap("bank", 64);
    memory.initialize();
    memory.free(0, memory.alloc(0, 1, "test", 1));
    EXPECT_EQ(memory.locked, 0);
    EXPECT_EQ(memory.defineHeap("late", 64), 1);
}

TEST(Locking, StopsNothingButDefinitions)
{
    GameMemory memory;
    memory.defineHeap("bank", 64);
    memory.locked = 1;
    EXPECT_EQ(memory.initialize(), 0);
    EXPECT_EQ(memory.free(0, memory.alloc(0, 1, "test", 1)), 0);
    EXPECT_EQ(memory.check(0), 0);
}

TEST(Initialize, WithoutBanksAnswersMemerrUndefinedAndChangesNothing)
{
    GameMemory memory;
    Source::serve(memory, MEMLOC_DEFAULT);
    void* block = memory.alloc(-1, 8, "test", 1);
    Source::takeLog();

    EXPECT_EQ(memory.initialize(), MEMERR_UNDEFINED);
    EXPECT_EQ(Source::takeLog(), "");
    EXPECT_EQ(memory.systemBank.bytesInUse, 64u);
    EXPECT_NE(memory.systemBank.extList, nullptr);
    EXPECT_EQ(memory.free(-1, block), 0);
}

TEST(Initialize, TakesOneBlockForTheHeapBanksOfALocationAndOneForEachLinearBank)
{
    GameMemory memory;
    Source::serve(memory, MEMLOC_DEFAULT);
    Source::serve(memory, MEMLOC_CUSTOM);
    memory.defineBank(MEMLOC_CUSTOM, MEMBANK_LINEAR, "a", 32);
    memory.defineBank(MEMLOC_CUSTOM, MEMBANK_HEAP, "b", 64);
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "c", 128);
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_OTHER, "d", 256);
    memory.defineBank(MEMLOC_CUSTOM, MEMBANK_HEAP, "e", 512);
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_LINEAR, "f", 1024);

    EXPECT_EQ(memory.initialize(), 0);
    EXPECT_EQ(Source::takeLog(), "alloc 128 = #1, alloc 576 = #2, alloc 32 = #3, alloc 1024 = #4");
    EXPECT_EQ(memory.locations[MEMLOC_DEFAULT].block, Source::block(1));
    EXPECT_EQ(memory.locations[MEMLOC_DEFAULT].blockSize, 128u);
    EXPECT_EQ(memory.locations[MEMLOC_CUSTOM].block, Source::block(2));
    EXPECT_EQ(memory.locations[MEMLOC_CUSTOM].blockSize, 576u);

    EXPECT_EQ(memory.banks[0].base, Source::block(3));
    EXPECT_EQ(memory.banks[1].base, Source::block(2));
    EXPECT_EQ(memory.banks[2].base, Source::block(1));
    EXPECT_EQ(memory.banks[3].base, nullptr);
    EXPECT_EQ(memory.banks[4].base, Source::block(2) + 64); // behind b, in the order of definition
    EXPECT_EQ(memory.banks[5].base, Source::block(4));
    for (int bank = 0; bank < 6; ++bank) {
        EXPECT_EQ(memory.banks[bank].cursor, memory.banks[bank].base) << bank;
    }
}

TEST(Initialize, WithLinearBanksAloneTakesNoLocationBlock)
{
    GameMemory memory;
    Source::serve(memory, MEMLOC_DEFAULT);
    memory.defineLinear("level", 64);
    memory.initialize();
    EXPECT_EQ(Source::takeLog(), "alloc 64 = #1");
    EXPECT_EQ(memory.locations[MEMLOC_DEFAULT].block, nullptr);
    EXPECT_EQ(memory.locations[MEMLOC_DEFAULT].blockSize, 0u);
}

TEST(Initialize, MakesAHeapBankOneFreeNode)
{
    GameMemory memory;
    memory.defineHeap("first", 96);
    memory.defineHeap("second", 2048);
    memory.initialize();
    for (int index = 0; index < 2; ++index) {
        const MemoryBank_s& bank = memory.banks[index];
        const MemoryHeapNode_s* node = bank.freeList;
        EXPECT_EQ(reinterpret_cast<const char*>(node), bank.base);
        EXPECT_EQ(magicOf(node), 0xdeadf00du);
        EXPECT_EQ(sizeOf(node), bank.size);
        EXPECT_EQ(node->next, nullptr);
        EXPECT_EQ(node->prev, nullptr);
        EXPECT_EQ(bank.usedList, nullptr);
        EXPECT_EQ(bank.extList, nullptr);
        EXPECT_EQ(bank.freeNodeCount, 1u);
        EXPECT_EQ(bank.usedNodeCount, 0u);
    }
}

TEST(Initialize, GivesALinearBankNoNodes)
{
    GameMemory memory;
    const MemoryBank_s& bank = memory.banks[memory.defineLinear("level", 96)];
    memory.initialize();
    EXPECT_NE(bank.base, nullptr);
    EXPECT_EQ(bank.freeList, nullptr);
    EXPECT_EQ(bank.usedList, nullptr);
    EXPECT_EQ(bank.extList, nullptr);
}

TEST(Initialize, TheSystemBankIsAnEmptyHeapOfTheDefaultLocation)
{
    UsedStorage storage;
    GameMemory* memory = storage.makeManager();
    memory->defineHeap("bank", 64);
    memory->initialize();
    EXPECT_EQ(memory->systemBank.location, MEMLOC_DEFAULT);
    EXPECT_EQ(memory->systemBank.type, MEMBANK_HEAP);
    EXPECT_EQ(memory->systemBank.size, 0u);
    EXPECT_EQ(memory->systemBank.bytesInUse, 0u);
    EXPECT_EQ(memory->systemBank.base, nullptr);
    EXPECT_EQ(memory->systemBank.cursor, nullptr);
    EXPECT_EQ(memory->systemBank.freeList, nullptr);
    EXPECT_EQ(memory->systemBank.usedList, nullptr);
    EXPECT_EQ(memory->systemBank.extList, nullptr);
    memory->~GameMemory();
}

TEST(Initialize, KeepsTheCountersOfTheSystemBankAndForgetsItsBlocks)
{
    GameMemory memory;
    Source::serve(memory, MEMLOC_DEFAULT);
    memory.defineHeap("bank", 64);
    memory.alloc(-1, 1, "test", 1);
    memory.initialize();
    EXPECT_EQ(memory.systemBank.allocCount, 1u);
    EXPECT_EQ(memory.systemBank.extNodeCount, 1u);
    EXPECT_EQ(memory.systemBank.peakBytes, 32u);
    EXPECT_EQ(memory.systemBank.bytesInUse, 0u);
    EXPECT_EQ(memory.systemBank.extList, nullptr);
}

// Whatever order they go back in: the two from before are on no list of the manager any more.
TEST(Initialize, BlocksOfTheSystemBankFromBeforeCanStillBeFreed)
{
    std::string order = "0123";
    do {
        GameMemory memory;
        Source::serve(memory, MEMLOC_DEFAULT);
        memory.defineHeap("bank", 64);
        void* blocks[4];
        blocks[0] = memory.alloc(-1, 1, "test", 1);
        blocks[1] = memory.alloc(-1, 2, "test", 2);
        memory.initialize();
        blocks[2] = memory.alloc(-1, 3, "test", 3);
        blocks[3] = memory.alloc(-1, 4, "test", 4);
        for (const char digit : order) {
            EXPECT_EQ(memory.free(-1, blocks[digit - '0']), 0) << order;
        }
        EXPECT_EQ(memory.systemBank.freeCount, 4u);
        EXPECT_EQ(Source::blockCount(), 1u) << order; // the location's own
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(InitializeAgain, FreesTheOldMemoryReadsTheSizesAndAllocatesTheNew)
{
    // The sizes appear while the old memory is going back: between the two.
    static std::string s_path;
    struct Late {
        static void free(void* block)
        {
            writeFile(s_path, "heap=1504\nlinear=100\n");
            Source::free(block);
        }
    };
    GameMemory memory;
    s_path = memory.bankSizePath;
    Source::serve(memory, MEMLOC_DEFAULT);
    Source::serve(memory, MEMLOC_CUSTOM);
    memory.defineLocFreeCb(MEMLOC_DEFAULT, Late::free);
    memory.defineHeap("heap", 1024);
    memory.defineLinear("linear", 64);
    memory.defineBank(MEMLOC_CUSTOM, MEMBANK_HEAP, "custom", 32);
    memory.initialize();
    Source::takeLog();

    EXPECT_EQ(memory.initialize(), 0);
    EXPECT_EQ(Source::takeLog(), "free #1, free #2, free #3, alloc 1504 = #4, alloc 32 = #5, alloc 100 = #6");
    EXPECT_EQ(sizeOf(memory.banks[0].freeList), 1504u);
}

TEST(InitializeAgain, KeepsTheStatistics)
{
    GameMemory memory;
    Source::serve(memory, MEMLOC_DEFAULT);
    memory.defineHeap("heap", 256);
    memory.defineLinear("linear", 256);
    memory.initialize();
    memory.alloc(0, 100, "test", 1);
    memory.free(0, memory.alloc(0, 1, "test", 2));
    void* outside = memory.alloc(0, 990, "test", 3);
    memory.alloc(1, 100, "test", 4);
    memory.initialize();

    const MemoryBank_s& heap = memory.banks[0];
    EXPECT_EQ(heap.allocCount, 3u);
    EXPECT_EQ(heap.freeCount, 1u);
    EXPECT_EQ(heap.usedNodeCount, 1u);
    EXPECT_EQ(heap.freeNodeCount, 1u);
    EXPECT_EQ(heap.extNodeCount, 1u);
    EXPECT_EQ(heap.bytesInUse, 128u + 1024u);
    EXPECT_EQ(heap.peakBytes, 128u + 1024u);
    EXPECT_EQ(sizeOf(heap.freeList), 256u);
    EXPECT_EQ(heap.usedList, nullptr);
    EXPECT_EQ(heap.extList, nullptr);
    EXPECT_EQ(memory.check(0), MEMERR_USED_COUNT); // one in use by the count, none on the list
    EXPECT_EQ(memory.banks[1].bytesInUse, 128u);
    EXPECT_EQ(memory.banks[1].cursor, memory.banks[1].base);

    EXPECT_EQ(memory.free(0, outside), 0); // still the caller's, and still goes back
}

TEST(InitializeAgain, NeverFreesTheMemoryOfABankTwice)
{
    GameMemory memory;
    Source::serve(memory, MEMLOC_DEFAULT);
    memory.defineHeap("heap", 64);
    memory.defineLinear("linear", 64);
    memory.initialize();
    writeFile(memory.bankSizePath, "heap=0\nlinear=0\n"); // neither will have memory of its own
    memory.initialize();
    memory.initialize();
    EXPECT_EQ(Source::takeLog(), "alloc 64 = #1, alloc 64 = #2, free #1, free #2");
    EXPECT_EQ(memory.banks[0].base, nullptr);
    EXPECT_EQ(memory.banks[1].base, nullptr);
}

TEST(InitializeAgain, WithoutMemoryLeavesTheBanksToTheFallback)
{
    GameMemory memory;
    Source::serve(memory, MEMLOC_DEFAULT);
    memory.defineHeap("heap", 64 << 10); // large enough for an index
    memory.defineLinear("linear", 1024);
    memory.initialize();
    memory.alloc(0, 100, "test", 1);
    memory.alloc(1, 100, "test", 1);
    Source::largest = 512;
    Source::takeLog();
    EXPECT_EQ(memory.initialize(), 0);
    EXPECT_EQ(Source::takeLog(), "free #1, free #2, alloc 65536 = null, alloc 1024 = null");
    for (int bank = 0; bank < 2; ++bank) {
        EXPECT_EQ(memory.banks[bank].base, nullptr) << bank;
        EXPECT_EQ(memory.banks[bank].cursor, nullptr) << bank;
        EXPECT_EQ(memory.banks[bank].freeList, nullptr) << bank;
        EXPECT_EQ(memory.banks[bank].usedList, nullptr) << bank;
    }
    void* block = memory.alloc(0, 100, "test", 2);
    EXPECT_EQ(Source::takeLog(), "alloc 128 = #3");
    EXPECT_EQ(memory.free(0, block), 0);
    EXPECT_EQ(Source::takeLog(), "free #3");
}

TEST(ThirtyTwoBanks, AreMadeServeAndLeaveTheirSizes)
{
    std::string path;
    std::string sizes;
    {
        GameMemory memory;
        path = memory.bankSizePath;
        Source::serve(memory, MEMLOC_DEFAULT);
        for (int bank = 0; bank < 32; ++bank) {
            memory.defineHeap(("bank" + std::to_string(bank)).c_str(), 32 << 10);
        }
        memory.initialize();
        for (int bank = 0; bank < 32; ++bank) {
            EXPECT_EQ(memory.banks[bank].base, memory.banks[0].base + bank * (32 << 10)) << bank;
            void* first = memory.alloc(bank, 39, "test", 1);
            memory.alloc(bank, (32 << 10) - 25 - 64, "test", 1);
            EXPECT_EQ(static_cast<char*>(first), memory.banks[bank].base + 24) << bank;
            EXPECT_EQ(memory.check(bank), 0) << bank;
            EXPECT_EQ(memory.free(bank, first), 0) << bank;
            EXPECT_EQ(memory.alloc(bank, 39, "test", 1), first) << bank;
            sizes += "bank" + std::to_string(bank) + "=32768\n";
        }
    }
    EXPECT_EQ(readFile(path), sizes);
}

TEST(FailingLocation, LeavesItsBanksToTheFallback)
{
    GameMemory memory;
    Source::serve(memory, MEMLOC_DEFAULT);
    memory.defineHeap("heap", 256);
    memory.defineHeap("second heap", 256);
    memory.defineLinear("linear", 256);
    Source::largest = 0;
    EXPECT_EQ(memory.initialize(), 0);
    EXPECT_EQ(Source::takeLog(), "alloc 512 = null, alloc 256 = null");
    Source::largest = ULONG_MAX;

    for (int bank = 0; bank < 3; ++bank) {
        EXPECT_EQ(memory.getMemoryBankSize(bank), 256u);
        EXPECT_EQ(memory.banks[bank].base, nullptr);
        EXPECT_EQ(memory.banks[bank].freeList, nullptr);
        void* block = memory.alloc(bank, 40, "test", 1);
        memset(block, 0xff, 40);
        EXPECT_EQ(memory.banks[bank].extNodeCount, 1u);
        EXPECT_EQ(memory.free(bank, block), 0);
        EXPECT_EQ(memory.banks[bank].bytesInUse, 0u);
    }
    EXPECT_EQ(Source::takeLog().substr(0, 61), "alloc 96 = #1, free #1, alloc 96 = #2, free #2, alloc 88 = #3");
}

TEST(FailingLocation, IsNeverAskedToFreeNull)
{
    {
        GameMemory memory;
        Source::serve(memory, MEMLOC_DEFAULT);
        memory.defineHeap("heap", 256);
        memory.defineLinear("linear", 256);
        Source::largest = 0;
        memory.initialize();
        memory.initialize();
    }
    EXPECT_EQ(Source::takeLog(), "alloc 256 = null, alloc 256 = null, alloc 256 = null, alloc 256 = null");
}

TEST(FailingLocation, WithoutCallbacksGivesItsBanksNoMemory)
{
    GameMemory memory;
    memory.defineBank(MEMLOC_CUSTOM, MEMBANK_HEAP, "heap", 256);
    memory.defineBank(MEMLOC_CUSTOM, MEMBANK_LINEAR, "linear", 256);
    EXPECT_EQ(memory.initialize(), 0);
    EXPECT_EQ(memory.banks[0].base, nullptr);
    EXPECT_EQ(memory.banks[1].base, nullptr);

    Source::serve(memory, MEMLOC_CUSTOM); // just in time
    EXPECT_NE(memory.alloc(0, 8, "test", 1), nullptr);
    EXPECT_NE(memory.alloc(1, 8, "test", 1), nullptr);
    EXPECT_EQ(Source::takeLog(), "alloc 64 = #1, alloc 56 = #2");
}

TEST(FailingLocation, WithoutAFreeCallbackTheCallsStillReturn0)
{
    GameMemory memory;
    memory.defineLocAllocCb(MEMLOC_CUSTOM, Source::alloc);
    memory.defineBank(MEMLOC_CUSTOM, MEMBANK_HEAP, "heap", 256);
    memory.defineBank(MEMLOC_CUSTOM, MEMBANK_LINEAR, "linear", 256);
    memory.initialize();
    EXPECT_EQ(memory.free(0, memory.alloc(0, 1000, "test", 1)), 0);
    memory.alloc(1, 1000, "test", 1);
    EXPECT_EQ(memory.free(1, nullptr), 0);
}

TEST(Shutdown, ReleasesTheLocationsThenTheLinearBanksThenWritesTheSizes)
{
    static std::string s_path;
    struct Watching {
        static void free(void* block)
        {
            EXPECT_EQ(readFile(s_path), "(no file)");
            Source::free(block);
        }
    };
    {
        GameMemory memory;
        s_path = memory.bankSizePath;
        for (const e_MemoryLocation location : {MEMLOC_DEFAULT, MEMLOC_CUSTOM}) {
            Source::serve(memory, location);
            memory.defineLocFreeCb(location, Watching::free);
        }
        memory.defineLinear("a", 32);
        memory.defineBank(MEMLOC_CUSTOM, MEMBANK_HEAP, "b", 64);
        memory.defineHeap("c", 96);
        memory.defineBank(MEMLOC_CUSTOM, MEMBANK_LINEAR, "d", 128);
        memory.defineBank(MEMLOC_DEFAULT, MEMBANK_OTHER, "e", 160);
        memory.initialize();
        EXPECT_EQ(Source::takeLog(), "alloc 96 = #1, alloc 64 = #2, alloc 32 = #3, alloc 128 = #4");
    }
    EXPECT_EQ(Source::takeLog(), "free #1, free #2, free #3, free #4");
    EXPECT_EQ(readFile(s_path), "a=32\nb=64\nc=96\nd=128\ne=160\n");
}

TEST(Shutdown, LeavesFallbackBlocksToTheirOwners)
{
    void* blocks[3];
    {
        GameMemory memory;
        Source::serve(memory, MEMLOC_DEFAULT);
        memory.defineHeap("heap", 32);
        memory.defineLinear("linear", 32);
        memory.initialize();
        blocks[0] = memory.alloc(0, 100, "test", 1);
        blocks[1] = memory.alloc(1, 100, "test", 2);
        blocks[2] = memory.alloc(-1, 100, "test", 3);
    }
    EXPECT_EQ(Source::blockCount(), 3u);
    for (void* block : blocks) {
        memset(block, 0xff, 100);
    }
}

TEST(Shutdown, LeavesTheGlobalPointerAsItIs)
{
    alignas(GameMemory) unsigned char storage[sizeof(GameMemory)];
    GameMemory* memory = ::new (storage) GameMemory;
    memory->~GameMemory();
    EXPECT_EQ(g_MemoryPtr, memory);
}

TEST(Shutdown, WithoutInitializeFreesNothing)
{
    UsedStorage storage;
    GameMemory* memory = storage.makeManager();
    Source::serve(*memory, MEMLOC_DEFAULT);
    memory->defineHeap("heap", 64);
    memory->defineLinear("linear", 64);
    const std::string path = memory->bankSizePath;
    memory->~GameMemory();
    EXPECT_EQ(Source::takeLog(), "");
    EXPECT_EQ(readFile(path), "heap=64\nlinear=64\n");
}

// A manager whose storage begins where the compiler doesn't take it for granted.
struct alignas(64) AlignedMemory : GameMemory {};

// MemoryMgr is not the first of its bases.
struct Listener {
    virtual ~Listener() {}
    int heard = 0;
};
struct ListeningMemory : Listener, GameMemory {};

TEST(PlainNew, MakesAManagerThatDeleteReleases)
{
    MemoryMgr* memory = new GameMemory;
    EXPECT_EQ(g_MemoryPtr, memory);
    memory->defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "heap", 1024);
    memory->initialize();
    EXPECT_NE(memory->alloc(0, 100, "test", 1), nullptr);
    delete memory;

    // The C library counts large blocks one by one.
    const size_t bytes = mallinfo2().hblkhd;
    MemoryMgr::operator delete(MemoryMgr::operator new(1 << 20));
    EXPECT_EQ(mallinfo2().hblkhd, bytes);
}

TEST(PlainNew, MakesSeveralManagersInAnyOrder)
{
    std::string order = "012";
    do {
        GameMemory* memories[3];
        for (GameMemory*& memory : memories) {
            memory = new GameMemory;
            memory->defineHeap("heap", 1024);
            memory->initialize();
        }
        for (const char digit : order) {
            delete memories[digit - '0'];
        }
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(PlainNew, ServesClassesOfAnyAlignmentAndWithSeveralBases)
{
    AlignedMemory* aligned = new AlignedMemory;
    EXPECT_EQ(reinterpret_cast<uintptr_t>(aligned) % 64, 0u);
    delete aligned;
    MemoryMgr* listening = new ListeningMemory;
    delete listening;
}

TEST(PlainNew, DeleteOfNullDoesNothing)
{
    delete static_cast<MemoryMgr*>(nullptr);
}

TEST(PlacedNew, ConstructsAManagerInTheGamesStorage)
{
    alignas(GameMemory) static unsigned char s_storage[sizeof(GameMemory)]; // nothing of ours lies in front of it
    GameMemory* memory = new (s_storage) GameMemory;
    EXPECT_EQ(static_cast<void*>(memory), s_storage);
    memory->defineHeap("heap", 1024);
    memory->initialize();
    deleteManager(memory); // the storage stays the game's
    memory = new (s_storage) GameMemory;
    GameMemory other;
    other.defineHeap("heap", 1024);
    other.initialize();
    deleteManager(memory);
    EXPECT_EQ(other.banks[0].freeCount, 0u);
}

TEST(PlacedNew, DeletingAManagerInABlockOfBank0FreesTheBlock)
{
    static const struct {
        e_MemoryBankType type;
        unsigned int size;
    } sc_cases[] = {
        {MEMBANK_HEAP, 2 * sizeof(GameMemory)},
        {MEMBANK_HEAP, 32}, // a fallback block
        {MEMBANK_LINEAR, 2 * sizeof(GameMemory)},
    };
    for (const auto& c : sc_cases) {
        GameMemory memory;
        remove(memory.bankSizePath);
        memory.defineBank(MEMLOC_DEFAULT, c.type, "bank", c.size);
        memory.initialize();
        void* storage = memory.alloc(0, sizeof(GameMemory) + 16, "test", 1);
        // A block's address is a multiple of 8, and a manager needs no more.
        GameMemory* second = new (storage) GameMemory;
        EXPECT_EQ(g_MemoryPtr, second);
        deleteManager(second); // whichever manager is in the global pointer
        EXPECT_EQ(memory.banks[0].freeCount, 1u);
        EXPECT_EQ(memory.banks[0].bytesInUse, 0u);
        EXPECT_EQ(memory.banks[0].extList, nullptr);
    }
}

TEST(PlacedNew, DeletingAManagerInAnOlderFallbackBlockOfBank0FreesTheBlock)
{
    GameMemory memory;
    memory.defineHeap("bank", 32);
    memory.initialize();
    void* storage = memory.alloc(0, sizeof(GameMemory), "test", 1);
    void* newer = memory.alloc(0, 100, "test", 2);
    deleteManager(new (storage) GameMemory);
    EXPECT_EQ(memory.banks[0].freeCount, 1u);
    EXPECT_EQ(memory.banks[0].extList, static_cast<MemoryHeapNode_s*>(newer) - 1);
    memory.free(0, newer);
}

TEST(PlacedNew, DeletingAManagerWhileBank0HasNoMemoryFreesNothing)
{
    GameMemory memory; // without banks
    UsedStorage storage;
    deleteManager(storage.makeManager());
    EXPECT_EQ(memory.banks[0].freeCount, 0u);
}

// The compiler calls the class's operator delete.
TEST(PlacedNew, AConstructorThatThrowsLeavesTheStorageToTheGame)
{
    struct ThrowingMemory : GameMemory {
        ThrowingMemory() { throw 1; }
    };
    alignas(ThrowingMemory) static unsigned char s_storage[sizeof(ThrowingMemory)];
    EXPECT_THROW(new (s_storage) ThrowingMemory, int);
    EXPECT_THROW(new ThrowingMemory, int); // the address sanitizer tells what is left
}

TEST(PlacedNew, DeletingAManagerInAnotherBankKeepsTheBlock)
{
    GameMemory memory;
    memory.defineHeap("core", 1024);
    const int bank = memory.defineHeap("game", 2 * sizeof(GameMemory));
    memory.initialize();
    void* storage = memory.alloc(bank, sizeof(GameMemory), "test", 1);
    deleteManager(new (storage) GameMemory);
    EXPECT_EQ(memory.check(0, true), MEMERR_NONE);
    EXPECT_EQ(memory.free(bank, storage), MEMERR_NONE);
    EXPECT_EQ(memory.check(bank, true), MEMERR_NONE);
}

// operator delete looks into the banks of the first four managers only.
TEST(PlacedNew, DeletingAManagerInABankOfTheFifthManagerKeepsTheBlock)
{
    GameMemory managers[5];
    GameMemory& fifth = managers[4];
    fifth.defineHeap("core", 2 * sizeof(GameMemory));
    fifth.initialize();
    deleteManager(new (fifth.alloc(0, sizeof(GameMemory), "test", 1)) GameMemory);
    EXPECT_EQ(fifth.banks[0].usedNodeCount, 1u);
}

// Only one manager is the game's; a second one comes and goes here because deleting needs a bank to give
// the storage back to.
TEST(Deletion, GivesTheStorageBackToBank0OfTheManagerInTheGlobalPointer)
{
    GameMemory memory;
    memory.defineHeap("heap", 2 * sizeof(GameMemory));
    memory.initialize();

    MemoryMgr* second = ::new (memory.alloc(0, sizeof(GameMemory), "test", 1)) GameMemory;
    g_MemoryPtr = &memory;
    EXPECT_EQ(memory.banks[0].usedNodeCount, 1u);
    deleteManager(second);
    EXPECT_EQ(memory.banks[0].usedNodeCount, 0u);
    EXPECT_EQ(memory.banks[0].freeCount, 1u);
    EXPECT_EQ(memory.check(0, true), 0);
}

TEST(Deletion, OfTheManagerInTheGlobalPointerOnlyDestroysIt)
{
    // Looks like a fallback block of bank 0, but whose bank would that be?
    struct {
        alignas(GameMemory) unsigned char before[64];
        alignas(GameMemory) unsigned char object[sizeof(GameMemory)];
    } storage = {};
    setHeaderWord(storage.object, 0, 0xfeedface);
    setHeaderWord(storage.object, 1, 0x80000040);
    GameMemory* memory = ::new (storage.object) GameMemory;
    Source::serve(*memory, MEMLOC_DEFAULT);
    memory->defineHeap("heap", 64);
    memory->initialize();
    const std::string path = memory->bankSizePath;
    deleteManager(memory);
    EXPECT_EQ(Source::takeLog(), "alloc 64 = #1, free #1");
    EXPECT_EQ(readFile(path), "heap=64\n");
}

TEST(Deletion, FreesTheBlockInAManagerMadeAtTheAddressOfAnEndedOne)
{
    UsedStorage storage;
    storage.makeManager()->~GameMemory();
    GameMemory* memory = storage.makeManager();
    memory->defineHeap("heap", 2 * sizeof(GameMemory));
    memory->initialize();

    MemoryMgr* second = ::new (memory->alloc(0, sizeof(GameMemory), "test", 1)) GameMemory;
    g_MemoryPtr = memory;
    deleteManager(second);
    EXPECT_EQ(memory->check(0, true), 0);
    memory->~GameMemory();
}

TEST(Deletion, DoesNotFreeStorageThatIsNoBlock)
{
    struct {
        unsigned char before[24];
        alignas(GameMemory) unsigned char object[sizeof(GameMemory)];
    } storage = {};
    GameMemory memory;
    memory.defineHeap("heap", 64);
    memory.initialize();
    MemoryMgr* second = ::new (storage.object) GameMemory;
    g_MemoryPtr = &memory;
    deleteManager(second);
    EXPECT_EQ(memory.banks[0].freeCount, 0u);
    EXPECT_EQ(memory.check(0, true), 0);
}

TEST(Deletion, WithoutAManagerOnlyDestroysTheObject)
{
    UsedStorage storage;
    MemoryMgr* memory = storage.makeManager();
    g_MemoryPtr = nullptr;
    deleteManager(memory);
    EXPECT_EQ(g_MemoryPtr, nullptr);
}

TEST(UndefinedBanks, DrawFromTheDefaultLocation)
{
    GameMemory memory;
    Source::serve(memory, MEMLOC_DEFAULT);
    memory.defineHeap("heap", 64);
    memory.initialize();
    void* block = memory.alloc(31, 100, "test", 1);
    memset(block, 0xff, 100);
    EXPECT_EQ(memory.getSize(31, block), 104u);
    EXPECT_EQ(memory.free(31, block), 0);
    EXPECT_EQ(Source::takeLog(), "alloc 64 = #1, alloc 128 = #2, free #2");
}

TEST(ImpossibleBanks, AreRefusedByEveryCall)
{
    GameMemory memory;
    Source::serve(memory, MEMLOC_DEFAULT);
    memory.defineHeap("heap", 64);
    memory.initialize();
    void* block = memory.alloc(0, 8, "test", 1);
    Source::takeLog();
    for (const int bank : {-2, 32, 33, INT_MIN, INT_MAX}) {
        EXPECT_EQ(memory.alloc(bank, 8, "test", 1), nullptr) << bank;
        EXPECT_EQ(memory.free(bank, block), MEMERR_BLOCK) << bank;
        EXPECT_EQ(memory.free(bank, nullptr), MEMERR_BLOCK) << bank;
        EXPECT_EQ(memory.getSize(bank, block), 0u) << bank;
        EXPECT_EQ(memory.getMemoryBankSize(bank), 0u) << bank;
        unsigned int largestFree = 99;
        EXPECT_EQ(memory.checkMemory(bank, &largestFree, true), 0) << bank;
        EXPECT_EQ(largestFree, 0u) << bank;
    }
    EXPECT_EQ(Source::takeLog(), "");
    EXPECT_EQ(memory.check(0), 0);
}

} // namespace
