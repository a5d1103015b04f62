// The class Mutex, and which bank's lock the memory manager holds when.
//
// This program defines the functions of the threads library that core calls. It records each call and passes it on,
// from the moment when core is loaded to the moment when core is unloaded.
#include "tests/support/game_memory.h"

#include "core/platform.h"

#include <atomic>
#include <dlfcn.h>
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <thread>
#include <type_traits>

namespace {

// Plain variables, because they are used before this program's objects are made and after they are gone.
pthread_mutex_t* s_made[4096]; // every lock, in the order of their making
int s_madeCount;
pthread_mutex_t* s_bankLocks[33]; // as findBankLocks() found them; the last is the system bank's
std::atomic<pthread_mutex_t*> s_lastLocked;
bool s_initFails;     // the system cannot make a mutex
bool s_tellDestroyed; // on the standard error stream: the banks whose lock goes

// What happens while a test watches: "lock 3, alloc 128, unlock 3".
std::string* s_trace;

void note(const std::string& what)
{
    if (s_trace) {
        *s_trace += (s_trace->empty() ? "" : ", ") + what;
    }
}

// The bank with this lock, -2 when it is no bank's.
int bankOf(const pthread_mutex_t* mutex)
{
    for (int bank = -1; bank < 32; ++bank) {
        if (mutex == s_bankLocks[bank == -1 ? 32 : bank]) {
            return bank;
        }
    }
    return -2;
}

// Whether the library keeps this lock next to those of its banks.
bool isTheLibrarys(const pthread_mutex_t* mutex)
{
    Dl_info banks;
    Dl_info found;
    return dladdr(s_bankLocks[32], &banks) && dladdr(mutex, &found) && found.dli_fbase == banks.dli_fbase;
}

void noteLock(const char* what, const pthread_mutex_t* mutex)
{
    if (bankOf(mutex) != -2) {
        note(std::string(what) + " " + std::to_string(bankOf(mutex)));
    } else if (s_trace && isTheLibrarys(mutex)) {
        note(std::string(what) + " another");
    }
}

// The threads library's own function of this name.
template <typename Function>
Function* next(std::atomic<Function*>& found, const char* name)
{
    if (!found.load()) {
        found.store(reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name)));
    }
    return found.load();
}

void tellTrace()
{
    fprintf(stderr, "%s", s_trace->c_str());
}

} // namespace

extern "C" {

int pthread_mutexattr_init(pthread_mutexattr_t* attr) noexcept
{
    static std::atomic<int (*)(pthread_mutexattr_t*)> s_next;
    note("make attributes");
    return next(s_next, "pthread_mutexattr_init")(attr);
}

int pthread_mutexattr_settype(pthread_mutexattr_t* attr, int type) noexcept
{
    static std::atomic<int (*)(pthread_mutexattr_t*, int)> s_next;
    note(type == PTHREAD_MUTEX_RECURSIVE ? "make them recursive" : "make them something else");
    return next(s_next, "pthread_mutexattr_settype")(attr, type);
}

int pthread_mutexattr_destroy(pthread_mutexattr_t* attr) noexcept
{
    static std::atomic<int (*)(pthread_mutexattr_t*)> s_next;
    note("destroy attributes");
    return next(s_next, "pthread_mutexattr_destroy")(attr);
}

int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attr) noexcept
{
    static std::atomic<int (*)(pthread_mutex_t*, const pthread_mutexattr_t*)> s_next;
    if (s_madeCount < 4096) {
        s_made[s_madeCount++] = mutex;
    }
    note(attr ? "make mutex with them" : "make mutex");
    return s_initFails ? ENOMEM : next(s_next, "pthread_mutex_init")(mutex, attr);
}

int pthread_mutex_destroy(pthread_mutex_t* mutex) noexcept
{
    static std::atomic<int (*)(pthread_mutex_t*)> s_next;
    if (s_tellDestroyed && bankOf(mutex) != -2) {
        fprintf(stderr, "%d ", bankOf(mutex));
    }
    note("destroy mutex");
    return next(s_next, "pthread_mutex_destroy")(mutex);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept
{
    static std::atomic<int (*)(pthread_mutex_t*)> s_next;
    const int result = next(s_next, "pthread_mutex_lock")(mutex);
    s_lastLocked = mutex;
    noteLock("lock", mutex);
    return result;
}

// Here for a thread sanitizer that is part of the program: it sees all of a lock's life or nothing of it.
int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept
{
    static std::atomic<int (*)(pthread_mutex_t*)> s_next;
    return next(s_next, "pthread_mutex_trylock")(mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept
{
    static std::atomic<int (*)(pthread_mutex_t*)> s_next;
    noteLock("unlock", mutex);
    return next(s_next, "pthread_mutex_unlock")(mutex);
}

} // extern "C"

int Platform::MessageBox(const char*, const char*, ...)
{
    note("alert");
    return 1;
}

namespace {

// Whether another thread could have the lock now.
bool isTaken(pthread_mutex_t* mutex)
{
    bool taken = false;
    std::thread([&] {
        taken = pthread_mutex_trylock(mutex) == EBUSY;
        if (!taken) {
            pthread_mutex_unlock(mutex);
        }
    }).join();
    return taken;
}

// Out of line: compilers warn of a delete where they can see that the object came from elsewhere.
__attribute__((noinline)) void deleteMutex(Mutex* mutex)
{
    delete mutex;
}

TEST(Mutex, IsMadeWithRecursiveAttributesThatItKeeps)
{
    alignas(Mutex) unsigned char storage[sizeof(Mutex)];
    std::string trace;
    s_trace = &trace;
    Mutex* mutex = ::new (storage) Mutex;
    EXPECT_EQ(trace, "make attributes, make them recursive, make mutex with them");
    EXPECT_EQ(s_made[s_madeCount - 1], &mutex->mutex);

    int type = -1;
    pthread_mutexattr_gettype(&mutex->attr, &type);
    EXPECT_EQ(type, PTHREAD_MUTEX_RECURSIVE);

    trace.clear();
    mutex->~Mutex();
    EXPECT_EQ(trace, "destroy mutex, destroy attributes");
    s_trace = nullptr;
}

TEST(Mutex, CanBeLockedOnceIfTheSystemCannotMakeIt)
{
    alignas(Mutex) unsigned char storage[sizeof(Mutex)];
    memset(storage, 0xa5, sizeof(storage)); // as memory that was used before
    s_initFails = true;
    Mutex* mutex = ::new (storage) Mutex;
    s_initFails = false;
    EXPECT_EQ(pthread_mutex_trylock(&mutex->mutex), 0);
    EXPECT_TRUE(isTaken(&mutex->mutex));
    EXPECT_EQ(pthread_mutex_unlock(&mutex->mutex), 0);
    EXPECT_FALSE(isTaken(&mutex->mutex));
    mutex->~Mutex();
}

TEST(Mutex, IsLockedTwiceByAThreadThatUnlocksItTwice)
{
    Mutex mutex;
    EXPECT_FALSE(isTaken(&mutex.mutex));
    EXPECT_EQ(pthread_mutex_lock(&mutex.mutex), 0);
    EXPECT_EQ(pthread_mutex_lock(&mutex.mutex), 0);
    EXPECT_TRUE(isTaken(&mutex.mutex));
    EXPECT_EQ(pthread_mutex_unlock(&mutex.mutex), 0);
    EXPECT_TRUE(isTaken(&mutex.mutex));
    EXPECT_EQ(pthread_mutex_unlock(&mutex.mutex), 0);
    EXPECT_FALSE(isTaken(&mutex.mutex));
}

TEST(Mutex, HasTheMutexInFrontOfItsAttributes)
{
    static_assert(std::has_virtual_destructor<Mutex>::value, "a game's own lock may derive from it");
    static_assert(!std::is_copy_constructible<Mutex>::value, "a lock has one place");
    Mutex mutex;
    const char* start = reinterpret_cast<const char*>(&mutex);
    EXPECT_EQ(reinterpret_cast<const char*>(&mutex.mutex) - start, static_cast<long>(sizeof(void*)));
    EXPECT_GT(reinterpret_cast<const char*>(&mutex.attr), reinterpret_cast<const char*>(&mutex.mutex));
}

TEST(Mutex, LivesInBank0WhenMadeWithNew)
{
    GameMemory memory;
    memory.defineHeap("heap", 1024);
    memory.initialize();
    Mutex* mutex = new Mutex;
    EXPECT_EQ(headerWord(mutex, 0), 0xfeedfaceu);
    EXPECT_GE(memory.getSize(0, mutex), sizeof(Mutex));
    EXPECT_EQ(memory.banks[0].usedNodeCount, 1u);
    EXPECT_FALSE(isTaken(&mutex->mutex));
    delete mutex;
    EXPECT_EQ(memory.check(0, true), 0);
}

TEST(Mutex, GivesTheStorageOfADerivedClassBackToo)
{
    struct Named : Mutex {
        std::string name = "a name that does not fit into the string itself";
    };
    GameMemory memory;
    memory.defineHeap("heap", 1024);
    memory.initialize();
    Mutex* mutex = new Named;
    delete mutex;
    EXPECT_EQ(memory.banks[0].freeCount, 1u);
    EXPECT_EQ(memory.check(0, true), 0);
}

TEST(Mutex, DeletingAMutexOutsideOfBank0OnlyDestroysIt)
{
    struct {
        unsigned char before[24];
        alignas(Mutex) unsigned char object[sizeof(Mutex)];
    } storage = {};
    GameMemory memory;
    memory.defineHeap("heap", 1024);
    memory.initialize();
    deleteMutex(::new (storage.object) Mutex);
    EXPECT_EQ(memory.banks[0].freeCount, 0u);
    EXPECT_EQ(memory.check(0, true), 0);
}

TEST(Mutex, CannotBeMadeWithNewBeforeThereIsAManager)
{
    EXPECT_EQ(new Mutex, nullptr);
    delete static_cast<Mutex*>(nullptr);
}

// A manager with 32 banks: 0 to 15 are heaps, 16 to 31 linear, all of them too small for anything. All calls are
// watched.
class BankLocks : public testing::Test {
protected:
    BankLocks()
    {
        for (const e_MemoryLocation location : {MEMLOC_DEFAULT, MEMLOC_CUSTOM}) {
            m_memory.defineLocAllocCb(location, alloc);
            m_memory.defineLocReallocCb(location, realloc);
            m_memory.defineLocFreeCb(location, free);
        }
        for (int bank = 0; bank < 32; ++bank) {
            m_memory.defineBank(MEMLOC_CUSTOM, bank < 16 ? MEMBANK_HEAP : MEMBANK_LINEAR, "bank", 32);
        }
        m_memory.initialize();
        findBankLocks();
        s_trace = &m_trace;
    }
    ~BankLocks() override { s_trace = nullptr; }

    std::string takeTrace() { return std::exchange(m_trace, ""); }

    class Watched : public GameMemory {
        void onOutOfMemory(int reason) override { note("onOutOfMemory " + std::to_string(reason)); }
    };
    Watched m_memory;

private:
    void findBankLocks()
    {
        for (int bank = 0; bank < 32; ++bank) {
            m_memory.free(bank, nullptr);
            s_bankLocks[bank] = s_lastLocked;
        }
        m_memory.free(-1, nullptr);
        s_bankLocks[32] = s_lastLocked;
    }

    static void* alloc(unsigned long size)
    {
        note("alloc " + std::to_string(size));
        return ::malloc(size);
    }
    static void* realloc(void* block, unsigned long size)
    {
        note("realloc " + std::to_string(size));
        return ::realloc(block, size);
    }
    static void free(void* block)
    {
        note("free");
        ::free(block);
    }

    std::string m_trace;
};

TEST_F(BankLocks, AreMadeAtLoadInTheOrderOfTheBanksTheSystemBanksLast)
{
    pthread_mutex_t* made[33];
    int count = 0;
    for (int i = 0; i < s_madeCount; ++i) {
        if (bankOf(s_made[i]) != -2) {
            ASSERT_LT(count, 33);
            made[count++] = s_made[i];
        }
    }
    ASSERT_EQ(count, 33);
    for (int bank = 0; bank < 32; ++bank) {
        EXPECT_EQ(bankOf(made[bank]), bank);
        EXPECT_EQ(reinterpret_cast<char*>(made[bank]) - reinterpret_cast<char*>(made[0]),
                  static_cast<long>(bank * sizeof(Mutex)));
    }
    EXPECT_EQ(bankOf(made[32]), -1);
}

TEST_F(BankLocks, AreDestroyedInReverseOrderWhenTheProgramEnds)
{
    EXPECT_EXIT(
        {
            s_tellDestroyed = true;
            exit(0);
        },
        testing::ExitedWithCode(0),
        "^-1 31 30 29 28 27 26 25 24 23 22 21 20 19 18 17 16 15 14 13 12 11 10 9 8 7 6 5 4 3 2 1 0 $");
}

TEST_F(BankLocks, OutliveTheManager)
{
    {
        GameMemory second;
        s_trace->clear();
    }
    EXPECT_EQ(takeTrace(), "");
}

TEST_F(BankLocks, AreTakenForTheWholeOfACall)
{
    for (int bank = 0; bank < 16; ++bank) {
        const std::string number = std::to_string(bank);
        void* block = m_memory.alloc(bank, 1, "test", 1);
        EXPECT_EQ(takeTrace(), "lock " + number + ", unlock " + number);
        m_memory.getSize(bank, block);
        EXPECT_EQ(takeTrace(), "lock " + number + ", unlock " + number);
        m_memory.free(bank, block);
        EXPECT_EQ(takeTrace(), "lock " + number + ", unlock " + number);
        m_memory.free(bank, block); // refused
        EXPECT_EQ(takeTrace(), "lock " + number + ", unlock " + number);
        m_memory.free(bank, nullptr);
        EXPECT_EQ(takeTrace(), "lock " + number + ", unlock " + number);
    }
}

TEST_F(BankLocks, AreHeldDuringTheCallbacksOfALocation)
{
    void* block = m_memory.alloc(7, 100, "test", 1);
    EXPECT_EQ(takeTrace(), "lock 7, alloc 128, unlock 7");
    m_memory.free(7, block);
    EXPECT_EQ(takeTrace(), "lock 7, free, unlock 7");

    m_memory.alloc(31, 100, "test", 1);
    EXPECT_EQ(takeTrace(), "lock 31, alloc 152, unlock 31");
    m_memory.free(31, nullptr);
    EXPECT_EQ(takeTrace(), "lock 31, free, realloc 152, unlock 31");

    block = m_memory.alloc(-1, 100, "test", 1);
    EXPECT_EQ(takeTrace(), "lock -1, alloc 128, unlock -1");
    m_memory.free(-1, block);
    EXPECT_EQ(takeTrace(), "lock -1, free, unlock -1");
}

TEST_F(BankLocks, AreTakenByGetSizeOfNull)
{
    EXPECT_EQ(m_memory.getSize(3, nullptr), 0u);
    EXPECT_EQ(takeTrace(), "lock 3, unlock 3");
    EXPECT_EQ(m_memory.getSize(16, nullptr), 0u);
    EXPECT_EQ(takeTrace(), "lock 16, unlock 16");
}

TEST_F(BankLocks, ANewSourceNameTakesNoOtherLock)
{
    m_memory.alloc(5, 1, "a name nobody has given before", 1);
    EXPECT_EQ(takeTrace(), "lock 5, unlock 5");
}

TEST_F(BankLocks, AreNotTakenForARequestOf0Bytes)
{
    EXPECT_EQ(m_memory.alloc(0, 0, "test", 1), nullptr);
    EXPECT_EQ(m_memory.alloc(-1, 0, "test", 1), nullptr);
    EXPECT_EQ(takeTrace(), "");
}

TEST_F(BankLocks, AreNotTakenByCallsThatBelongToTheMainThread)
{
    unsigned int largestFree;
    m_memory.checkMemory(0, &largestFree, false);
    m_memory.checkMemory(16, &largestFree, false);
    m_memory.touchMemory();
    m_memory.getMemoryBankSize(0);
    m_memory.defineHeap("bank", 32);
    EXPECT_EQ(takeTrace(), "");
}

TEST_F(BankLocks, AreNotTakenForABankNumberOutOfRange)
{
    m_memory.alloc(32, 1, "test", 1);
    m_memory.free(-2, nullptr);
    m_memory.getSize(33, nullptr);
    EXPECT_EQ(takeTrace(), "");
}

TEST_F(BankLocks, StayTakenToTheEndOfAGameThatIsOutOfMemory)
{
    m_memory.defineLocAllocCb(MEMLOC_CUSTOM, [](unsigned long) -> void* {
        note("alloc fails");
        return nullptr;
    });
    EXPECT_EXIT(
        {
            atexit(tellTrace);
            m_memory.alloc(3, 100, "test", 1);
        },
        testing::ExitedWithCode(255), "^lock 3, alloc fails, alert, onOutOfMemory 0$");
}

TEST_F(BankLocks, AreTakenAgainWhenACallbackCallsTheManager)
{
    m_memory.defineLocAllocCb(MEMLOC_CUSTOM, [](unsigned long size) -> void* {
        note("callback");
        g_MemoryPtr->free(3, g_MemoryPtr->alloc(3, 1, "test", 1));
        return malloc(size);
    });
    void* block = m_memory.alloc(3, 100, "test", 1);
    EXPECT_EQ(takeTrace(), "lock 3, callback, lock 3, unlock 3, lock 3, unlock 3, unlock 3");
    m_memory.free(3, block);
}

} // namespace
