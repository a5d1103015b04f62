// The time of alloc and free when several threads use the heap at once, beside rbtree_best_fit, mimalloc and
// jemalloc. rbtree_best_fit locks a recursive mutex, as a bank does. mimalloc and jemalloc have locks of their own.
//
//     memorymgr_threads_bench [PART OF A SUBJECT]
//
//  | Subject                        | What each thread does                                                      |
//  |--------------------------------|----------------------------------------------------------------------------|
//  | threads: N, a bank for each    | allocates and frees in a bank of its own, or in a region of its own        |
//  | threads: N, one bank           | allocates and frees in one bank or region that all threads share           |
//  | threads: N, others free        | allocates in its own bank; then frees the blocks that another thread has   |
//  |                                | allocated, in the bank of that thread                                      |
//
// The result is the processor time of all threads, divided by the number of operations of all threads. So the result
// of N threads with a bank for each is that of one thread, as long as the threads do not disturb each other. Threads
// that wait for a lock take little processor time.
#include "memorymgr_sides.h"
#include "peers.h"

#include <pthread.h>
#include <random>
#include <string>
#include <thread>

static const unsigned int sc_blocks = 2000; // that a thread has at most
static const unsigned int sc_rounds = 10;
static const unsigned int sc_room = 4 << 20; // bytes: enough for the blocks of one thread

// Several banks, or several regions of another allocator. Threads use them by number.
class Banks {
public:
    virtual ~Banks() = default;
    virtual void* alloc(unsigned int bank, unsigned int size) = 0;
    virtual void free(unsigned int bank, void* block) = 0;
};

class CoreBanks : public Banks, private MemoryMgr {
public:
    CoreBanks(unsigned int count, unsigned int size)
    {
        bankSizePath[0] = '\0';
        for (unsigned int bank = 0; bank < count; ++bank) {
            defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, std::to_string(bank).c_str(), size);
        }
        initialize();
    }

    void* alloc(unsigned int bank, unsigned int size) override
    {
        return MemoryMgr::alloc(static_cast<int>(bank), size, "bench", __LINE__);
    }
    void free(unsigned int bank, void* block) override { MemoryMgr::free(static_cast<int>(bank), block); }

protected:
    void onOutOfMemory(int) override {}
};

// One heap of a side for each bank.
template <typename Heap>
class PeerBanks : public Banks {
public:
    PeerBanks(unsigned int count, unsigned int size)
    {
        for (unsigned int bank = 0; bank < count; ++bank) {
            m_heaps.push_back(std::make_unique<Heap>(size));
        }
    }

    void* alloc(unsigned int bank, unsigned int size) override { return m_heaps[bank]->alloc(size); }
    void free(unsigned int bank, void* block) override { m_heaps[bank]->free(block); }

private:
    std::vector<std::unique_ptr<Heap>> m_heaps;
};

// A side without a lock around it, for allocators that have locks of their own.
template <typename Library>
class Unlocked {
public:
    explicit Unlocked(unsigned int) {}
    void* alloc(unsigned int size) { return Library::allocUnlocked(size); }
    void free(void* block) { Library::freeUnlocked(block); }
};

struct Work {
    unsigned int threads;
    bool isOneBank;
    bool doOthersFree;
};

// Allocates and frees the blocks of one thread. Without the barriers, a thread could free blocks before the other
// thread has allocated them.
static void runThread(const Work& work, unsigned int thread, Banks& banks, pthread_barrier_t* barrier,
                      std::vector<std::vector<void*>>& blocks)
{
    const unsigned int other = work.doOthersFree ? (thread + 1) % work.threads : thread;
    std::mt19937 random(thread);
    for (unsigned int round = 0; round < sc_rounds; ++round) {
        for (void*& block : blocks[thread]) {
            block = banks.alloc(work.isOneBank ? 0 : thread, 1 + static_cast<unsigned int>(random() % 400));
            touch(block);
        }
        if (work.doOthersFree) {
            pthread_barrier_wait(barrier);
        }
        for (unsigned int i = 0; i < sc_blocks; ++i) {
            banks.free(work.isOneBank ? 0 : other, blocks[other][i * 7 % sc_blocks]); // 7 and 2000: each block once
        }
        if (work.doOthersFree) {
            pthread_barrier_wait(barrier);
        }
    }
}

static unsigned long long runThreads(const Work& work, Banks& banks)
{
    pthread_barrier_t barrier;
    pthread_barrier_init(&barrier, nullptr, work.threads);
    std::vector<std::vector<void*>> blocks(work.threads, std::vector<void*>(sc_blocks));
    std::vector<std::thread> threads;
    for (unsigned int thread = 0; thread < work.threads; ++thread) {
        threads.emplace_back([&, thread] { runThread(work, thread, banks, &barrier, blocks); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    pthread_barrier_destroy(&barrier);
    return work.threads;
}

static void compareThreads(Bench& bench, const char* subject, const Work& work)
{
    if (!bench.wants(subject)) {
        return;
    }
    const unsigned int count = work.isOneBank ? 1 : work.threads;
    const unsigned int size = work.isOneBank ? sc_room * work.threads : sc_room;
    std::vector<Side> sides;
    const auto add = [&](const char* name, std::shared_ptr<Banks> banks) {
        sides.push_back({name, [&work, banks] { return runThreads(work, *banks); }});
    };
    add("core", std::make_shared<CoreBanks>(count, size));
#ifdef HAS_RBTREE
    add("rbtree_best_fit", std::make_shared<PeerBanks<Rbtree>>(count, size));
#endif
    if (Mimalloc::load("libmimalloc.so.2", "mi_malloc", "mi_free")) {
        add("mimalloc", std::make_shared<PeerBanks<Unlocked<Mimalloc>>>(count, size));
    }
    if (Jemalloc::load("libjemalloc.so.2", "malloc", "free")) {
        add("jemalloc", std::make_shared<PeerBanks<Unlocked<Jemalloc>>>(count, size));
    }
    const double operations = 2.0 * work.threads * sc_rounds * sc_blocks;
    bench.compare(subject, "operation", operations, sides, CLOCK_PROCESS_CPUTIME_ID);
}

int main(int argc, char** argv)
{
    leaveRoomForThreadVariables(argv);
    Bench bench(argc, argv);
    compareThreads(bench, "threads: 1, a bank for each", {1, false, false});
    compareThreads(bench, "threads: 2, a bank for each", {2, false, false});
    compareThreads(bench, "threads: 8, a bank for each", {8, false, false});
    compareThreads(bench, "threads: 8, one bank", {8, true, false});
    compareThreads(bench, "threads: 8, others free", {8, false, true});
    return bench.result();
}
