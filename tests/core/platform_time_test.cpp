// Time, sleep and the start of threads, with the real clock of the system.
#include "core/platform.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <pthread.h>
#include <thread>
#include <time.h>

typedef std::chrono::steady_clock Clock;

// What call takes, in milliseconds.
template <typename Call>
static double measure(Call call)
{
    const Clock::time_point start = Clock::now();
    call();
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

static unsigned int millisecondsOfTheSystem()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<unsigned int>(static_cast<unsigned long long>(now.tv_sec) * 1000 +
                                     static_cast<unsigned long long>(now.tv_nsec) / 1000000);
}

TEST(PlatformTime, IsMillisecondsSinceTheMachineWasStarted)
{
    const unsigned int before = millisecondsOfTheSystem();
    const unsigned int now = Platform::GetTime();
    const unsigned int after = millisecondsOfTheSystem();
    EXPECT_LE(now - before, after - before); // as differences, since it may begin again at 0
}

TEST(PlatformTime, ValuesTenMillisecondsApartDifferByTen)
{
    unsigned int difference = 0;
    const double taken = measure([&] {
        const unsigned int start = Platform::GetTime();
        Platform::Sleep(10);
        difference = Platform::GetTime() - start;
    });
    EXPECT_GE(difference, 10u);
    EXPECT_LE(difference, taken + 1);
}

TEST(PlatformTime, PeriodsBeginAndEndWithoutAnEffect)
{
    Platform::EndTimePeriod();
    Platform::BeginTimePeriod();
    Platform::BeginTimePeriod();
    Platform::EndTimePeriod();
}

TEST(PlatformTime, SleepLastsAsLongAsItSays)
{
    EXPECT_GE(measure([] { Sleep(20); }), 20.0);
    EXPECT_GE(measure([] { Platform::Sleep(20); }), 20.0);
}

TEST(PlatformTime, SleepingForNoTimeComesBackAtOnce)
{
    EXPECT_LT(measure([] {
                  for (int i = 0; i < 10; ++i) {
                      Sleep(0);
                  }
              }),
              1000.0);
}

TEST(PlatformTime, FiveSecondsOfSleepAre705MillisecondsBecauseNanosecondsHave32Bits)
{
    const double taken = measure([] { Sleep(5000); });
    EXPECT_GE(taken, 705.0);
    EXPECT_LT(taken, 4000.0);
}

TEST(PlatformTime, OnlyTheCallingThreadSleeps)
{
    std::atomic<bool> isAsleep{true};
    std::thread sleeper([&] {
        Sleep(200);
        isAsleep = false;
    });
    unsigned int turns = 0;
    while (isAsleep) {
        ++turns;
        std::this_thread::yield();
    }
    sleeper.join();
    EXPECT_GT(turns, 1u);
}

// A thread as a game has it: its fourth word says whether it is running. Behind that, one that nobody may touch.
struct GameThread {
    void* words[3] = {this, this, this};
    std::atomic<unsigned int> running{1};
    unsigned int behind = 0x01020304;
};
static_assert(sizeof(std::atomic<unsigned int>) == 4, "one word");

struct StartRecord {
    int (*function)(void*);
    void* argument;
    GameThread* thread;
};

TEST(ThreadStarter, CallsTheFunctionWithItsArgumentAndReturnsItsResult)
{
    GameThread thread;
    int argument = 40;
    const auto function = [](void* number) { return *static_cast<int*>(number) += 2; };
    EXPECT_EQ(threadStarter(new StartRecord{function, &argument, &thread}), 42);
    EXPECT_EQ(argument, 42);
    EXPECT_EQ(threadStarter(new StartRecord{[](void*) { return -1; }, nullptr, &thread}), -1);
}

TEST(ThreadStarter, ClearsTheRunningFlagWhenTheFunctionHasReturnedAndNothingElse)
{
    GameThread thread;
    const auto function = [](void* argument) {
        return static_cast<int>(static_cast<GameThread*>(argument)->running.load());
    };
    EXPECT_EQ(threadStarter(new StartRecord{function, &thread, &thread}), 1) << "it was running then";
    EXPECT_EQ(thread.running, 0u);
    EXPECT_EQ(thread.behind, 0x01020304u);
    for (void* word : thread.words) {
        EXPECT_EQ(word, &thread);
    }
}

TEST(ThreadStarter, ClearsAllOfTheFlag)
{
    GameThread thread;
    thread.running = 0xffffffff;
    threadStarter(new StartRecord{[](void*) { return 0; }, nullptr, &thread});
    EXPECT_EQ(thread.running, 0u);
}

TEST(ThreadStarter, IsPolledFromAnotherThreadThatThenSeesWhatTheThreadHasDone)
{
    for (int round = 0; round < 100; ++round) {
        GameThread thread;
        int product = 0; // not atomic: the flag tells when it may be read
        const auto function = [](void* out) { return *static_cast<int*>(out) = 6 * 7; };
        std::thread starter(threadStarter, new StartRecord{function, &product, &thread});
        while (thread.running.load(std::memory_order_acquire)) {
            std::this_thread::yield();
        }
        EXPECT_EQ(product, 42);
        starter.join();
    }
}

static void* start(void* record)
{
    return reinterpret_cast<void*>(static_cast<intptr_t>(threadStarter(record)));
}

TEST(ThreadStarter, StartsAThreadOfTheSystems)
{
    GameThread thread;
    pthread_t id;
    const auto function = [](void* creator) {
        return pthread_equal(*static_cast<pthread_t*>(creator), pthread_self()) ? 1 : 2;
    };
    pthread_t creator = pthread_self();
    ASSERT_EQ(pthread_create(&id, nullptr, start, new StartRecord{function, &creator, &thread}), 0);
    void* result = nullptr;
    pthread_join(id, &result);
    EXPECT_EQ(reinterpret_cast<intptr_t>(result), 2);
    EXPECT_EQ(thread.running, 0u);
}

TEST(ThreadStarter, WithoutAThreadObjectOrAFunctionDoesTheRest)
{
    EXPECT_EQ(threadStarter(new StartRecord{[](void*) { return 5; }, nullptr, nullptr}), 5);
    GameThread thread;
    EXPECT_EQ(threadStarter(new StartRecord{nullptr, nullptr, &thread}), 0);
    EXPECT_EQ(thread.running, 0u);
    EXPECT_EQ(threadStarter(nullptr), 0);
}
