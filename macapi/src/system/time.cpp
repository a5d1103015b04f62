// The clock: the system's monotonic clock. It starts when the machine starts, and cannot be set.
#include <Carbon/Carbon.h>

#include <algorithm>
#include <errno.h>
#include <limits>
#include <stdint.h>
#include <time.h>

static const uint64_t sc_nanosecondsPerSecond = 1000000000;

static UnsignedWide wideOf(uint64_t number)
{
    UnsignedWide wide;
    wide.hi = static_cast<UInt32>(number >> 32);
    wide.lo = static_cast<UInt32>(number & 0xffffffff);
    return wide;
}

static uint64_t numberOf(const UnsignedWide& wide)
{
    return static_cast<uint64_t>(wide.hi) << 32 | wide.lo;
}

static uint64_t nanosecondsSinceStart()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * sc_nanosecondsPerSecond + static_cast<uint64_t>(now.tv_nsec);
}

void Microseconds(UnsignedWide* microseconds)
{
    if (microseconds) {
        *microseconds = wideOf(nanosecondsSinceStart() / 1000);
    }
}

// Absolute times are nanoseconds.
AbsoluteTime UpTime()
{
    return wideOf(nanosecondsSinceStart());
}

AbsoluteTime AddNanosecondsToAbsolute(Nanoseconds nanoseconds, AbsoluteTime time)
{
    uint64_t sum;
    if (__builtin_add_overflow(numberOf(nanoseconds), numberOf(time), &sum)) {
        sum = UINT64_MAX; // the latest time, because the sum modulo 2^64 would be a time in the past
    }
    return wideOf(sum);
}

OSStatus MPDelayUntil(AbsoluteTime* moment)
{
    if (!moment) {
        return paramErr;
    }
    // Where time_t has 32 bits, this is 68 years after the start of the machine.
    const uint64_t latest = static_cast<uint64_t>(std::numeric_limits<time_t>::max());
    timespec until;
    until.tv_sec = static_cast<time_t>(std::min(numberOf(*moment) / sc_nanosecondsPerSecond, latest));
    until.tv_nsec = static_cast<long>(numberOf(*moment) % sc_nanosecondsPerSecond);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
    }
    return noErr;
}
