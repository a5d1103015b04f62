// The sample of file/file.h.
#include "file/file.h"
#include "tests/support/game_memory.h"

#include <gtest/gtest.h>

#include <filesystem>

static std::string units;
static bool complete;

namespace {
#include "file/file.h.samples"
}

TEST(Samples, AFileIsReadWhole)
{
    std::filesystem::create_directory("data");
    writeFile("data/units.txt", "Footman\r\n");
    sample1();
    EXPECT_TRUE(complete);
    EXPECT_EQ(units, "Footman\r\n");
}
