// The sample of core/hashtable.h.
#include "core/hashtable.h"
#include "tests/support/game_memory.h"

#include <gtest/gtest.h>

#include <stdio.h>

struct Unit {
    int hitPoints;
};
static Unit footman = {60};

namespace {
#include "core/hashtable.h.samples"
}

TEST(Samples, TheHashTableFindsAnEntryAndWalksOverAll)
{
    GameMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 20);
    memory.initialize();
    testing::internal::CaptureStdout();

    sample1();

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Footman\n");
}
