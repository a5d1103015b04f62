// Settings in the real store.
#include "core/platform.h"

#include "core/preferences.h"

#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

#include <string.h>
#include <string>

static std::string getString(const char* key, const char* defaultValue)
{
    char out[4096];
    std::string copy = defaultValue;
    Platform::RegGetString("Video", key, copy.data(), out);
    return out;
}

static bool setString(const char* key, std::string value)
{
    return Platform::RegSetString("Video", key, value.data());
}

TEST(Settings, AnInt32ThatWasNeverWrittenIsTheDefault)
{
    EXPECT_EQ(Platform::RegGetInt32("Video", "width", 640), 640);
    EXPECT_EQ(Platform::RegGetInt32("Video", "width", -1), -1);
}

TEST(Settings, AnInt32ComesBack)
{
    for (int value : {1, -1, 640, 2147483647, -2147483647 - 1}) {
        EXPECT_TRUE(Platform::RegSetInt32("Video", "width", value));
        EXPECT_EQ(Platform::RegGetInt32("Video", "width", 5), value);
    }
}

TEST(Settings, AStored0IsNotTheDefault)
{
    Platform::RegSetInt32("Video", "width", 0);
    EXPECT_EQ(Platform::RegGetInt32("Video", "width", 640), 0);
}

TEST(Settings, SectionsAreIgnored)
{
    Platform::RegSetInt32("A", "k", 7);
    EXPECT_EQ(Platform::RegGetInt32("B", "k", 5), 7);
    EXPECT_EQ(Platform::RegGetInt32(nullptr, "k", 5), 7);
    Platform::RegSetInt32("B", "k", 8);
    EXPECT_EQ(Platform::RegGetInt32("A", "k", 5), 8);
}

TEST(Settings, AStringComesBack)
{
    EXPECT_TRUE(setString("name", "Anna \x8aM\x9f <&> \"\n"));
    EXPECT_EQ(getString("name", "none"), "Anna \x8aM\x9f <&> \"\n");
    EXPECT_TRUE(setString("name", ""));
    EXPECT_EQ(getString("name", "none"), "");
}

TEST(Settings, ALongStringComesBackWhole)
{
    const std::string text(3000, 'x');
    EXPECT_TRUE(setString("name", text));
    EXPECT_EQ(getString("name", "none"), text);
}

// What another user has left for all users of the machine.
static void setForTheMachine(const char* key, const std::string& value)
{
    const CFStringRef name = CFStringCreateWithCString(kCFAllocatorDefault, key, kCFStringEncodingMacRoman);
    const CFStringRef text = CFStringCreateWithCString(kCFAllocatorDefault, value.c_str(), kCFStringEncodingMacRoman);
    CFPreferencesSetValue(name, text, kCFPreferencesCurrentApplication, kCFPreferencesAnyUser, kCFPreferencesAnyHost);
    EXPECT_TRUE(
        CFPreferencesSynchronize(kCFPreferencesCurrentApplication, kCFPreferencesAnyUser, kCFPreferencesAnyHost));
    CFRelease(text);
    CFRelease(name);
}

TEST(Settings, AStringOfTheMachineTakesNoMoreThan1024Bytes)
{
    for (size_t length : {1023, 1024, 1025, 100000}) {
        const std::string text(length, 'x');
        setForTheMachine("name", text);
        char out[1025];
        memset(out, '#', sizeof(out));
        char defaultValue[] = "none";
        Platform::RegGetString("Video", "name", defaultValue, out);
        EXPECT_EQ(out[1024], '#') << length;
        EXPECT_EQ(std::string(out), length < 1024 ? text : "none") << length;
    }
}

TEST(Settings, ALongStringOfTheGamesComesBackWholeWhateverTheMachineHas)
{
    const std::string text(3000, 'x');
    setForTheMachine("name", std::string(50000, 'y'));
    EXPECT_TRUE(setString("name", text));
    EXPECT_EQ(getString("name", "none"), text);
}

TEST(Settings, AMissingStringIsTheDefaultAndTheResultIsTheOutputBuffer)
{
    char out[16] = "before";
    char defaultValue[] = "Anna";
    EXPECT_EQ(Platform::RegGetString("Video", "name", defaultValue, out), out);
    EXPECT_STREQ(out, "Anna");
    EXPECT_NE(out, defaultValue);
}

TEST(Settings, TheDefaultMayLieInTheOutputBuffer)
{
    char out[16] = "Anna";
    EXPECT_EQ(Platform::RegGetString("Video", "name", out, out), out);
    EXPECT_STREQ(out, "Anna");
}

TEST(Settings, ANullDefaultCountsAsEmptyAndANullOutputIsNotWritten)
{
    char out[16] = "before";
    EXPECT_EQ(Platform::RegGetString("Video", "name", nullptr, out), out);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(Platform::RegGetString("Video", "name", out, nullptr), nullptr);
    setString("name", "Anna");
    EXPECT_EQ(Platform::RegGetString("Video", "name", out, nullptr), nullptr);
}

TEST(Settings, ANullKeyIsNeverThere)
{
    EXPECT_TRUE(Platform::RegSetInt32("Video", nullptr, 1));
    EXPECT_EQ(Platform::RegGetInt32("Video", nullptr, 5), 5);
    EXPECT_EQ(getString(nullptr, "none"), "none");
}

TEST(Settings, ANullStringLeavesWhatWasStored)
{
    setString("name", "Anna");
    EXPECT_TRUE(Platform::RegSetString("Video", "name", nullptr));
    EXPECT_EQ(getString("name", "none"), "Anna");
}

TEST(Settings, AStringThatReadsAsAnIntegerIsOne)
{
    setString("width", "640");
    EXPECT_EQ(Platform::RegGetInt32("Video", "width", 5), 640);
    setString("width", "wide");
    EXPECT_EQ(Platform::RegGetInt32("Video", "width", 5), 5);
    setString("width", "4294967296"); // no int32 anywhere
    EXPECT_EQ(Platform::RegGetInt32("Video", "width", 5), 5);
}

TEST(Settings, AnInt32IsNoString)
{
    Platform::RegSetInt32("Video", "width", 640);
    EXPECT_EQ(getString("width", "none"), "none");
}

TEST(Settings, ShareTheStoreWithPreferences)
{
    Preferences preferences;
    preferences.write("Video", "width", 640); // as a text
    EXPECT_EQ(Platform::RegGetInt32("ignored", "Video/width", 5), 640);
    setString("Audio/mode", "stereo");
    EXPECT_STREQ(preferences.read("Audio", "mode", "mono"), "stereo");
    Platform::RegSetInt32("ignored", "Video/height", 480); // a number is no text to preferences
    EXPECT_STREQ(preferences.read("Video", "height", "none"), "none");
}

TEST(Settings, RegInitNeverCreatesAndAlwaysSucceeds)
{
    for (const char* name : {"Ostrel", "", static_cast<const char*>(nullptr)}) {
        bool created = true;
        EXPECT_TRUE(Platform::RegInit(name, created));
        EXPECT_FALSE(created);
    }
}

TEST(Settings, AMarkIsMadeOnce)
{
    bool created = false;
    EXPECT_TRUE(Platform::RegInitSecureKey("game", created));
    EXPECT_TRUE(created);
    EXPECT_TRUE(Platform::RegInitSecureKey("game", created));
    EXPECT_FALSE(created);
    EXPECT_TRUE(Platform::RegInitSecureKey("another", created));
    EXPECT_TRUE(created);
}

TEST(Settings, AMarkIsAnEmptyTextOfTheWholeMachines)
{
    bool created = false;
    Platform::RegInitSecureKey("game", created);
    const CFStringRef key = CreateKey("Ostrel Works", "game");
    const CFPropertyListRef mark =
        CFPreferencesCopyValue(key, kCFPreferencesAnyApplication, kCFPreferencesAnyUser, kCFPreferencesCurrentHost);
    ASSERT_NE(mark, nullptr);
    char text[16] = "before";
    EXPECT_TRUE(CFStringGetCString(static_cast<CFStringRef>(mark), text, sizeof(text), kCFStringEncodingMacRoman));
    EXPECT_STREQ(text, "");
    CFRelease(mark);
    CFRelease(key);
}

TEST(Settings, AMarkThatCannotBeMadeReturnsFalseAndReportsCreated)
{
    setenv("MACAPI_LIBRARY", "/dev/null/no folder", 1);
    bool created = false;
    EXPECT_FALSE(Platform::RegInitSecureKey("game", created));
    EXPECT_TRUE(created);
}

TEST(Settings, AWriteIsOnTheDiskWhenItReturns)
{
    EXPECT_EXIT(
        {
            Platform::RegSetInt32("Video", "width", 640);
            bool created;
            Platform::RegInitSecureKey("game", created);
            _exit(0); // without a word to anyone
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EQ(Platform::RegGetInt32("Video", "width", 5), 640);
    bool created = true;
    EXPECT_TRUE(Platform::RegInitSecureKey("game", created));
    EXPECT_FALSE(created);
}

TEST(Settings, AWriteThatFailsPrintsNothing)
{
    setenv("MACAPI_USER_LIBRARY", "/dev/null/no folder", 1);
    EXPECT_TRUE(Platform::RegSetInt32("Video", "width", 640));
    EXPECT_TRUE(setString("name", "Anna"));
}
