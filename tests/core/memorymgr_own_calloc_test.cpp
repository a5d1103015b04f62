// A program whose malloc and calloc are served from a bank. The tables behind headers take their memory from calloc, so a
// bank is asked for memory while the very tables that its blocks need are growing.
//
// The sanitizers bring an allocator of their own, which has to be in place.
#include "tests/support/game_memory.h"

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

#include <atomic>
#include <errno.h>
#include <stdint.h>
#include <thread>
#include <unistd.h>

extern "C" void* __libc_malloc(size_t size);
extern "C" void* __libc_realloc(void* block, size_t size);
extern "C" void __libc_free(void* block);

static const int sc_noBank = -2;               // the C library's own memory
static std::atomic<int> s_bank(sc_noBank);     // where malloc and calloc take their memory from
static std::atomic<unsigned int> s_callocs(0); // how many callocs a bank has served
static void (*s_duringCalloc)();               // called once, in the next calloc
static const char* s_name = "program/malloc";  // the source name of the bank's blocks that malloc and calloc take

// In front of each block of this program's malloc.
struct alignas(16) Tag {
    void* start; // of the memory that holds tag and block
    size_t size; // of the block, in bytes
    int bank;
};

static void* makeBlock(size_t size, size_t alignment)
{
    const int bank = s_bank;
    const size_t whole = size + sizeof(Tag) + alignment;
    void* start = bank == sc_noBank ? __libc_malloc(whole) : g_MemoryPtr->alloc(bank, whole, s_name, __LINE__);
    if (!start) {
        return nullptr;
    }
    const uintptr_t place = (reinterpret_cast<uintptr_t>(start) + sizeof(Tag) + alignment - 1) & ~(alignment - 1);
    Tag* tag = reinterpret_cast<Tag*>(place) - 1;
    *tag = Tag{start, size, bank};
    return tag + 1;
}

extern "C" void* malloc(size_t size)
{
    return makeBlock(size, alignof(Tag));
}

extern "C" void* calloc(size_t count, size_t size)
{
    s_callocs += s_bank != sc_noBank;
    if (s_duringCalloc) {
        std::exchange(s_duringCalloc, nullptr)();
    }
    void* block = makeBlock(count * size, alignof(Tag));
    return block ? memset(block, 0, count * size) : nullptr;
}

extern "C" void free(void* block)
{
    if (!block) {
        return;
    }
    const Tag tag = static_cast<Tag*>(block)[-1];
    if (tag.bank == sc_noBank) {
        __libc_free(tag.start);
    } else {
        g_MemoryPtr->free(tag.bank, tag.start);
    }
}

extern "C" void* realloc(void* block, size_t size)
{
    void* moved = makeBlock(size, alignof(Tag));
    if (moved && block) {
        memcpy(moved, block, std::min(size, static_cast<Tag*>(block)[-1].size));
        free(block);
    }
    return moved;
}

extern "C" void* aligned_alloc(size_t alignment, size_t size)
{
    return makeBlock(size, std::max(alignment, alignof(Tag)));
}

extern "C" int posix_memalign(void** block, size_t alignment, size_t size)
{
    *block = makeBlock(size, std::max(alignment, alignof(Tag)));
    return *block ? 0 : ENOMEM;
}

namespace {

const size_t sc_blocks = 8000; // more than the tables begin with, and than they grow to at first

// Nobody reads the names, so they need not be texts.
const char* nameOf(size_t number)
{
    static char s_names[sc_blocks];
    return &s_names[number % sc_blocks];
}

void* fromTheSystem(unsigned long size)
{
    return __libc_malloc(size);
}

class OwnCalloc : public testing::Test {
protected:
    OwnCalloc()
    {
        alarm(120); // without an end to the wait, a hang would be no failure
        m_memory.defineLocAllocCb(MEMLOC_DEFAULT, fromTheSystem);
        m_memory.defineLocFreeCb(MEMLOC_DEFAULT, __libc_free);
        m_memory.defineHeap("core", 1 << 16);
        m_memory.defineHeap("program", 4096); // too small for any table
        m_memory.initialize();
        m_blocks.resize(sc_blocks);
    }
    ~OwnCalloc() override { s_bank = sc_noBank; }

    // Makes fallback blocks under many names; each thread those of its share.
    void makeBlocks(size_t thread, size_t threads)
    {
        for (size_t i = thread; i < sc_blocks; i += threads) {
            m_blocks[i] = m_memory.alloc(-1, 8, nameOf(i), static_cast<unsigned int>(i));
        }
    }

    void expectBlocksAndFreeThem()
    {
        for (size_t i = 0; i < sc_blocks; ++i) {
            const MemoryHeapNode_s* node = static_cast<MemoryHeapNode_s*>(m_blocks[i]) - 1;
            ASSERT_EQ(static_cast<const char*>(node->file), nameOf(i)) << i;
            ASSERT_EQ(lineOf(node), i);
        }
        for (void* block : m_blocks) {
            ASSERT_EQ(m_memory.free(-1, block), 0);
        }
    }

    // The tables' own memory stays in the bank for good; everything else has gone back.
    void expectTheTablesAloneIn(const MemoryBank_s& bank)
    {
        size_t count = 0;
        for (const MemoryHeapNode_s* node = bank.extList; node; node = node->next) {
            const char* file = node->file;
            EXPECT_STREQ(file, "program/malloc");
            ++count;
        }
        EXPECT_EQ(count, bank.allocCount - bank.freeCount);
        EXPECT_EQ(s_callocs > 0, sizeof(void*) > 4); // a 32-bit host has no tables
    }

    GameMemory m_memory;
    std::vector<void*> m_blocks;
};

TEST_F(OwnCalloc, FromTheSystemBankServesTheTablesOfThatVeryBank)
{
    s_bank = -1;
    makeBlocks(0, 1);
    s_bank = sc_noBank;
    expectBlocksAndFreeThem();
    expectTheTablesAloneIn(m_memory.systemBank);
}

TEST_F(OwnCalloc, FromABankThatOverflowsServesTheTables)
{
    s_bank = 1;
    makeBlocks(0, 1);
    s_bank = sc_noBank;
    expectBlocksAndFreeThem();
    expectTheTablesAloneIn(m_memory.banks[1]);
}

// The number that a block's header has for its source name.
unsigned int nameNumberOf(const void* block)
{
    unsigned int number;
    memcpy(&number, &(static_cast<const MemoryHeapNode_s*>(block) - 1)->file, sizeof(number));
    return number;
}

// The table of names grows for a name that it does not have yet. The block for the growth has this very name.
TEST_F(OwnCalloc, MayUseTheSourceNameForWhichTheTableGrows)
{
    s_bank = -1;
    for (size_t i = 0; i < sc_blocks; ++i) {
        s_name = nameOf(i);
        m_blocks[i] = m_memory.alloc(-1, 8, nameOf(i), static_cast<unsigned int>(i));
    }
    s_bank = sc_noBank;
    EXPECT_EQ(s_callocs > 0, sizeof(void*) > 4); // a 32-bit host has no tables
    for (void* block : m_blocks) {
        const char* name = (static_cast<MemoryHeapNode_s*>(block) - 1)->file;
        void* later = m_memory.alloc(-1, 8, name, 1);
        EXPECT_EQ(nameNumberOf(later), nameNumberOf(block)); // each name has one number
        m_memory.free(-1, later);
    }
    expectBlocksAndFreeThem();
}

// Two threads find that the table of fallback links has to grow, and both get memory for it.
TEST_F(OwnCalloc, MayWaitForAThreadThatMakesTheSameTableGrow)
{
    static void* s_otherBlock;
    s_duringCalloc = [] {
        std::thread([] { s_otherBlock = g_MemoryPtr->alloc(0, 1 << 16, "other", 1); }).join(); // larger than bank 0
    };
    for (size_t i = 0; i < sc_blocks; ++i) {
        m_blocks[i] = m_memory.alloc(-1, 8, nameOf(0), static_cast<unsigned int>(i));
    }
    s_duringCalloc = nullptr;
    for (void* block : m_blocks) {
        EXPECT_EQ(m_memory.free(-1, block), 0);
    }
    EXPECT_EQ(s_otherBlock != nullptr, sizeof(void*) > 4); // a 32-bit host has no tables
    if (s_otherBlock) {
        EXPECT_EQ(m_memory.free(0, s_otherBlock), 0);
    }
}

TEST_F(OwnCalloc, ServesTheTablesOfSeveralThreads)
{
    std::atomic<bool> mayBegin(false); // the threads' own memory is not the bank's
    std::vector<std::thread> threads;
    for (size_t thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this, thread, &mayBegin] {
            while (!mayBegin) {
                std::this_thread::yield();
            }
            makeBlocks(thread, 4);
        });
    }
    s_bank = -1;
    mayBegin = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    s_bank = sc_noBank;
    expectBlocksAndFreeThem();
}

} // namespace

#endif
