// The samples of core/preferences.h: the code and the INI file.
#include "core/preferences.h"
#include "tests/support/game_memory.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {
#include "core/preferences.h.samples"
}

TEST(Samples, PreferencesReadTheIniFileAndWriteToTheStore)
{
    GameMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 16);
    memory.initialize();
    std::filesystem::create_directory("data");
    writeFile("data/game.ini", data1);

    {
        Preferences preferences;
        preferences.init("data/game.ini");
        EXPECT_EQ(preferences.read("Video", "width", 1), 640) << "the INI file's value";
    }

    sample1();

    Preferences preferences;
    preferences.init("data/game.ini");
    EXPECT_EQ(preferences.read("Video", "width", 1), 800) << "the store's value";
    EXPECT_EQ(readFile("data/game.ini"), data1);
}
