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
// FOLDER is a folder of recorded sessions; the default is the recordings of this tree. Three kinds of subjects:
//
//  | Subject      | Result                                                                                       |
//  |--------------|----------------------------------------------------------------------------------------------|
//  | heap: worst  | the time of one operation; one operation in 10,000 takes longer. It contains the time that   |
//  |              | it takes to read the clock, about 20 ns                                                      |
//  | memory       | the KiB that each side takes, printed on the standard error stream                           |
//  | all others   | the time of an operation, as peers.h describes                                               |
#include "core/memorymgr.h"
#include "memorymgr_scripts.h"
#include "peers.h"
#include "recordings/session.h"
#include "scratch.h"

#if __has_include(<boost/interprocess/mem_algo/rbtree_best_fit.hpp>)
#include <boost/interprocess/mem_algo/rbtree_best_fit.hpp>
#include <boost/interprocess/sync/mutex_family.hpp>
#define HAS_RBTREE
#endif

#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <memory_resource>
#include <stdlib.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

// A manager with one bank of a fixed size. The manager reads and writes no bank-size file.
class BenchMemory : public MemoryMgr {
public:
    BenchMemory(e_MemoryBankType type, unsigned int size)
    {
        bankSizePath[0] = '\0';
        defineBank(MEMLOC_DEFAULT, type, "bench", size);
        initialize();
    }

    // Fallback blocks come from malloc. With fallback blocks, part of the measured time would be malloc's.
    ~BenchMemory() override
    {
        if (banks[0].extNodeCount != 0) {
            fprintf(stderr, "the bank was too small\n");
            _exit(1);
        }
    }

    unsigned int freeNodes() const { return banks[0].freeNodeCount; }

protected:
    void onOutOfMemory(int) override {}
};

class Lock {
public:
    explicit Lock(Mutex& mutex) : m_mutex(&mutex.mutex) { pthread_mutex_lock(m_mutex); }
    ~Lock() { pthread_mutex_unlock(m_mutex); }

private:
    pthread_mutex_t* m_mutex;
};

// ---- The sides

class Heap {
public:
    explicit Heap(unsigned int size) : m_memory(MEMBANK_HEAP, size) {}

    void* alloc(unsigned int size) { return m_memory.alloc(0, size, "bench", __LINE__); }
    void free(void* block) { m_memory.free(0, block); }
    unsigned int freeNodes() const { return m_memory.freeNodes(); }

private:
    BenchMemory m_memory;
};

#ifdef HAS_RBTREE
class Rbtree {
public:
    explicit Rbtree(unsigned int size) : m_region(new char[size]), m_heap(new (m_region.get()) Algorithm(size, 0)) {}

    void* alloc(unsigned int size)
    {
        Lock lock(m_mutex);
        return m_heap->allocate(size);
    }
    void free(void* block)
    {
        Lock lock(m_mutex);
        m_heap->deallocate(block);
    }

private:
    typedef boost::interprocess::rbtree_best_fit<boost::interprocess::null_mutex_family, void*> Algorithm;
    std::unique_ptr<char[]> m_region;
    Algorithm* m_heap; // at the start of m_region
    Mutex m_mutex;
};
#endif

// malloc and free of a library. dlopen loads the library. If the program were linked with it, all other code of the
// program would call its malloc, too.
template <int LIBRARY>
class Malloc {
public:
    explicit Malloc(unsigned int) {}

    static bool load(const char* library, const char* mallocName, const char* freeName)
    {
        void* handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
        if (handle) {
            s_malloc = reinterpret_cast<void* (*)(size_t)>(dlsym(handle, mallocName));
            s_free = reinterpret_cast<void (*)(void*)>(dlsym(handle, freeName));
        }
        return s_malloc && s_free;
    }

    void* alloc(unsigned int size)
    {
        Lock lock(m_mutex);
        return s_malloc(size);
    }
    void free(void* block)
    {
        Lock lock(m_mutex);
        s_free(block);
    }

private:
    static inline void* (*s_malloc)(size_t);
    static inline void (*s_free)(void*);
    Mutex m_mutex;
};
typedef Malloc<0> Libc;
typedef Malloc<1> Mimalloc;
typedef Malloc<2> Jemalloc;

// Calls use(name, make) for each installed side, core's first. make(size) returns a new object of that side; a side
// that allocates inside a region gets a region of size bytes.
template <typename Use>
static void forEachSide(Use use)
{
    use("core", [](unsigned int size) { return std::make_shared<Heap>(size); });
#ifdef HAS_RBTREE
    use("rbtree_best_fit", [](unsigned int size) { return std::make_shared<Rbtree>(size); });
#endif
    static const bool s_hasLibc = Libc::load("libc.so.6", "malloc", "free");
    static const bool s_hasMimalloc = Mimalloc::load("libmimalloc.so.2", "mi_malloc", "mi_free");
    static const bool s_hasJemalloc = Jemalloc::load("libjemalloc.so.2", "malloc", "free");
    if (s_hasLibc) {
        use("malloc", [](unsigned int size) { return std::make_shared<Libc>(size); });
    }
    if (s_hasMimalloc) {
        use("mimalloc", [](unsigned int size) { return std::make_shared<Mimalloc>(size); });
    }
    if (s_hasJemalloc) {
        use("jemalloc", [](unsigned int size) { return std::make_shared<Jemalloc>(size); });
    }
}

static void touch(void* block)
{
    *static_cast<volatile char*>(block) = 1;
}

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

static void comparePlay(Bench& bench, const Play& p)
{
    const std::string subject = "heap: " + p.name;
    if (!bench.wants(subject.c_str())) {
        return;
    }
    std::vector<void*> blocks(p.session.blocks.size());
    std::vector<Side> sides;
    forEachSide([&](const char* name, auto make) {
        auto heap = make(p.room);
        sides.push_back({name, [&p, &blocks, heap] {
                             return play(p.session, blocks, *heap, [](unsigned int, auto what) { what(); });
                         }});
    });
    bench.compare(subject.c_str(), "operation", 2.0 * static_cast<double>(blocks.size()), sides);
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

static std::vector<unsigned int> smallSizes(size_t count)
{
    std::mt19937 random(1);
    std::vector<unsigned int> sizes;
    for (size_t i = 0; i < count; ++i) {
        sizes.push_back(1 + static_cast<unsigned int>(random() % 2000));
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

// Starts this program again, once, with more room for thread-local variables. When dlopen loads jemalloc, it needs
// more of this room than the dynamic linker reserves by default.
static void leaveRoomForThreadVariables(char** argv)
{
    if (!getenv("GLIBC_TUNABLES")) {
        setenv("GLIBC_TUNABLES", "glibc.rtld.optional_static_tls=16384", 1);
        execv("/proc/self/exe", argv);
    }
}

int main(int argc, char** argv)
{
    leaveRoomForThreadVariables(argv);
    Bench bench(argc, argv);
    std::vector<Play> plays = recordedPlays(argc > 2 ? argv[2] : CORE_RECORDINGS);
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
        comparePlay(bench, p);
    }
    for (const size_t count : {100, 1000, 5000, 20000, 100000}) {
        compareHoles(bench, "heap: among free nodes, " + std::to_string(count), smallSizes(count));
    }
    compareHoles(bench, "heap: among free nodes, 4000 of distinct large sizes", largeSizes(4000));
    compareLinear(bench);
    for (const Play& p : plays) {
        compareWorst(bench, p);
    }
    for (const Play& p : plays) {
        compareMemory(bench, p);
    }
    return bench.result();
}
