// The samples of the guide: docs/memory.md, docs/texts.md and docs/files.md.
#include "core/parser.h"
#include "core/platform.h"
#include "file/file.h"
#include "logger/logger.h"
#include "tests/support/game_memory.h"

#include <gtest/gtest.h>

#include <filesystem>

static int level;
static int speed;
static char text[64];

namespace memory_page {
#include "docs/memory.md.samples"
}
namespace texts_page {
#include "docs/texts.md.samples"
}
namespace files_page {
#include "docs/files.md.samples"
}

TEST(Samples, ABankIsCheckedAtTheEndOfALevel)
{
    GameMemory memory;
    memory.defineHeap("core", 4096);
    level = 1;
    memory.defineHeap("level", 4096);
    memory.initialize();
    testing::internal::CaptureStderr();
    memory_page::sample1();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

    memory.alloc(level, 100, "test", 1);
    testing::internal::CaptureStderr();
    memory_page::sample1();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "bank 1 is not empty: error -6\n");
}

TEST(Samples, ALineOfAUnitIsRead)
{
    strcpy(text, "// a unit\r\nspeed = 3\r\n");
    texts_page::sample1();
    EXPECT_EQ(speed, 3);
}

TEST(Samples, ASavedGameLiesInAFolderOfTheDataFolder)
{
    files_page::sample1();
    EXPECT_TRUE(std::filesystem::exists(std::string(Platform::GetAppDataDir(nullptr)) + "/saves/first"));
}
