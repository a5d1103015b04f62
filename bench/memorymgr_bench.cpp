// The time of alloc and free in a bank, and the memory that a bank takes, beside other allocators: boost's
// rbtree_best_fit, which allocates inside one region as a bank does, and malloc of the C library, mimalloc and
// jemalloc.
//
// On each side, an operation locks a recursive mutex, as an operation of a bank does. One byte of each new block is
// written. At the end of its work a side has freed all blocks of that work. So each work after the first one uses
// memory that the process has already written to.
//
//     memorymgr_bench [PART OF A SUBJECT [FOLDER]]
//
// FOLDER is a folder of recorded sessions that were kept out of the tuning of the heap; the default is the kept-out
// sessions of this tree. recordings/record.sh records such sessions. In a session the time of an operation is without
// the time of the loop that plays the session: the loop is measured as well, with functions in place of alloc and free
// that do nothing. The other subjects include their loop, about 1 ns. The kinds of subjects:
//
//  | Subject      | Result                                                                                       |
//  |--------------|----------------------------------------------------------------------------------------------|
//  | heap: kept   | the time of an operation in a kept-out session. The subjects are named "heap: kept out, NAME" |
//  | heap: cold   | the time of an operation. Before each work the processor's caches get other contents          |
//  | heap: worst  | the time of one operation; one operation in 10,000 takes longer. It contains the time that   |
//  |              | it takes to read the clock, about 20 ns                                                      |
//  | memory       | the KiB that each side takes, printed on the standard error stream                           |
//  | all others   | the time of an operation, as peers.h describes                                               |
#include "memorymgr_scripts.h"
#include "memorymgr_sides.h"
#include "peers.h"
#include "recordings/session.h"
#include "scratch.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <memory_resource>
#include <numeric>
#include <stdlib.h>
#include <string>
#include <sys/wait.h>

// ---- Sessions

struct Play {
    std::string name;
    Session session;
    unsigned int room; // bytes of a region that is large enough; see playOf
};

// Counts 56 bytes for the header and the rounding of each block. The room is 1.5 times the most bytes in use, because
// free nodes lie between the blocks, and 64 KiB.
static Play playOf(const std::string& name, Session session)
{
    unsigned long long bytes = 0;
    unsigned long long most = 0;
    for (unsigned int operation = 0; operation < session.operations.size(); ++operation) {
        const SessionBlock& block = session.blocks[session.operations[operation]];
        bytes = block.born == operation ? bytes + block.size + 56 : bytes - block.size - 56;
        most = std::max(most, bytes);
    }
    return {name, std::move(session), static_cast<unsigned int>(most + most / 2 + (1 << 16))};
}

static std::vector<Play> recordedPlays(const std::string& folder)
{
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        paths.push_back(entry.path().string());
    }
    std::sort(paths.begin(), paths.end());
    std::vector<Play> plays;
    for (const std::string& path : paths) {
        Session session;
        std::string error;
        if (LoadSession(path.c_str(), &session, &error)) {
            plays.push_back(playOf(std::filesystem::path(path).stem().string(), std::move(session)));
        } else {
            fprintf(stderr, "%s: %s\n", path.c_str(), error.c_str());
        }
    }
    return plays;
}

// Plays a session: calls around(operation, what) for each operation; what() does the operation. Then frees the blocks
// that the session did not free. Returns the number of blocks.
template <typename Heap, typename Around>
static unsigned long long play(const Session& session, std::vector<void*>& blocks, Heap& heap, Around around)
{
    for (unsigned int operation = 0; operation < session.operations.size(); ++operation) {
        const unsigned int number = session.operations[operation];
        const SessionBlock& block = session.blocks[number];
        if (block.born == operation) {
            around(operation, [&] { blocks[number] = heap.alloc(block.size); });
            touch(blocks[number]);
        } else {
            around(operation, [&] { heap.free(blocks[number]); });
        }
    }
    for (size_t number = 0; number < blocks.size(); ++number) {
        if (session.blocks[number].died == sc_neverDied) {
            heap.free(blocks[number]);
        }
    }
    return blocks.size();
}

// Returns a side that plays a session. heap: a shared pointer to the heap, which the side keeps.
template <typename HeapPointer>
static Side sideOf(const char* name, const Play& p, std::vector<void*>& blocks, HeapPointer heap,
                   const std::function<void()>& prepare)
{
    const auto work = [&p, &blocks, heap] {
        return play(p.session, blocks, *heap, [](unsigned int, auto what) { what(); });
    };
    return {name, work, prepare};
}

// The operation of the subjects that play a session.
static const char* const sc_operation = "operation without the loop";

// alloc and free that do nothing.
class NoHeap {
public:
    void* alloc(unsigned int) { return &m_block; }
    void free(void*) {}

private:
    char m_block = 0;
};

static void comparePlay(Bench& bench, const std::string& kind, const Play& p, const std::function<void()>& prepare)
{
    const std::string subject = kind + p.name;
    if (!bench.wants(subject.c_str())) {
        return;
    }
    std::vector<void*> blocks(p.session.blocks.size());
    std::vector<Side> sides;
    forEachSide(
        [&](const char* name, auto make) { sides.push_back(sideOf(name, p, blocks, make(p.room), prepare)); });
    bench.compareNet(subject.c_str(), sc_operation, 2.0 * static_cast<double>(blocks.size()), sides,
                     sideOf("the loop", p, blocks, std::make_shared<NoHeap>(), prepare));
}

// Reads and writes 64 MiB of other memory. This replaces the contents of the first and the second level of the
// processor's caches, and of a third level up to that size.
static void fillCaches()
{
    static std::vector<unsigned long> s_words((64 << 20) / sizeof(unsigned long));
    std::iota(s_words.begin(), s_words.end(), s_words.back());
}

// A bank without an index, whose free list core walks. Four other managers have all the indexes that there are.
class Walk {
public:
    explicit Walk(unsigned int size)
    {
        for (std::unique_ptr<BenchMemory>& other : m_others) {
            other = std::make_unique<BenchMemory>(MEMBANK_HEAP, 64 << 10);
        }
        m_memory = std::make_unique<BenchMemory>(MEMBANK_HEAP, size);
    }

    void* alloc(unsigned int size) { return m_memory->alloc(0, size, "bench", __LINE__); }
    void free(void* block) { m_memory->free(0, block); }

private:
    std::unique_ptr<BenchMemory> m_others[4];
    std::unique_ptr<BenchMemory> m_memory;
};

// Plays a session with an index, and without. The session should have few free nodes: the walk visits each of them.
static void compareWalk(Bench& bench, const Play& p)
{
    const std::string subject = "heap: index and walk, " + p.name;
    if (!bench.wants(subject.c_str())) {
        return;
    }
    std::vector<void*> blocks(p.session.blocks.size());
    const std::vector<Side> sides = {
        sideOf("core", p, blocks, std::make_shared<Heap>(p.room), {}),
        sideOf("the walk", p, blocks, std::make_shared<Walk>(p.room), {}),
    };
    bench.compareNet(subject.c_str(), sc_operation, 2.0 * static_cast<double>(blocks.size()), sides,
                     sideOf("the loop", p, blocks, std::make_shared<NoHeap>(), {}));
}

// Plays the session five times and takes the shortest time of each operation, because other programs on the machine
// can only make an operation slower.
static void compareWorst(Bench& bench, const Play& p)
{
    const std::string subject = "heap: worst of " + p.name;
    if (!bench.wants(subject.c_str())) {
        return;
    }
    std::vector<void*> blocks(p.session.blocks.size());
    forEachSide([&](const char* name, auto make) {
        auto heap = make(p.room);
        std::vector<double> times(p.session.operations.size(), 1e9);
        for (int round = 0; round < 5; ++round) {
            play(p.session, blocks, *heap, [&](unsigned int operation, auto what) {
                const double begin = Bench::now(CLOCK_MONOTONIC);
                what();
                times[operation] = std::min(times[operation], Bench::now(CLOCK_MONOTONIC) - begin);
            });
        }
        const size_t rank = times.size() - 1 - times.size() / 10000;
        std::nth_element(times.begin(), times.begin() + static_cast<long>(rank), times.end());
        Bench::tell(subject.c_str(), "operation", name, times[rank]);
    });
}

// ---- Free nodes

// Makes one free node for each size. A block in use lies between each two free nodes, so they do not coalesce.
// Returns these blocks in use.
template <typename Heap>
static std::vector<void*> makeHoles(Heap& heap, const std::vector<unsigned int>& sizes)
{
    std::vector<void*> blocks;
    std::vector<void*> walls;
    for (const unsigned int size : sizes) {
        blocks.push_back(heap.alloc(size));
        walls.push_back(heap.alloc(8));
    }
    for (void* block : blocks) {
        heap.free(block);
    }
    return walls;
}

// Measures an alloc and the free of the same block, in a heap that has free nodes of these sizes.
static void compareHoles(Bench& bench, const std::string& subject, std::vector<unsigned int> sizes)
{
    if (!bench.wants(subject.c_str())) {
        return;
    }
    std::mt19937 random(2);
    std::vector<unsigned int> requests;
    unsigned long long room = 1 << 16;
    for (int i = 0; i < 50000; ++i) {
        requests.push_back(sizes[random() % sizes.size()]);
    }
    for (const unsigned int size : sizes) {
        room += size + 192;
    }
    std::shuffle(sizes.begin(), sizes.end(), random);
    std::vector<Side> sides;
    std::vector<std::function<void()>> ends;
    forEachSide([&](const char* name, auto make) {
        auto heap = make(static_cast<unsigned int>(room));
        const std::vector<void*> walls = makeHoles(*heap, sizes);
        sides.push_back({name, [&requests, heap] {
                             for (const unsigned int size : requests) {
                                 void* block = heap->alloc(size);
                                 touch(block);
                                 heap->free(block);
                             }
                             return requests.size();
                         }});
        ends.push_back([walls, heap] {
            for (void* wall : walls) {
                heap->free(wall);
            }
        });
    });
    bench.compare(subject.c_str(), "alloc and free", static_cast<double>(requests.size()), sides);
    for (const std::function<void()>& end : ends) {
        end();
    }
}

// Returns sizes from 1 to largest, chosen at random.
static std::vector<unsigned int> smallSizes(size_t count, unsigned int largest)
{
    std::mt19937 random(1);
    std::vector<unsigned int> sizes;
    for (size_t i = 0; i < count; ++i) {
        sizes.push_back(1 + static_cast<unsigned int>(random() % largest));
    }
    return sizes;
}

static std::vector<unsigned int> largeSizes(size_t count)
{
    std::vector<unsigned int> sizes;
    for (unsigned int i = 0; i < count; ++i) {
        sizes.push_back((64 << 10) + 32 * i);
    }
    return sizes;
}

// ---- Linear banks

static void compareLinear(Bench& bench)
{
    BenchMemory memory(MEMBANK_LINEAR, 1 << 20);
    std::vector<char> region(1 << 20);
    std::pmr::monotonic_buffer_resource resource(region.data(), region.size());
    Mutex mutex;
    const std::vector<Side> sides = {
        {"core",
         [&] {
             for (int i = 0; i < 10000; ++i) {
                 touch(memory.alloc(0, 64, "bench", __LINE__));
             }
             memory.free(0, nullptr);
             return 0;
         }},
        {"monotonic_buffer_resource",
         [&] {
             for (int i = 0; i < 10000; ++i) {
                 Lock lock(mutex);
                 touch(resource.allocate(64));
             }
             Lock lock(mutex);
             resource.release();
             return 0;
         }},
    };
    bench.compare("linear bank", "alloc of 64 bytes", 10000, sides);
}

// ---- Memory

// Returns the KiB of memory that this process has written to and shares with no other process; 0 if unknown.
static long privateMemory()
{
    std::ifstream file("/proc/self/smaps_rollup");
    for (std::string line; std::getline(file, line);) {
        if (line.rfind("Private_Dirty:", 0) == 0) {
            return atol(line.c_str() + 14);
        }
    }
    return 0;
}

// Plays a session up to the operation after which the most bytes are in use, and writes every byte of each block.
// Prints the memory that each side has taken at that point. Each side runs in a child process of its own.
static void compareMemory(Bench& bench, const Play& p)
{
    const std::string subject = "memory: " + p.name;
    if (!bench.wants(subject.c_str())) {
        return;
    }
    unsigned long long bytes = 0;
    unsigned long long most = 0;
    unsigned int peak = 0;
    for (unsigned int operation = 0; operation < p.session.operations.size(); ++operation) {
        const SessionBlock& block = p.session.blocks[p.session.operations[operation]];
        bytes = block.born == operation ? bytes + block.size : bytes - block.size;
        peak = bytes > most ? operation : peak;
        most = std::max(most, bytes);
    }
    fprintf(stderr, "%s: %llu KiB asked for;", subject.c_str(), most / 1024);
    forEachSide([&](const char* name, auto make) {
        fflush(stderr);
        if (fork() == 0) {
            std::vector<void*> blocks(p.session.blocks.size());
            const long before = privateMemory();
            auto heap = make(p.room);
            for (unsigned int operation = 0; operation <= peak; ++operation) {
                const unsigned int number = p.session.operations[operation];
                const SessionBlock& block = p.session.blocks[number];
                if (block.born == operation) {
                    blocks[number] = heap->alloc(block.size);
                    memset(blocks[number], 1, block.size);
                } else {
                    heap->free(blocks[number]);
                }
            }
            fprintf(stderr, " %s %ld", name, privateMemory() - before);
            _exit(0);
        }
        wait(nullptr);
    });
    fprintf(stderr, " KiB taken\n");
}

int main(int argc, char** argv)
{
    leaveRoomForThreadVariables(argv);
    Bench bench(argc, argv);
    std::vector<Play> plays = recordedPlays(CORE_RECORDINGS);
    const std::vector<Play> keptOut = recordedPlays(argc > 2 ? argv[2] : CORE_RECORDINGS_KEPT_OUT);
    const ScratchFolder scratch; // changes the working folder, so it is made after FOLDER was read
    plays.push_back(playOf("frames of a game", gameFrames()));
    plays.push_back(playOf("20,000 holes", manyHoles()));
    plays.push_back(playOf("loading levels", levels()));
    plays.push_back(playOf("levels in reverse", levelsInReverse()));
    plays.push_back(playOf("compiler", compiler()));
    plays.push_back(playOf("images", images()));
    plays.push_back(playOf("window server", windowServer()));
    plays.push_back(playOf("database", database()));
    plays.push_back(playOf("scripted game", scriptedGame()));
    for (const Play& p : plays) {
        comparePlay(bench, "heap: ", p, {});
    }
    for (const Play& p : keptOut) {
        comparePlay(bench, "heap: kept out, ", p, {});
    }
    compareWalk(bench, playOf("levels in reverse", levelsInReverse()));
    for (const unsigned int size : {64u << 10, 4u << 20, 64u << 20, 1u << 30}) {
        comparePlay(bench, "heap: ", {std::to_string(size >> 10) + " KiB, half in use", halfInUse(size), size}, {});
    }
    for (const size_t count : {100, 1000, 5000, 20000, 100000}) {
        compareHoles(bench, "heap: among free nodes, " + std::to_string(count), smallSizes(count, 2000));
    }
    compareHoles(bench, "heap: among free nodes, 1000000 of up to 200 bytes", smallSizes(1000000, 200));
    compareHoles(bench, "heap: among free nodes, 4000 of distinct large sizes", largeSizes(4000));
    compareLinear(bench);
    for (const Play& p : plays) {
        comparePlay(bench, "heap: cold, ", p, fillCaches);
    }
    for (const Play& p : plays) {
        compareWorst(bench, p);
    }
    for (const Play& p : plays) {
        compareMemory(bench, p);
    }
    return bench.result();
}
