// The calls of the settings to the system's preferences, in their order, and what the settings do with the results.
#include "core/platform.h"

#include "tests/support/watched_preferences.h"

static char s_text[] = "Anna";

TEST(SettingsWatch, AnInt32IsMadeStoredFlushedAndReleased)
{
    EXPECT_TRUE(Platform::RegSetInt32("Video", "width", 640));
    EXPECT_EQ(takeLog(), "number 640 = #1, string width = #2, set #2 of this application to #1, "
                         "synchronise this application, this user, any host, release #1, release #2");
}

TEST(SettingsWatch, AStringIsMadeStoredFlushedAndReleased)
{
    EXPECT_TRUE(Platform::RegSetString("Video", "name", s_text));
    EXPECT_EQ(takeLog(), "string Anna = #1, string name = #2, set #2 of this application to #1, "
                         "synchronise this application, this user, any host, release #1, release #2");
}

TEST(SettingsWatch, AKeyOrATextThatCanNotBeMadeIsNotStoredAndNothingIsLeftBehind)
{
    s_refused = "name";
    EXPECT_TRUE(Platform::RegSetInt32("Video", "name", 1));
    EXPECT_EQ(takeLog(), "number 1 = #1, string name = null, release #1");
    s_refused = "Anna";
    EXPECT_TRUE(Platform::RegSetString("Video", "name", s_text));
    EXPECT_EQ(takeLog(), "string Anna = null, string name = #2, release #2");
}

TEST(SettingsWatch, ANullValueIsNotStored) // which would forget what is
{
    EXPECT_TRUE(Platform::RegSetString("Video", "name", nullptr));
    EXPECT_TRUE(Platform::RegSetInt32("Video", nullptr, 1));
    EXPECT_EQ(takeLog(), "string name = #1, release #1, number 1 = #2, release #2");
}

TEST(SettingsWatch, AnInt32IsAskedForAsANumberAndTheFlagDecides)
{
    s_number = 7;
    s_isNumber = true;
    EXPECT_EQ(Platform::RegGetInt32("Video", "width", 640), 7);
    EXPECT_EQ(takeLog(), "string width = #1, number at #1 of this application, release #1");
    s_isNumber = false;
    EXPECT_EQ(Platform::RegGetInt32("Video", "width", 640), 640);
    s_number = 0;
    s_isNumber = true;
    EXPECT_EQ(Platform::RegGetInt32("Video", "width", 640), 0);
}

TEST(SettingsWatch, ANumberThatIsNoInt32CountsAsMissing)
{
    if (sizeof(CFIndex) == 4) {
        GTEST_SKIP() << "here the store has no such number";
    }
    s_isNumber = true;
    s_number = static_cast<CFIndex>(0x100000005);
    EXPECT_EQ(Platform::RegGetInt32("Video", "width", 640), 640);
}

TEST(SettingsWatch, AKeyThatCanNotBeMadeAsksNothingAndGivesTheDefault)
{
    s_refused = "width";
    EXPECT_EQ(Platform::RegGetInt32("Video", "width", 640), 640);
    char out[16];
    EXPECT_EQ(Platform::RegGetString("Video", "width", s_text, out), out);
    EXPECT_STREQ(out, "Anna");
    EXPECT_EQ(takeLog(), "string width = null, string width = null");
}

TEST(SettingsWatch, AStringIsConvertedIntoItsOwnLengthAndReleased)
{
    s_value = makeText("Anna");
    char out[16];
    Platform::RegGetString("Video", "name", nullptr, out);
    EXPECT_STREQ(out, "Anna");
    EXPECT_EQ(takeLog(), "string name = #2, copy #2 of this application = #1, release #2, convert #1 into 5, "
                         "release #1");
}

TEST(SettingsWatch, AStringThatDoesNotConvertIsTheDefaultAndReleased)
{
    s_value = makeObject("5", false);
    char out[16];
    EXPECT_EQ(Platform::RegGetString("Video", "name", s_text, out), out);
    EXPECT_STREQ(out, "Anna");
    EXPECT_EQ(takeLog(), "string name = #2, copy #2 of this application = #1, release #2, convert #1 into 2 = no, "
                         "release #1");
}

TEST(SettingsWatch, RegInitTouchesNothing)
{
    bool created = true;
    EXPECT_TRUE(Platform::RegInit("Ostrel", created));
    EXPECT_FALSE(created);
    EXPECT_EQ(takeLog(), "");
}

TEST(SettingsWatch, AMarkThatIsThereIsOnlyLookedUp)
{
    s_value = makeText("");
    bool created = true;
    EXPECT_TRUE(Platform::RegInitSecureKey("game", created));
    EXPECT_FALSE(created);
    EXPECT_EQ(takeLog(), "string Ostrel Works/game = #2, copy #2 of any application, any user, this host = #1, "
                         "release #1, release #2");
}

TEST(SettingsWatch, AMarkThatIsNotThereIsMadeFlushedAndLookedUpAgain)
{
    bool created = false;
    EXPECT_TRUE(Platform::RegInitSecureKey("game", created));
    EXPECT_TRUE(created);
    EXPECT_EQ(takeLog(), "string Ostrel Works/game = #1, copy #1 of any application, any user, this host = null, "
                         "string  = #2, set #1 of any application, any user, this host to #2, "
                         "synchronise any application, any user, this host, release #2, "
                         "copy #1 of any application, any user, this host = #2, release #2, release #1");
}

TEST(SettingsWatch, AMarkThatIsNotThereAfterTheWriteReturnsFalseAndReportsCreated)
{
    s_keepsMarks = false;
    bool created = false;
    EXPECT_FALSE(Platform::RegInitSecureKey("game", created));
    EXPECT_TRUE(created);
}

TEST(SettingsWatch, AMarkWhoseKeyCannotBeMadeIsNeitherFoundNorMade)
{
    s_refused = "Ostrel Works/game";
    bool created = true;
    EXPECT_FALSE(Platform::RegInitSecureKey("game", created));
    EXPECT_FALSE(created);
    created = true;
    EXPECT_FALSE(Platform::RegInitSecureKey(nullptr, created));
    EXPECT_FALSE(created);
    EXPECT_EQ(takeLog(), "string Ostrel Works/game = null");
}

TEST(SettingsWatch, AMarkWhoseValueCannotBeMadeIsNotMade)
{
    s_refused = "";
    bool created = false;
    EXPECT_FALSE(Platform::RegInitSecureKey("game", created));
    EXPECT_TRUE(created);
    EXPECT_EQ(takeLog(), "string Ostrel Works/game = #1, copy #1 of any application, any user, this host = null, "
                         "string  = null, "
                         "copy #1 of any application, any user, this host = null, release #1");
}

TEST(SettingsWatch, ALongNameOfAMarkIsTruncatedTo1023BytesInAll)
{
    bool created = false;
    EXPECT_TRUE(Platform::RegInitSecureKey(std::string(2000, 'x').c_str(), created));
    EXPECT_EQ(s_objects.front().text, "Ostrel Works/" + std::string(1010, 'x'));
}
