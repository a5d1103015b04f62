// QuickDraw's port: the only one stands for the desktop.
#include <Carbon/Carbon.h>

#include <gtest/gtest.h>

#include <thread>
#include <vector>

TEST(Port, IsThereBeforeAProgramSetsOne)
{
    GrafPtr port = nullptr;
    GetPort(&port);
    EXPECT_NE(port, nullptr);
}

TEST(Port, CanBeSetToItsOwnValue)
{
    GrafPtr before = nullptr;
    GetPort(&before);
    SetPort(before);
    GrafPtr after = nullptr;
    GetPort(&after);
    EXPECT_EQ(after, before);
}

TEST(Port, IsNeverNull)
{
    GetPort(nullptr);
    SetPort(nullptr);
    GrafPtr port = nullptr;
    GetPort(&port);
    EXPECT_NE(port, nullptr);
}

TEST(Port, HasTheDesktopsCoordinates)
{
    Point point = {-5, 1000};
    GlobalToLocal(&point);
    EXPECT_EQ(point.v, -5);
    EXPECT_EQ(point.h, 1000);
    GlobalToLocal(nullptr);
}

TEST(Port, MayBeUsedFromManyThreads)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; i++) {
        threads.emplace_back([] {
            for (int turn = 0; turn < 1000; turn++) {
                GrafPtr port = nullptr;
                GetPort(&port);
                EXPECT_NE(port, nullptr);
                SetPort(port);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}
