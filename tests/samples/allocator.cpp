// The sample of core/allocator.h.
#include "core/allocator.h"
#include "tests/support/game_memory.h"

#include <gtest/gtest.h>

namespace {
#include "core/allocator.h.samples"
}

TEST(Samples, AnObjectLivesInItsBank)
{
    GameMemory memory;
    for (const char* name : {"core", "texts", "units"}) {
        memory.defineHeap(name, 4096);
    }
    memory.initialize();

    sample1();

    EXPECT_EQ(memory.banks[2].allocCount, 1u);
    EXPECT_EQ(memory.check(2, true), 0) << "the object went back";
}
