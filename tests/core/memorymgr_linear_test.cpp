// Linear banks of 2 GiB and more, and realloc callbacks that call the manager for the bank that is growing.
// memorymgr_heap_test has all other tests of linear banks.
#include "tests/support/game_memory.h"

#include <stdint.h>
#include <sys/mman.h>

namespace {

const unsigned int sc_gigabyte = 1u << 30;

// A region of any size with no memory behind it. A linear bank never reads or writes its region, so the arithmetic can be
// tested on every host. Fallback blocks come from the heap.
struct Unbacked {
    static inline char s_start[32];
    static inline std::string s_asked;

    static void* alloc(unsigned long size)
    {
        s_asked += (s_asked.empty() ? "alloc " : ", alloc ") + std::to_string(size);
        return size < 4096 ? ::malloc(size) : s_start;
    }
    static void* realloc(void*, unsigned long size)
    {
        s_asked += ", realloc " + std::to_string(size);
        return s_start;
    }
    static void free(void* block)
    {
        if (block != s_start) {
            ::free(block);
        }
    }

    static void serve(MemoryMgr& memory)
    {
        memory.defineLocAllocCb(MEMLOC_CUSTOM, alloc);
        memory.defineLocReallocCb(MEMLOC_CUSTOM, realloc);
        memory.defineLocFreeCb(MEMLOC_CUSTOM, free);
    }
};

// A manager with one linear bank of this size, in a region with no memory behind it.
class Unreal : public GameMemory {
public:
    explicit Unreal(unsigned int size)
    {
        Unbacked::serve(*this);
        defineBank(MEMLOC_CUSTOM, MEMBANK_LINEAR, "level", 32);
        writeFile(bankSizePath, "level=" + std::to_string(size) + "\n");
        initialize();
    }

    // Where the next block begins, in bytes from the start of the bank.
    uintptr_t place(unsigned long size)
    {
        return reinterpret_cast<uintptr_t>(alloc(0, size, "test", 1)) - reinterpret_cast<uintptr_t>(banks[0].base);
    }
};

TEST(LargeLinear, ItsLocationIsAskedForExactlyTheBanksSize)
{
    static const struct {
        const char* file;
        const char* asked;
    } sc_cases[] = {
        {"level=2147483647\n", "alloc 2147483647"}, // one byte less than 2 GiB
        {"level=2147483648\n", "alloc 2147483648"},
        {"level=3221225472\n", "alloc 3221225472"},
        {"level=-32\n", "alloc 4294967264"},
        {"level=-1\n", "alloc 4294967295"},
        {"level=0\n", ""}, // no bytes are no question
    };
    for (const auto& c : sc_cases) {
        Unbacked::s_asked.clear();
        GameMemory memory;
        Unbacked::serve(memory);
        memory.defineBank(MEMLOC_CUSTOM, MEMBANK_LINEAR, "level", 32);
        writeFile(memory.bankSizePath, c.file);
        memory.initialize();
        EXPECT_EQ(Unbacked::s_asked, c.asked) << c.file;
        EXPECT_EQ(memory.banks[0].base, *c.asked ? Unbacked::s_start : nullptr) << c.file;
    }
}

TEST(LargeLinear, HandsOutItsRegionToTheLastByte)
{
    Unreal memory(3 * sc_gigabyte);
    EXPECT_EQ(memory.place(sc_gigabyte), 0u);
    EXPECT_EQ(memory.place(sc_gigabyte), sc_gigabyte);
    EXPECT_EQ(memory.place(sc_gigabyte - 33), 2 * sc_gigabyte); // rounded up to 32 less than 1 GiB
    EXPECT_EQ(memory.place(32), 3 * sc_gigabyte - 32);
    EXPECT_EQ(memory.banks[0].bytesInUse, 3 * sc_gigabyte);
    EXPECT_EQ(memory.banks[0].peakBytes, 3 * sc_gigabyte);
    EXPECT_EQ(memory.banks[0].extNodeCount, 0u);

    unsigned int largestFree = 99;
    EXPECT_EQ(memory.checkMemory(0, &largestFree, false), 0);
    EXPECT_EQ(largestFree, 0u);
    memory.alloc(0, 1, "test", 1);
    EXPECT_EQ(memory.banks[0].extNodeCount, 1u);
    memory.free(0, nullptr); // gives that fallback block back
}

// Only a fallback block has a header, whose size word ends below 2 GiB.
TEST(LargeLinear, ServesARequestOf2GiBAndMoreFromItsRegion)
{
    Unreal memory(4294967264u); // a multiple of 32
    EXPECT_EQ(memory.place(0x80000001), 0u);
    EXPECT_EQ(memory.place(0x7fffffc0), 0x80000020u);
    EXPECT_EQ(memory.banks[0].bytesInUse, 4294967264u);
    memory.free(0, nullptr);
    EXPECT_EQ(memory.place(4294967264u), 0u);
    memory.free(0, nullptr);
    EXPECT_EQ(memory.banks[0].extNodeCount, 0u);
}

TEST(LargeLinear, EndsTheGameWhereAFallbackBlockWouldNeed31BitsAndMore)
{
    unsetenv("DISPLAY"); // alerts go to the standard error stream
    unsetenv("WAYLAND_DISPLAY");
    Unreal memory(4294967295u);
    memory.alloc(0, 0x80000000, "test", 1);
    for (const unsigned long size :
         {0x80000000ul, 0xffffffe0ul, 0xffffffe1ul, 0xfffffffful, ULONG_MAX - 31, ULONG_MAX}) {
        EXPECT_EXIT(memory.alloc(0, size, "test", 1), testing::ExitedWithCode(255), "onOutOfMemory\\(0\\)") << size;
    }
}

TEST(LargeLinear, GrowsPast2GiB)
{
    Unbacked::s_asked.clear();
    Unreal memory(sc_gigabyte + sc_gigabyte / 2);
    memory.alloc(0, sc_gigabyte + sc_gigabyte / 2, "test", 1);
    memory.alloc(0, 32, "test", 1);
    EXPECT_EQ(memory.free(0, nullptr), 0);
    EXPECT_EQ(Unbacked::s_asked, "alloc 1610612736, alloc 56, realloc 2415919104");
    EXPECT_EQ(memory.getMemoryBankSize(0), 2415919104u);
    EXPECT_EQ(memory.place(2415919104u), 0u);
}

// Half as much again doesn't fit into 32 bits.
TEST(LargeLinear, GrowsToWhatWasInUseWhenHalfAsMuchAgainWraps)
{
    Unbacked::s_asked.clear();
    Unreal memory(3 * sc_gigabyte);
    memory.alloc(0, 3 * sc_gigabyte, "test", 1);
    memory.alloc(0, 32, "test", 1);
    EXPECT_EQ(memory.free(0, nullptr), 0);
    EXPECT_EQ(Unbacked::s_asked, "alloc 3221225472, alloc 56, realloc 3221225528");
    EXPECT_EQ(memory.getMemoryBankSize(0), 3221225528u);
    EXPECT_EQ(memory.place(1), 0u);
}

struct Pages {
    static inline unsigned long s_size;

    static void* alloc(unsigned long size)
    {
        void* region =
            mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        s_size = size;
        return region == MAP_FAILED ? nullptr : region;
    }
    static void free(void* region) { munmap(region, s_size); }
};

TEST(LargeLinear, OfMemoryThatIsThereCanBeWrittenFromEndToEnd)
{
    if (void* region = Pages::alloc(3ul * sc_gigabyte)) {
        Pages::free(region);
    } else {
        GTEST_SKIP() << "this host has no 3 GiB in one piece";
    }
    GameMemory memory;
    memory.defineLocAllocCb(MEMLOC_CUSTOM, Pages::alloc);
    memory.defineLocFreeCb(MEMLOC_CUSTOM, Pages::free);
    memory.defineBank(MEMLOC_CUSTOM, MEMBANK_LINEAR, "level", 3 * sc_gigabyte);
    ASSERT_EQ(memory.initialize(), 0);
    ASSERT_NE(memory.banks[0].base, nullptr);
    for (unsigned int i = 0; i < 48; ++i) {
        unsigned char* block = static_cast<unsigned char*>(memory.alloc(0, 64 << 20, "test", 1));
        block[0] = static_cast<unsigned char>(i);
        block[(64 << 20) - 1] = static_cast<unsigned char>(i);
    }
    EXPECT_EQ(memory.banks[0].extNodeCount, 0u);
    for (unsigned int i = 0; i < 48; ++i) {
        const size_t place = static_cast<size_t>(i) << 26;
        ASSERT_EQ(memory.banks[0].base[place], static_cast<char>(i));
        ASSERT_EQ(memory.banks[0].base[place + (64 << 20) - 1], static_cast<char>(i));
    }
}

// A realloc callback that does something with the bank it is about to move.
struct Returning {
    static inline void (*s_meanwhile)();
    static inline std::vector<char*> s_blocks; // what it got from the bank

    static void allocABlock() { s_blocks.push_back(static_cast<char*>(g_MemoryPtr->alloc(0, 32, "callback", 1))); }
    static void freeTheBank() { g_MemoryPtr->free(0, nullptr); }

    static void* realloc(void* region, unsigned long size)
    {
        s_meanwhile();
        return Source::realloc(region, size);
    }
};

class GrowingBank : public testing::Test {
protected:
    GrowingBank()
    {
        Source::serve(m_memory, MEMLOC_CUSTOM);
        m_memory.defineLocReallocCb(MEMLOC_CUSTOM, Returning::realloc);
        m_memory.defineBank(MEMLOC_CUSTOM, MEMBANK_LINEAR, "level", 1024);
        m_memory.initialize();
        for (int i = 0; i < 33; ++i) {
            m_memory.alloc(0, 32, "test", 1); // the last of them is a fallback block
        }
    }

    void expectAnEmptyBankOf(unsigned int size)
    {
        EXPECT_EQ(m_memory.getMemoryBankSize(0), size);
        EXPECT_EQ(m_memory.banks[0].bytesInUse, 0u);
        EXPECT_EQ(m_memory.banks[0].cursor, m_memory.banks[0].base);
        char* first = static_cast<char*>(m_memory.alloc(0, size - 31, "test", 2));
        EXPECT_EQ(first, m_memory.banks[0].base);
        memset(first, 0xff, size);
    }

    GameMemory m_memory;
};

TEST_F(GrowingBank, GivesTheReallocCallbackAFallbackBlock)
{
    Returning::s_meanwhile = Returning::allocABlock;
    const char* region = m_memory.banks[0].base;
    EXPECT_EQ(m_memory.free(0, nullptr), 0);

    ASSERT_EQ(Returning::s_blocks.size(), 1u);
    char* block = Returning::s_blocks[0];
    EXPECT_FALSE(block >= region && block < region + 1536);
    EXPECT_EQ(headerWord(block, 0), 0xfeedfaceu);
    memset(block, 0xff, 32);
    EXPECT_EQ(m_memory.banks[0].extNodeCount, 2u);
    expectAnEmptyBankOf(1536);

    Source::takeLog();
    m_memory.free(0, nullptr); // the callback's block goes back with the others
    EXPECT_EQ(Source::takeLog(), "free #3");
}

TEST_F(GrowingBank, GrowsOnceWhenTheReallocCallbackEmptiesIt)
{
    Source::takeLog();
    Returning::s_meanwhile = Returning::freeTheBank;
    EXPECT_EQ(m_memory.free(0, nullptr), 0);
    EXPECT_EQ(Source::takeLog(), "free #2, realloc #1 1536 = #3");
    EXPECT_EQ(m_memory.banks[0].freeCount, 2u);
    expectAnEmptyBankOf(1536);
}

TEST_F(GrowingBank, GivesNoBytesOfTheOldRegionToACallbackThatHasEmptiedIt)
{
    Returning::s_meanwhile = [] {
        Returning::freeTheBank();
        Returning::allocABlock();
    };
    const char* region = m_memory.banks[0].base;
    m_memory.free(0, nullptr);
    ASSERT_EQ(Returning::s_blocks.size(), 1u);
    EXPECT_NE(Returning::s_blocks[0], region);
    memset(Returning::s_blocks[0], 0xff, 32);
    expectAnEmptyBankOf(1536);
}

TEST_F(GrowingBank, IsAsLargeAsItsRegionWhenTheReallocCallbackMakesItGrowAsWell)
{
    static bool s_isFirst = true;
    Returning::s_meanwhile = [] {
        if (std::exchange(s_isFirst, false)) {
            g_MemoryPtr->alloc(0, 5000, "callback", 1);
            Returning::freeTheBank();
        }
    };
    Source::takeLog();
    m_memory.free(0, nullptr);
    EXPECT_EQ(Source::takeLog(),
              "free #2, alloc 5048 = #3, free #3, realloc null 6128 = #4, realloc #1 1536 = #5, free #4");
    expectAnEmptyBankOf(1536);
}

} // namespace
