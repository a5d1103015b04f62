// What the banks cost, with malloc and free beside them.
//
// Both sides of a comparison run in one process, one after the other, on the same requests in the same order, and
// write a byte to each block. A bank takes a recursive lock for each operation; so malloc and free take one here.
//
//     memorymgr_bench [--benchmark_filter=FreeNodes] [FOLDER]      FOLDER: where the recorded sessions are
#include "core/memorymgr.h"
#include "demo/session.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdlib.h>
#include <sys/utsname.h>
#include <time.h>

static const unsigned int sc_wall = 8; // bytes of the blocks that keep two holes apart

static std::string s_sessionFolder = CORE_DEMO_SESSIONS;

// A manager whose banks keep the sizes they are given: it reads and writes no bank-size file.
class BenchMemory : public MemoryMgr {
public:
    BenchMemory(e_MemoryBankType type, int count, unsigned int size)
    {
        bankSizePath[0] = '\0';
        for (int bank = 0; bank < count; ++bank) {
            defineBank(MEMLOC_DEFAULT, type, "bench", size);
        }
        initialize();
    }

    // Then some of the time was the fallback's, which is malloc again.
    bool hasOverflowed() const
    {
        unsigned int fallbackBlocks = 0;
        for (int bank = 0; bank < bankCount; ++bank) {
            fallbackBlocks += banks[bank].extNodeCount;
        }
        return fallbackBlocks != 0;
    }

    unsigned int freeNodes(int bank) const { return banks[bank].freeNodeCount; }

protected:
    void onOutOfMemory(int) override {}
};

// The two sides: alloc(size), free(block, size).
struct Heap {
    BenchMemory& memory;
    int (*bankOf)(unsigned int size);

    void* alloc(unsigned int size) { return memory.alloc(bankOf(size), size, "bench", __LINE__); }
    void free(void* block, unsigned int size) { memory.free(bankOf(size), block); }
};

struct LockedMalloc {
    Mutex lock;

    void* alloc(unsigned int size)
    {
        pthread_mutex_lock(&lock.mutex);
        void* block = malloc(size);
        pthread_mutex_unlock(&lock.mutex);
        return block;
    }

    void free(void* block, unsigned int)
    {
        pthread_mutex_lock(&lock.mutex);
        ::free(block);
        pthread_mutex_unlock(&lock.mutex);
    }
};

// The processor's time, which other programs on the machine don't lengthen.
template <typename Work>
static double secondsOf(Work work)
{
    const clock_t begin = clock();
    work();
    return static_cast<double>(clock() - begin) / CLOCKS_PER_SEC;
}

static void touch(void* block)
{
    *static_cast<volatile char*>(block) = 1;
}

// The counters of a comparison; the benchmark's own time is that of the heap.
static void compare(benchmark::State& state, double heapSeconds, double mallocSeconds, double operations)
{
    state.counters["heap_ns"] = heapSeconds * 1e9 / operations;
    state.counters["malloc_ns"] = mallocSeconds * 1e9 / operations;
    state.counters["times_malloc"] = heapSeconds / mallocSeconds;
}

static int oneBank(unsigned int)
{
    return 0;
}

static int bankBySize(unsigned int size)
{
    return size <= 48 ? 0 : size <= 64 ? 1 : size <= 1024 ? 2 : 3;
}

template <typename Side>
static void playSession(const Session& session, std::vector<void*>& blocks, Side& side)
{
    for (unsigned int operation = 0; operation < session.operations.size(); ++operation) {
        const unsigned int number = session.operations[operation];
        const SessionBlock& block = session.blocks[number];
        if (block.born == operation) {
            blocks[number] = side.alloc(block.size);
            touch(blocks[number]);
        } else {
            side.free(blocks[number], block.size);
            blocks[number] = nullptr;
        }
    }
}

template <typename Side>
static void freeTheRest(const Session& session, std::vector<void*>& blocks, Side& side)
{
    for (size_t number = 0; number < blocks.size(); ++number) {
        if (blocks[number]) {
            side.free(blocks[number], session.blocks[number].size);
        }
    }
}

// One operation, alloc or free, of what a real program asked for: nanoseconds in heap banks, and of malloc and free.
static void BM_Session(benchmark::State& state, const char* name, int banks, int (*bankOf)(unsigned int))
{
    Session session;
    std::string error;
    if (!LoadSession((s_sessionFolder + "/" + name).c_str(), &session, &error)) {
        state.SkipWithError((s_sessionFolder + "/" + name + ": " + error).c_str());
        return;
    }
    std::vector<void*> blocks(session.blocks.size());
    double heapSeconds = 0;
    double mallocSeconds = 0;
    for (auto _ : state) {
        BenchMemory memory(MEMBANK_HEAP, banks, 16 << 20);
        Heap heap = {memory, bankOf};
        LockedMalloc lockedMalloc;
        const double seconds = secondsOf([&] { playSession(session, blocks, heap); });
        freeTheRest(session, blocks, heap);
        heapSeconds += seconds;
        mallocSeconds += secondsOf([&] { playSession(session, blocks, lockedMalloc); });
        freeTheRest(session, blocks, lockedMalloc);
        state.SetIterationTime(seconds);
        if (memory.hasOverflowed()) {
            state.SkipWithError("a bank was too small");
            return;
        }
    }
    compare(state, heapSeconds, mallocSeconds, 1.0 * state.iterations() * session.operations.size());
}
BENCHMARK_CAPTURE(BM_Session, lua_game_in_one_bank, "lua-game.ctr", 1, oneBank)
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Session, lua_game_in_banks_by_size, "lua-game.ctr", 4, bankBySize)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Session, sqlite_in_one_bank, "sqlite.ctr", 1, oneBank)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Session, sqlite_in_banks_by_size, "sqlite.ctr", 4, bankBySize)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// Sizes from 1 to 200 bytes, the same in each run.
static std::vector<unsigned int> randomSizes(size_t count, unsigned int seed)
{
    std::mt19937 random(seed);
    std::vector<unsigned int> sizes(count);
    for (unsigned int& size : sizes) {
        size = 1 + random() % 200;
    }
    return sizes;
}

// Leaves holes, the smallest first, none of which touches another: a small block that stays in use stands behind
// each. Those blocks are the result. The holes are made from the last to the first, so that the free list runs
// through memory in order: the kindest case for the bank, whose largest takes a minute to set up even so.
template <typename Side>
static std::vector<void*> fragment(Side& side, size_t holes)
{
    std::vector<unsigned int> sizes = randomSizes(holes, 1);
    std::sort(sizes.begin(), sizes.end());
    std::vector<void*> blocks(holes);
    std::vector<void*> walls(holes);
    for (size_t hole = 0; hole < holes; ++hole) {
        blocks[hole] = side.alloc(sizes[hole]);
        walls[hole] = side.alloc(sc_wall);
        touch(blocks[hole]);
        touch(walls[hole]);
    }
    for (size_t hole = holes; hole-- > 0;) {
        side.free(blocks[hole], sizes[hole]);
    }
    return walls;
}

// Takes a block out of the holes and gives it back, once for each size.
template <typename Side>
static void takeAndGiveBack(Side& side, const std::vector<unsigned int>& sizes)
{
    for (unsigned int size : sizes) {
        void* block = side.alloc(size);
        touch(block);
        side.free(block, size);
    }
}

// One alloc and the free of its block among so many free nodes: nanoseconds in a heap bank, and of malloc and free.
static void BM_FreeNodes(benchmark::State& state)
{
    const size_t holes = static_cast<size_t>(state.range(0)) - 1; // and one node behind the last block
    const std::vector<unsigned int> requests = randomSizes(1000 + 100000000 / (1000 + 10 * holes), 2);
    BenchMemory memory(MEMBANK_HEAP, 1, static_cast<unsigned int>(holes * 300 + (64 << 10)));
    Heap heap = {memory, oneBank};
    LockedMalloc lockedMalloc;
    fragment(heap, holes);
    const std::vector<void*> walls = fragment(lockedMalloc, holes);

    double heapSeconds = 0;
    double mallocSeconds = 0;
    for (auto _ : state) {
        const double seconds = secondsOf([&] { takeAndGiveBack(heap, requests); });
        heapSeconds += seconds;
        mallocSeconds += secondsOf([&] { takeAndGiveBack(lockedMalloc, requests); });
        state.SetIterationTime(seconds);
    }
    for (void* wall : walls) {
        lockedMalloc.free(wall, sc_wall);
    }
    if (memory.hasOverflowed() || memory.freeNodes(0) != holes + 1) {
        state.SkipWithError("the bank is not as fragmented as it should be");
        return;
    }
    compare(state, heapSeconds, mallocSeconds, 1.0 * state.iterations() * requests.size());
}
BENCHMARK(BM_FreeNodes)
    ->RangeMultiplier(10)
    ->Range(10, 100000)
    ->Iterations(3)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// One alloc of so many bytes from a linear bank, with its share of emptying the bank every thousand blocks.
static void BM_Linear(benchmark::State& state)
{
    const unsigned long size = static_cast<unsigned long>(state.range(0));
    BenchMemory memory(MEMBANK_LINEAR, 1, static_cast<unsigned int>(1000 * (size + 32)));
    unsigned int count = 0;
    for (auto _ : state) {
        touch(memory.alloc(0, size, "bench", __LINE__));
        if (++count == 1000) {
            memory.free(0, nullptr);
            count = 0;
        }
    }
    if (memory.hasOverflowed()) {
        state.SkipWithError("the bank was too small");
    }
}
BENCHMARK(BM_Linear)->Arg(16)->Arg(256);

// The processor's name where the system tells it, else its kind.
static std::string processor()
{
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        if (line.rfind("model name", 0) == 0) {
            return line.substr(line.find(':') + 2);
        }
    }
    utsname system = {};
    uname(&system);
    return system.machine;
}

int main(int argc, char** argv)
{
    char folder[] = "/tmp/core-bench-XXXXXX"; // for the data folder that each manager makes
    if (!mkdtemp(folder)) {
        return 1;
    }
    setenv("MACAPI_LIBRARY", folder, 1);

    benchmark::Initialize(&argc, argv);
    if (argc > 1) {
        s_sessionFolder = argv[1];
    }
    benchmark::AddCustomContext("processor", processor());
    benchmark::AddCustomContext("sessions", s_sessionFolder);
    benchmark::RunSpecifiedBenchmarks();
    std::filesystem::remove_all(folder);
}
