// Several threads at once: blocks never overlap, counters add up, and banks don't wait for each other.
//
// THREAD_OPERATIONS in the environment says how many operations the threads do on all 33 banks, in rounds of 16,000 and
// a few more; one round by default. The test prints the number of operations.
#include "tests/support/game_memory.h"

#include <atomic>
#include <random>
#include <thread>
#include <vector>

namespace {

const int sc_threads = 8;
const int sc_steps = 10000; // of each thread

template <typename Work>
void inThreads(Work work)
{
    std::vector<std::thread> threads;
    for (int thread = 0; thread < sc_threads; ++thread) {
        threads.emplace_back(work, thread);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

// A block and what its owner has written into it.
class Block {
public:
    Block(GameMemory& memory, int bank, unsigned long size, unsigned int stamp)
        : m_bytes(static_cast<unsigned char*>(memory.alloc(bank, size, "test", stamp))), m_size(size),
          m_stamp(static_cast<unsigned char>(stamp))
    {
        memset(m_bytes, m_stamp, m_size);
    }

    bool isIntact() const
    {
        return std::all_of(m_bytes, m_bytes + m_size, [this](unsigned char byte) { return byte == m_stamp; });
    }
    void* bytes() const { return m_bytes; }
    unsigned long size() const { return m_size; }

private:
    unsigned char* m_bytes;
    unsigned long m_size;
    unsigned char m_stamp;
};

// Takes blocks, looks after them and frees them again, all of them in the end.
void useBank(GameMemory& memory, int bank, unsigned int stamp)
{
    std::mt19937 random(stamp);
    std::vector<Block> blocks;
    int damaged = 0;
    int refused = 0;
    for (int step = 0; step < sc_steps || !blocks.empty(); ++step) {
        if (step < sc_steps && (blocks.empty() || (blocks.size() < 24 && random() % 3 != 0))) {
            blocks.emplace_back(memory, bank, 1 + random() % 300, stamp);
            continue;
        }
        std::swap(blocks[random() % blocks.size()], blocks.back());
        damaged += !blocks.back().isIntact();
        refused += bank >= 0 && memory.getSize(bank, blocks.back().bytes()) < blocks.back().size();
        refused += memory.free(bank, blocks.back().bytes()) != 0;
        blocks.pop_back();
    }
    EXPECT_EQ(damaged, 0);
    EXPECT_EQ(refused, 0);
}

void expectEmpty(const MemoryBank_s& bank)
{
    EXPECT_EQ(bank.allocCount, bank.freeCount);
    EXPECT_EQ(bank.bytesInUse, 0u);
    EXPECT_EQ(bank.usedNodeCount, 0u);
    EXPECT_EQ(bank.usedList, nullptr);
    EXPECT_EQ(bank.extList, nullptr);
}

TEST(Threads, ShareAHeapBankAndItsFallback)
{
    GameMemory memory;
    memory.defineHeap("shared", 2048); // less than one of them wants
    memory.initialize();
    inThreads([&memory](int thread) { useBank(memory, 0, thread + 1); });
    expectEmpty(memory.banks[0]);
    EXPECT_GE(memory.banks[0].allocCount, sc_threads * sc_steps / 2u);
    EXPECT_GT(memory.banks[0].extNodeCount, 0u);
    EXPECT_EQ(memory.check(0, true), MEMERR_OVERFLOW);
    EXPECT_EQ(sizeOf(memory.banks[0].freeList), 2048u);
}

TEST(Threads, UseABankEach)
{
    GameMemory memory;
    for (int bank = 0; bank < sc_threads; ++bank) {
        memory.defineHeap("bank", bank % 2 ? 16384 : 65536); // without an index, and with one
    }
    memory.initialize();
    inThreads([&memory](int thread) { useBank(memory, thread, thread + 1); });
    for (int bank = 0; bank < sc_threads; ++bank) {
        expectEmpty(memory.banks[bank]);
        EXPECT_EQ(memory.check(bank, true), 0);
    }
}

TEST(Threads, ShareTheSystemBank)
{
    GameMemory memory;
    inThreads([&memory](int thread) { useBank(memory, -1, thread + 1); });
    expectEmpty(memory.systemBank);
    EXPECT_EQ(memory.systemBank.extNodeCount, memory.systemBank.allocCount);
}

bool isLinear(int bank)
{
    return bank % 4 == 3;
}

// Uses the banks -1 to 31 in turn. Writes the number of operations to *operations. The blocks in linear banks stay in use:
// the main thread empties these banks.
void useAllBanks(GameMemory& memory, unsigned int stamp, std::atomic<long>* operations)
{
    std::mt19937 random(stamp);
    std::vector<std::pair<int, Block>> blocks; // with their banks
    std::vector<Block> level;                  // in linear banks
    const int growing = 2000;                  // steps
    int faults = 0;
    int step = 0;
    for (; step < growing || !blocks.empty(); ++step) {
        if (step < growing && (blocks.empty() || (blocks.size() < 64 && random() % 3 != 0))) {
            const int bank = static_cast<int>(random() % 33) - 1;
            const Block block(memory, bank, 1 + random() % 300, stamp);
            if (isLinear(bank)) {
                level.push_back(block);
            } else {
                blocks.emplace_back(bank, block);
            }
            continue;
        }
        std::swap(blocks[random() % blocks.size()], blocks.back());
        const auto [bank, block] = blocks.back();
        faults += !block.isIntact();
        faults += bank >= 0 && memory.getSize(bank, block.bytes()) < block.size();
        faults += memory.free(bank, block.bytes()) != 0;
        blocks.pop_back();
    }
    faults += std::count_if(level.begin(), level.end(), [](const Block& block) { return !block.isIntact(); });
    EXPECT_EQ(faults, 0);
    *operations += step;
}

// The heap banks are, in turn, too small for all requests, without an index, and with one.
void defineAllBanks(GameMemory& memory)
{
    static const unsigned int sc_sizes[] = {2048, 8192, 32768, 4096};
    memory.defineLocAllocCb(MEMLOC_CUSTOM, [](unsigned long size) { return malloc(size); });
    memory.defineLocFreeCb(MEMLOC_CUSTOM, ::free);
    memory.defineLocReallocCb(MEMLOC_CUSTOM, [](void* block, unsigned long size) { return ::realloc(block, size); });
    for (int bank = 0; bank < 32; ++bank) {
        const e_MemoryLocation location = bank < 16 ? MEMLOC_DEFAULT : MEMLOC_CUSTOM;
        memory.defineBank(location, isLinear(bank) ? MEMBANK_LINEAR : MEMBANK_HEAP, "bank", sc_sizes[bank % 4]);
    }
}

TEST(Threads, UseAll33BanksAtOnce)
{
    const char* asked = getenv("THREAD_OPERATIONS");
    const long wanted = asked ? atol(asked) : 1;
    GameMemory memory;
    defineAllBanks(memory);
    memory.initialize();
    std::atomic<long> operations = 0;
    for (unsigned int round = 0; operations < wanted && !HasFailure(); ++round) {
        inThreads([&](int thread) { useAllBanks(memory, sc_threads * round + thread + 1, &operations); });
        for (int bank = -1; bank < 32; ++bank) {
            if (isLinear(bank)) {
                memory.free(bank, nullptr);
            }
            const MemoryBank_s& its = bank < 0 ? memory.systemBank : memory.banks[bank];
            EXPECT_EQ(its.bytesInUse, 0u);
            EXPECT_EQ(its.usedNodeCount, 0u);
            EXPECT_EQ(its.usedList, nullptr);
            EXPECT_EQ(its.extList, nullptr);
            EXPECT_GT(its.allocCount, 0u);
        }
    }
    printf("%ld operations\n", operations.load());
}

TEST(Threads, ShareALinearBank)
{
    GameMemory memory;
    memory.defineLinear("level", 4096);
    memory.initialize();
    for (unsigned int round = 1; round <= 20; ++round) {
        std::vector<Block> blocks[sc_threads];
        inThreads([&](int thread) {
            for (unsigned int i = 0; i < 10 * round; ++i) {
                blocks[thread].emplace_back(memory, 0, 1 + (i * 37) % 100, thread + i);
            }
        });
        for (const std::vector<Block>& those : blocks) {
            for (const Block& block : those) {
                ASSERT_TRUE(block.isIntact());
            }
        }
        EXPECT_EQ(memory.banks[0].allocCount, sc_threads * 10 * round * (round + 1) / 2);
        memory.free(0, nullptr); // the level is over; the next one is larger
        EXPECT_EQ(memory.banks[0].bytesInUse, 0u);
        EXPECT_EQ(memory.banks[0].extList, nullptr);
    }
    EXPECT_GE(memory.getMemoryBankSize(0), memory.banks[0].peakBytes / 2);
}

TEST(Threads, MayEachNameManySources)
{
    static char s_shared[2000];
    static char s_own[sc_threads][2000];
    GameMemory memory;
    for (int bank = 0; bank < sc_threads; ++bank) {
        memory.defineHeap("bank", 2 * 2000 * 32);
    }
    memory.initialize();
    inThreads([&memory](int thread) {
        int mistaken = 0;
        for (int i = 0; i < 2000; ++i) {
            for (const char* source : {&s_shared[i], &s_own[thread][i]}) {
                memory.alloc(thread, 1, source, i);
                mistaken += memory.banks[thread].usedList->file != source;
            }
        }
        EXPECT_EQ(mistaken, 0);
    });
    for (int bank = 0; bank < sc_threads; ++bank) {
        const MemoryHeapNode_s* node = memory.banks[bank].usedList;
        for (int i = 1999; i >= 0; --i) {
            ASSERT_EQ(node->file, &s_own[bank][i]);
            node = node->next;
            ASSERT_EQ(node->file, &s_shared[i]);
            node = node->next;
        }
    }
}

// While bank 0 waits for its location, the location asks others to use the manager.
TEST(Threads, WaitForTheirBankAndForNoOther)
{
    static std::thread s_same;
    static std::atomic<bool> s_sameBegun;
    static std::atomic<bool> s_sameServed;
    struct Slow {
        static void* alloc(unsigned long size)
        {
            if (s_sameBegun) {
                return Source::alloc(size);
            }
            s_same = std::thread([] {
                s_sameBegun = true;
                g_MemoryPtr->alloc(0, 100, "test", 2);
                s_sameServed = true;
            });
            while (!s_sameBegun) {
                std::this_thread::yield();
            }
            for (int i = 0; i < 100; ++i) {
                std::thread([] { EXPECT_NE(g_MemoryPtr->alloc(1, 1, "test", 3), nullptr); }).join();
                std::thread([] { g_MemoryPtr->free(-1, g_MemoryPtr->alloc(-1, 1, "test", 4)); }).join();
            }
            EXPECT_FALSE(s_sameServed);
            return Source::alloc(size);
        }
    };
    GameMemory memory;
    memory.defineLocAllocCb(MEMLOC_CUSTOM, Slow::alloc);
    memory.defineLocFreeCb(MEMLOC_CUSTOM, Source::free);
    memory.defineBank(MEMLOC_CUSTOM, MEMBANK_OTHER, "slow", 32);
    memory.defineHeap("quick", 8192);
    memory.initialize();

    memory.alloc(0, 100, "test", 1);
    s_same.join();
    EXPECT_TRUE(s_sameServed);
    EXPECT_EQ(memory.banks[0].allocCount, 2u);
    EXPECT_EQ(lineOf(memory.banks[0].extList), 2u); // the second came second
    EXPECT_EQ(memory.banks[1].allocCount, 100u);
}

} // namespace
