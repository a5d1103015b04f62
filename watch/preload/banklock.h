// A recursive lock. Taking one that is free costs one atomic instruction, and the game takes one at each operation. While
// the game has one thread, it costs no atomic instruction: a thread that starts later sees all that this thread wrote.
#pragma once

#include <atomic>
#include <sched.h>
#include <sys/single_threaded.h>
#include <unistd.h>

namespace watch {

class BankMutex {
public:
    bool tryLock()
    {
        const void* me = _me();
        if (m_owner.load(std::memory_order_relaxed) != me && !_take(me)) {
            return false;
        }
        m_depth += 1;
        return true;
    }

    void lock()
    {
        for (int tries = 0; !tryLock(); ++tries) {
            tries < 100 ? static_cast<void>(sched_yield()) : static_cast<void>(usleep(100));
        }
    }

    // Waits for at most a tenth of a second: for a signal handler, whose thread another thread may wait for.
    bool lockSoon()
    {
        for (int tries = 0; tries < 1000; ++tries) {
            if (tryLock()) {
                return true;
            }
            usleep(100);
        }
        return false;
    }

    void unlock()
    {
        if (--m_depth == 0) {
            m_owner.store(nullptr, std::memory_order_release);
        }
    }

private:
    bool _take(const void* me)
    {
        const void* none = nullptr;
        if (__libc_single_threaded) {
            m_owner.store(me, std::memory_order_relaxed); // no other thread can hold it
            return true;
        }
        return m_owner.compare_exchange_strong(none, me, std::memory_order_acquire);
    }

    // An address that no other thread has.
    static const void* _me()
    {
        static thread_local char s_mine __attribute__((tls_model("initial-exec")));
        return &s_mine;
    }

    std::atomic<const void*> m_owner{nullptr};
    unsigned int m_depth = 0; // of the owner
};

} // namespace watch
