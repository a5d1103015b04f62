// The program on the README's first screen.
#include "core/memorymgr.h"
#include "tests/support/game_memory.h"

#include <gtest/gtest.h>

namespace {
#include "README.md.samples"
}

TEST(Samples, TheReadmesProgramEndsWellAndLeavesASizeForEachBank)
{
    EXPECT_EQ(program1(), 0);

    const std::string sizes = readFile("MACAPI_LIBRARY/Application Support/Brackenlow/samples_test/data/memory.dat");
    EXPECT_NE(sizes.find("core="), std::string::npos) << sizes;
    EXPECT_NE(sizes.find("level="), std::string::npos) << sizes;
}
