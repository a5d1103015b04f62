// The samples of core/platform.h.
#include "core/platform.h"
#include "tests/support/game_memory.h"
#include "tests/support/x_server.h"

#include <ApplicationServices/ApplicationServices.h>
#include <gtest/gtest.h>

#include <filesystem>

static char path[1024];
static std::vector<std::string> s_loaded;

static int s_hidden;

CGDisplayErr CGDisplayHideCursor(CGDirectDisplayID)
{
    ++s_hidden;
    return kCGErrorSuccess;
}

static int isUnit(const char* name)
{
    return strstr(name, ".unit") != nullptr;
}

static void loadUnit(const char* name)
{
    s_loaded.push_back(name);
}

namespace {
#include "core/platform.h.samples"
}

TEST(Samples, ThePlatformNamesTheGamesFolder)
{
    unsetenv("DISPLAY"); // the alert goes to the standard error stream
    testing::internal::CaptureStderr();
    sample1();
    EXPECT_NE(testing::internal::GetCapturedStderr().find("/data/options could not be read."), std::string::npos);
    EXPECT_NE(std::string(path).find("/Brackenlow/samples_test/data/options"), std::string::npos) << path;
}

TEST(Samples, TheGameMakesItsOwnFolderBesideThatOfTheBankSizes)
{
    sample2();
    const std::string folder = Platform::GetAppDataDir(nullptr);
    EXPECT_TRUE(std::filesystem::is_directory(folder + "/data")); // the manager writes the bank sizes there
    EXPECT_TRUE(std::filesystem::is_directory(folder + "/saves"));
}

TEST(Samples, ASettingIsKept)
{
    sample4();
    EXPECT_EQ(Platform::RegGetInt32("Sound", "width", 1), 800) << "the section is ignored";
}

TEST(Samples, AnAlertShowsAFormattedText)
{
    unsetenv("DISPLAY"); // the alert goes to the standard error stream
    testing::internal::CaptureStderr();
    sample3();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "samples_test needs 64 MB of memory.\n");
}

class SampleWindow : public XServer {};

TEST_F(SampleWindow, IsTheCurrentOne)
{
    start("1024x768x24");
    sample5();
    EXPECT_EQ(Platform::GetWindowWidth(), Platform::GetWindow() ? 800 : 0);
    Platform::DestructWindow(Platform::GetWindow());
    EXPECT_EQ(Platform::GetWindow(), nullptr);
}

TEST(Samples, TheCursorIsHidden)
{
    unsetenv("DISPLAY");
    sample6();
    EXPECT_EQ(s_hidden, 1);
}

TEST(Samples, TimeIsMeasuredAroundACall)
{
    sample7();
    EXPECT_EQ(s_loaded, std::vector<std::string>{"footman.unit"});
}

TEST(Samples, AFolderIsListedAsItWasGiven)
{
    GameMemory memory;
    memory.defineHeap("core", 1 << 16);
    memory.initialize();
    std::filesystem::create_directories("data/units");
    writeFile("data/units/footman.unit", "");
    writeFile("data/units/notes.txt", "");
    sample8();
    EXPECT_EQ(s_loaded, std::vector<std::string>{"data\\units/footman.unit"});
    EXPECT_EQ(memory.check(0, true), 0) << "the list went back";
}
