// The clock, Sleep, and the start routine of a game's threads.
#include "core/platform.h"

#include <Carbon/Carbon.h>
#include <stddef.h>

// The thread object and the start record. Frozen: docs/architecture.md, "Record layouts and virtual tables". On
// 32-bit builds each field is one 32-bit word.
struct ThreadObject_s {
    void* words[3];       // for the game; threadStarter does not touch them
    unsigned int running; // threadStarter writes 0 when the thread's function has returned
};
struct ThreadStart_s {
    int (*function)(void*);
    void* argument;
    ThreadObject_s* thread;
};
static_assert(sizeof(unsigned int) == 4 && offsetof(ThreadObject_s, running) == 3 * sizeof(void*), "the fourth word");
static_assert(sizeof(ThreadStart_s) == 3 * sizeof(void*), "three words");

unsigned int Platform::GetTime()
{
    UnsignedWide now = {};
    Microseconds(&now);
    const unsigned long long microseconds = static_cast<unsigned long long>(now.hi) << 32 | now.lo;
    return static_cast<unsigned int>(microseconds / 1000);
}

void Platform::BeginTimePeriod()
{
}

void Platform::EndTimePeriod()
{
}

void Platform::Sleep(unsigned int ms)
{
    ::Sleep(ms);
}

void Sleep(unsigned int ms)
{
    // Deliberate: the product has 32 bits and wraps. The product and the order of the three calls are frozen:
    // docs/architecture.md, "Sizes and rounding" and "Orders of calls".
    Nanoseconds duration = {};
    duration.lo = ms * 1000000u;
    AbsoluteTime deadline = AddNanosecondsToAbsolute(duration, UpTime());
    MPDelayUntil(&deadline);
}

int threadStarter(void* record)
{
    const ThreadStart_s* start = static_cast<ThreadStart_s*>(record);
    if (!start) {
        return 0;
    }
    const int result = start->function ? start->function(start->argument) : 0;
    if (start->thread) {
        // The game reads this flag on other threads. A thread that reads 0 with acquire order also sees everything
        // that this thread has written. The game may free the thread object from here on.
        __atomic_store_n(&start->thread->running, 0u, __ATOMIC_RELEASE);
    }
    operator delete(record);
    return result;
}
