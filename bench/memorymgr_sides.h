// The sides that the benchmarks of the memory manager compare: core, and other allocators that are installed.
//
// boost's rbtree_best_fit allocates inside one region, as a bank does. The others are malloc of the C library,
// mimalloc and jemalloc. On each side, an operation locks a recursive mutex, as an operation of a bank does.
#pragma once

#include "core/memorymgr.h"
#include "core/mutex.h"

#if __has_include(<boost/interprocess/mem_algo/rbtree_best_fit.hpp>)
#include <boost/interprocess/mem_algo/rbtree_best_fit.hpp>
#include <boost/interprocess/sync/mutex_family.hpp>
#define HAS_RBTREE
#endif

#include <dlfcn.h>
#include <memory>
#include <stdio.h>
#include <stdlib.h>
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

    // Without the mutex.
    static void* allocUnlocked(unsigned int size) { return s_malloc(size); }
    static void freeUnlocked(void* block) { s_free(block); }

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
void forEachSide(Use use)
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

inline void touch(void* block)
{
    *static_cast<volatile char*>(block) = 1;
}

// Starts this program again, once, with more room for thread-local variables. When dlopen loads jemalloc, it needs
// more of this room than the dynamic linker reserves by default.
inline void leaveRoomForThreadVariables(char** argv)
{
    if (!getenv("GLIBC_TUNABLES")) {
        setenv("GLIBC_TUNABLES", "glibc.rtld.optional_static_tls=16384", 1);
        execv("/proc/self/exe", argv);
    }
}
