// Where the demo's settings come from, and that its texts are there in each language.
#include "demo/language.h"
#include "demo/scene.h"
#include "demo/settings.h"
#include "demo/texts.h"

#include "core/platform.h"
#include "core/preferences.h"
#include "core/stringtable.h"

#include <gtest/gtest.h>

#include <fstream>

class DemoSettings : public testing::Test {
protected:
    DemoSettings()
    {
        m_memory.defineCoreBank();
        m_memory.start();
        m_options.folder = "./";
    }

    // demo.ini, beside the game's other files.
    static void ship(const std::string& lines) { std::ofstream("demo.ini") << lines; }

    static void remember(const char* section, const char* key, const char* value)
    {
        Preferences().write(section, key, value);
    }

    Setting chosen(e_Setting setting) { return ChooseSettings(m_options).settings[setting]; }

    GameMemory m_memory;
    Options m_options;
};

static bool operator==(const Setting& left, const Setting& right)
{
    return left.value == right.value && left.source == right.source;
}

TEST_F(DemoSettings, AreTheDefaultsWhenNothingWasChosen)
{
    EXPECT_EQ(chosen(SETTING_WIDTH), (Setting{"960", SOURCE_GAME}));
    EXPECT_EQ(chosen(SETTING_HEIGHT), (Setting{"600", SOURCE_GAME}));
    EXPECT_EQ(chosen(SETTING_FULL_SCREEN), (Setting{"0", SOURCE_GAME}));
    EXPECT_EQ(chosen(SETTING_LOCALE), (Setting{"en", SOURCE_GAME}));
}

TEST_F(DemoSettings, ComeFromTheCommandLineThenThePreferencesThenTheIniFile)
{
    ship("; a comment\r\n[Window]\r\nwidth=640\r\n");
    EXPECT_EQ(chosen(SETTING_WIDTH), (Setting{"640", SOURCE_INI}));
    EXPECT_EQ(chosen(SETTING_HEIGHT), (Setting{"600", SOURCE_GAME}));
    remember("Window", "width", "800");
    EXPECT_EQ(chosen(SETTING_WIDTH), (Setting{"800", SOURCE_PREFERENCES}));
    m_options.typed[SETTING_WIDTH] = "1000";
    EXPECT_EQ(chosen(SETTING_WIDTH), (Setting{"1000", SOURCE_COMMAND_LINE}));
}

TEST_F(DemoSettings, AValueFromThePreferencesCountsAsChosenEvenWhenTheIniFileHasTheSame)
{
    ship("[Window]\r\nwidth=640\r\n");
    remember("Window", "width", "640");
    EXPECT_EQ(chosen(SETTING_WIDTH), (Setting{"640", SOURCE_PREFERENCES}));
}

TEST_F(DemoSettings, AnInvalidValueIsSkippedAndReported)
{
    static const struct {
        const char* section;
        const char* key;
        const char* value;
        e_Setting setting;
    } cases[] = {
        {"Window", "width", "", SETTING_WIDTH},
        {"Window", "width", "wide", SETTING_WIDTH},
        {"Window", "width", "640 pixels", SETTING_WIDTH},
        {"Window", "width", "-640", SETTING_WIDTH},
        {"Window", "width", "639", SETTING_WIDTH}, // its texts would be too small to read
        {"Window", "width", "8193", SETTING_WIDTH},
        {"Window", "height", "99999999999999999999", SETTING_HEIGHT},
        {"Window", "fullscreen", "2", SETTING_FULL_SCREEN},
        {"Texts", "locale", "xx", SETTING_LOCALE}, // there is no such folder
    };
    for (const auto& wrong : cases) {
        remember(wrong.section, wrong.key, wrong.value);
        const Settings settings = ChooseSettings(m_options);
        EXPECT_EQ(settings.settings[wrong.setting].source, SOURCE_GAME) << wrong.value;
        const auto told = [&](const Settings::Refused& refused) {
            return refused.setting == wrong.setting && refused.what == Setting{wrong.value, SOURCE_PREFERENCES};
        };
        EXPECT_TRUE(std::any_of(settings.refused.begin(), settings.refused.end(), told)) << wrong.value;
    }
}

TEST_F(DemoSettings, OnlyThePlayersChoicesAreStored)
{
    ship("[Window]\r\nheight=300\r\n");
    m_options.typed[SETTING_WIDTH] = "1000";
    Settings settings = ChooseSettings(m_options);
    settings.choose(SETTING_FULL_SCREEN, "1"); // by a key
    KeepSettings(settings);

    m_options.typed[SETTING_WIDTH] = "";
    ship("[Window]\r\nwidth=640\r\nheight=500\r\n");
    EXPECT_EQ(chosen(SETTING_WIDTH), (Setting{"1000", SOURCE_PREFERENCES}));
    EXPECT_EQ(chosen(SETTING_FULL_SCREEN), (Setting{"1", SOURCE_PREFERENCES}));
    EXPECT_EQ(chosen(SETTING_HEIGHT), (Setting{"500", SOURCE_INI}));
}

TEST_F(DemoSettings, GoodRunsAreCounted)
{
    EXPECT_EQ(RunsBefore(), 0u);
    CountRun();
    CountRun();
    EXPECT_EQ(RunsBefore(), 2u);
    Platform::RegSetInt32("", "runs", -5); // by hand
    EXPECT_EQ(RunsBefore(), 0u);
}

static Options optionsOf(std::vector<const char*> words)
{
    words.insert(words.begin(), "demo");
    CommandLine commandLine;
    return ReadOptions(commandLine, static_cast<int>(words.size()), const_cast<char**>(words.data()));
}

TEST(DemoOptions, KeepTheTextThatWasTyped)
{
    const Options options = optionsOf({"-width", "640", "-fullscreen", "-locale", "de"});
    EXPECT_EQ(options.wrongSwitch, "");
    EXPECT_EQ(options.typed[SETTING_WIDTH], "640");
    EXPECT_EQ(options.typed[SETTING_HEIGHT], "");
    EXPECT_EQ(options.typed[SETTING_FULL_SCREEN], "1");
    EXPECT_EQ(options.typed[SETTING_LOCALE], "de");
}

TEST(DemoOptions, TheSwitchWindowTurnsFullScreenOff)
{
    EXPECT_EQ(optionsOf({"-window"}).typed[SETTING_FULL_SCREEN], "0");
}

TEST(DemoOptions, ANumberOutOfRangeIsReported)
{
    const Options options = optionsOf({"-width", "9000", "-height", "x"});
    EXPECT_EQ(options.wrongSwitch, "-width");
    EXPECT_EQ(options.wrongValue, "9000");
}

TEST(DemoOptions, AWordThatIsNoSwitchAndNoValueIsReported)
{
    EXPECT_STREQ(optionsOf({"-width", "640", "fast"}).strangeWord, "fast");
    EXPECT_STREQ(optionsOf({"-fullscreen", "640"}).strangeWord, "640");
    EXPECT_STREQ(optionsOf({"--frames", "5"}).strangeWord, "--frames");
    EXPECT_STREQ(optionsOf({"-Window"}).strangeWord, "-Window");
    EXPECT_STREQ(optionsOf({""}).strangeWord, "");
    EXPECT_STREQ(optionsOf({"-"}).strangeWord, "-");
}

TEST(DemoOptions, ASwitchIsGivenOnce)
{
    EXPECT_STREQ(optionsOf({"-width", "640", "-window", "-width", "800"}).strangeWord, "-width");
}

TEST(DemoOptions, EverySwitchInTheListIsAccepted)
{
    const Options options = optionsOf({"-frames", "5", "-width", "640", "-height", "480", "-fullscreen", "-window",
                                       "-locale", "de", "-data", ".", "-logger"});
    EXPECT_TRUE(options.areGood());
    EXPECT_EQ(options.strangeWord, nullptr);
}

TEST(DemoOptions, TheProcessNumberThatTheFinderAddsIsAccepted)
{
    EXPECT_TRUE(optionsOf({"-psn_0_1234567"}).areGood());
}

TEST(DemoOptions, HelpHasThreeSpellings)
{
    EXPECT_TRUE(optionsOf({"-help"}).help);
    EXPECT_TRUE(optionsOf({"--help"}).help);
    EXPECT_TRUE(optionsOf({"-frames", "5", "-h"}).help);
    EXPECT_FALSE(optionsOf({"-frames", "5"}).help);
}

// What the player is told about a command line of this one word.
static std::string complaintAbout(const char* word)
{
    Options options;
    options.strangeWord = word;
    testing::internal::CaptureStderr();
    ReportWrongSwitch(options);
    return testing::internal::GetCapturedStderr();
}

TEST(DemoOptions, TheNearestSwitchIsNamed)
{
    static const struct {
        const char* word;
        const char* nearest;
    } sc_words[] = {
        {"-heigth", "-height"},
        {"--frames", "-frames"},
        {"frames", "-frames"},
        {"+window", "-window"},
        {"--width=640", "-width"},
        {"-full", "-fullscreen"}, // what begins with it
        {"--full-screen", "-fullscreen"},
        {"-w", "-width"},
        {"-loc", "-locale"},
        {"-FRAMES", "-frames"},
        {"-?", "-help"},
        {"", "-help"},
        {"-", "-help"},
        {"zzz", "-help"},
    };
    for (const auto& word : sc_words) {
        EXPECT_EQ(complaintAbout(word.word), "\"" + std::string(word.word) + "\" is not a switch; the nearest is " +
                                                 word.nearest + ".\n-help lists all switches.\n");
    }
    EXPECT_EQ(complaintAbout("-width"), "-width is given twice.\n-help lists all switches.\n");
}

class Languages : public testing::TestWithParam<const char*> {};

TEST_P(Languages, HaveAllTextsOfTheGame)
{
    GameMemory memory;
    memory.defineCoreBank();
    memory.start();
    const std::string folder = CORE_DEMO_GAME;
    ASSERT_TRUE(HasLanguage(folder, GetParam()));
    Language language;
    ASSERT_TRUE(language.choose(folder, GetParam()));
    StringTable strings;
    language.load(strings);
    AskForAllTexts();
    EXPECT_EQ(language.newTexts(), 0u);
    EXPECT_EQ(TextsRefused(), 0u);
}

INSTANTIATE_TEST_SUITE_P(All, Languages, testing::Values("de", "fr", "ru"));

TEST(Language, TheGamesOwnNeedsNoFile)
{
    EXPECT_TRUE(HasLanguage("nowhere/", "en"));
    EXPECT_FALSE(HasLanguage("nowhere/", "de"));
}
