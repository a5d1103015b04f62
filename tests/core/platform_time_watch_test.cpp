// The calls of time, sleep and threadStarter to the system. This program defines the clock's functions and operator
// delete.
#include "core/platform.h"

#include <Carbon/Carbon.h>

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <new>
#include <stdint.h>
#include <stdlib.h>
#include <string>

static uint64_t s_microseconds;
static const AbsoluteTime s_now = {0x11111111, 0x22222222};
static const AbsoluteTime s_deadline = {0x33333333, 0x44444444};
static Nanoseconds s_nanoseconds; // the last that were added
static std::string s_asked;

static void note(const std::string& what)
{
    s_asked += (s_asked.empty() ? "" : ", ") + what;
}

static bool isSame(const UnsignedWide& left, const UnsignedWide& right)
{
    return left.hi == right.hi && left.lo == right.lo;
}

extern "C" {

void Microseconds(UnsignedWide* microseconds)
{
    note("microseconds");
    microseconds->hi = static_cast<UInt32>(s_microseconds >> 32);
    microseconds->lo = static_cast<UInt32>(s_microseconds & 0xffffffff);
}

AbsoluteTime UpTime(void)
{
    note("up time");
    return s_now;
}

AbsoluteTime AddNanosecondsToAbsolute(Nanoseconds nanoseconds, AbsoluteTime time)
{
    note(isSame(time, s_now) ? "add to it" : "add to some other time");
    s_nanoseconds = nanoseconds;
    return s_deadline;
}

OSStatus MPDelayUntil(AbsoluteTime* moment)
{
    note(isSame(*moment, s_deadline) ? "wait for the sum" : "wait for something else");
    return -1; // which is nobody's business
}

} // extern "C"

// Passed on to the library's.
void Sleep(unsigned int ms)
{
    note("sleep " + std::to_string(ms));
    reinterpret_cast<void (*)(unsigned int)>(dlsym(RTLD_NEXT, "_Z5Sleepj"))(ms);
}

TEST(PlatformTimeWatch, TimeIsMicrosecondsDividedByAThousandRoundedDown)
{
    const struct {
        uint64_t microseconds;
        unsigned int milliseconds;
    } rows[] = {
        {0, 0},
        {999, 0},
        {1000, 1},
        {123456789, 123456},
        {0xffffffff, 4294967},            // all of the low word
        {0x100000000, 4294967},           // the high word counts as well
        {0x3e7fffffc18, 0xffffffff},      // the last millisecond before it begins again
        {0x3e7ffffffff, 0xffffffff},      //
        {0x3e800000000, 0},               // 2^32 ms
        {0x3e8000003e8, 1},               //
        {UINT64_MAX, 0x4bc6a7ef},         // 18446744073709551 ms: no sign, and the low 32 bits
        {0x8000000000000000, 0xa5e353f7}, // 9223372036854775 ms
    };
    for (const auto& row : rows) {
        s_microseconds = row.microseconds;
        EXPECT_EQ(Platform::GetTime(), row.milliseconds) << row.microseconds;
        EXPECT_EQ(Platform::GetTime(), static_cast<unsigned int>(row.microseconds / 1000));
    }
}

TEST(PlatformTimeWatch, DifferencesHoldAcrossTheWrap)
{
    s_microseconds = 0x3e7ffffffff;
    const unsigned int before = Platform::GetTime();
    s_microseconds += 10000;
    EXPECT_EQ(Platform::GetTime() - before, 10u);
}

TEST(PlatformTimeWatch, TimeAsksForNothingButMicroseconds)
{
    Platform::GetTime();
    EXPECT_EQ(s_asked, "microseconds");
}

TEST(PlatformTimeWatch, PeriodsAskForNothing)
{
    Platform::BeginTimePeriod();
    Platform::EndTimePeriod();
    EXPECT_EQ(s_asked, "");
}

TEST(PlatformTimeWatch, SleepWaitsForAMomentThatManyNanosecondsFromNow)
{
    Sleep(7);
    EXPECT_EQ(s_asked, "sleep 7, up time, add to it, wait for the sum");
    EXPECT_EQ(s_nanoseconds.hi, 0u);
    EXPECT_EQ(s_nanoseconds.lo, 7000000u);
}

TEST(PlatformTimeWatch, NanosecondsOfSleepHave32Bits)
{
    const struct {
        unsigned int ms;
        unsigned int nanoseconds;
    } rows[] = {
        {0, 0},
        {1, 1000000},
        {4294, 4294000000u}, // the longest
        {4295, 32704},       // 0.03 ms
        {5000, 705032704},
        {0x80000000, 0},
        {0xffffffff, 0xfff0bdc0}, // 2^32 - 1000000
    };
    for (const auto& row : rows) {
        s_asked.clear();
        Sleep(row.ms);
        EXPECT_EQ(s_nanoseconds.hi, 0u) << row.ms;
        EXPECT_EQ(s_nanoseconds.lo, row.nanoseconds) << row.ms;
        EXPECT_EQ(s_asked, "sleep " + std::to_string(row.ms) + ", up time, add to it, wait for the sum");
    }
}

TEST(PlatformTimeWatch, PlatformsSleepCallsTheFreeFunctionSleep)
{
    Platform::Sleep(5000);
    EXPECT_EQ(s_asked, "sleep 5000, up time, add to it, wait for the sum");
    EXPECT_EQ(s_nanoseconds.lo, 705032704u);
}

// The record's release: the storage is this test's.
struct GameThread {
    void* words[3];
    unsigned int running;
};
struct StartRecord {
    int (*function)(void*);
    void* argument;
    GameThread* thread;
};
static GameThread s_thread;
static StartRecord s_record;

void operator delete(void* block) noexcept
{
    if (block == &s_record) {
        note("release, running " + std::to_string(s_thread.running));
        return;
    }
    free(block);
}
void operator delete(void* block, size_t) noexcept
{
    if (block == &s_record) {
        note("release of a known size");
        return;
    }
    free(block);
}
void* operator new(size_t size)
{
    return malloc(size ? size : 1);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept
{
    return malloc(size ? size : 1);
}

TEST(PlatformTimeWatch, AThreadsRecordIsReleasedLastOfAll)
{
    s_thread.running = 1;
    s_record.function = [](void*) {
        note("function, running " + std::to_string(s_thread.running));
        return 3;
    };
    s_record.thread = &s_thread;
    EXPECT_EQ(threadStarter(&s_record), 3);
    EXPECT_EQ(s_asked, "function, running 1, release, running 0");
}
