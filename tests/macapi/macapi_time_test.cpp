// The clock and the delay. A test that waits waits for milliseconds, and measures at least what it asked for.
#include <Carbon/Carbon.h>

#include <gtest/gtest.h>

#include <errno.h>
#include <signal.h>
#include <stdint.h>
#include <sys/time.h>
#include <time.h>

static UnsignedWide wide(uint64_t number)
{
    UnsignedWide result;
    result.hi = static_cast<UInt32>(number >> 32);
    result.lo = static_cast<UInt32>(number & 0xffffffff);
    return result;
}

static uint64_t number(const UnsignedWide& value)
{
    return static_cast<uint64_t>(value.hi) << 32 | value.lo;
}

static uint64_t microsecondsOfTheSystem()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
}

static uint64_t microsecondsOfTheMac()
{
    UnsignedWide now = {0, 0};
    Microseconds(&now);
    return number(now);
}

TEST(Time, MicrosecondsCountFromTheStartOfTheMachine)
{
    const uint64_t before = microsecondsOfTheSystem();
    const uint64_t now = microsecondsOfTheMac();
    const uint64_t after = microsecondsOfTheSystem();
    EXPECT_LE(before, now);
    EXPECT_LE(now, after);
}

TEST(Time, NeverGoesBack)
{
    uint64_t lastMicroseconds = 0;
    uint64_t lastUpTime = 0;
    for (int round = 0; round < 100000; ++round) {
        const uint64_t microseconds = microsecondsOfTheMac();
        const uint64_t upTime = number(UpTime());
        ASSERT_LE(lastMicroseconds, microseconds);
        ASSERT_LE(lastUpTime, upTime);
        lastMicroseconds = microseconds;
        lastUpTime = upTime;
    }
}

TEST(Time, TheWordsOfAWideLieAsTheProcessorHasThem)
{
    UnsignedWide value;
    static_assert(sizeof(value) == sizeof(uint64_t), "two words");
    const uint64_t bits = 0x0123456789abcdefu;
    memcpy(&value, &bits, sizeof(value));
    EXPECT_EQ(value.hi, 0x01234567u);
    EXPECT_EQ(value.lo, 0x89abcdefu);
}

TEST(Time, NanosecondsAddUpAcrossBothWords)
{
    const AbsoluteTime moment = UpTime();
    EXPECT_EQ(number(AddNanosecondsToAbsolute(wide(0), moment)), number(moment));
    EXPECT_EQ(number(AddNanosecondsToAbsolute(wide(1), wide(0xffffffff))), 0x100000000u);
    EXPECT_EQ(number(AddNanosecondsToAbsolute(wide(0x300000000), wide(0x500000001))), 0x800000001u);
}

TEST(Time, AMomentTooLateForTheClockIsTheLatestOne)
{
    EXPECT_EQ(number(AddNanosecondsToAbsolute(wide(UINT64_MAX), wide(2))), UINT64_MAX);
    EXPECT_EQ(number(AddNanosecondsToAbsolute(wide(2), wide(UINT64_MAX))), UINT64_MAX);
}

// How long the delay took, in microseconds.
static uint64_t delay(uint64_t nanoseconds)
{
    const uint64_t start = microsecondsOfTheSystem();
    AbsoluteTime moment = AddNanosecondsToAbsolute(wide(nanoseconds), UpTime());
    EXPECT_EQ(MPDelayUntil(&moment), noErr);
    return microsecondsOfTheSystem() - start;
}

TEST(Time, ADelayEndsAtItsMoment)
{
    EXPECT_GE(delay(20000000), 20000u);
    EXPECT_GE(delay(1000), 1u);
}

TEST(Time, AMomentThatIsPastIsNotWaitedFor)
{
    AbsoluteTime moment = UpTime();
    EXPECT_EQ(MPDelayUntil(&moment), noErr);
    moment = wide(0);
    EXPECT_EQ(MPDelayUntil(&moment), noErr);
    moment = wide(number(UpTime()) - 1);
    EXPECT_EQ(MPDelayUntil(&moment), noErr);
}

static volatile sig_atomic_t s_signals;

// SIGALRM, first and then again and again after so many microseconds; 0 for never.
static void startTimer(int first, int next)
{
    const itimerval timer = {{0, next}, {0, first}};
    setitimer(ITIMER_REAL, &timer, nullptr);
}

TEST(Time, SignalsDoNotCutADelayShort)
{
    struct sigaction action = {};
    action.sa_handler = [](int) { s_signals = s_signals + 1; };
    sigaction(SIGALRM, &action, nullptr); // without SA_RESTART
    startTimer(2000, 2000);
    const uint64_t taken = delay(50000000);
    startTimer(0, 0);
    EXPECT_GE(taken, 50000u);
    EXPECT_GE(s_signals, 1);
}

// On every host, also where seconds have 32 bits only: a moment that far away is not taken for one that is past.
TEST(Time, TheLatestMomentIsWaitedFor)
{
    EXPECT_EXIT(
        {
            signal(SIGALRM, SIG_DFL); // ends the program
            startTimer(50000, 0);
            AbsoluteTime moment = wide(UINT64_MAX);
            MPDelayUntil(&moment);
            _exit(0);
        },
        testing::KilledBySignal(SIGALRM), "");
}

TEST(Time, ANullOutputIsIgnored)
{
    Microseconds(nullptr);
    EXPECT_EQ(MPDelayUntil(nullptr), paramErr);
}

TEST(Time, LeavesErrnoAlone)
{
    errno = 77;
    microsecondsOfTheMac();
    delay(1000);
    EXPECT_EQ(errno, 77);
}
