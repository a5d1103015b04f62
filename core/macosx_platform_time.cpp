// The clock, sleeping, and how a game's threads start.
#include "core/platform.h"

#include <Carbon/Carbon.h>
#include <stddef.h>

// As threadStarter is handed it, and what it looks at of the thread object. On 32-bit hosts these are words alone.
struct ThreadObject_s {
    void* words[3]; // the game's
    unsigned int running;
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
    // 32 bits of nanoseconds: a game that asks for 5000 ms has always had 705, and is timed to that.
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
        // The game polls this from other threads. Whoever reads 0 atomically also sees what the thread has written; from
        // here on the object may be gone.
        __atomic_store_n(&start->thread->running, 0u, __ATOMIC_RELEASE);
    }
    operator delete(record);
    return result;
}
