// The program core-prefs, as a shell runs it.
#include "core/platform.h"
#include "core/preferences.h"

#include "tests/support/shell.h"
#include "tests/support/terminal.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdlib.h>
#include <string>
#include <sys/wait.h>

// arguments are words of a shell.
static Result run(const std::string& arguments)
{
    return runShell(EMULATOR " '" PROGRAM "' " + arguments);
}

static std::string outputOf(const std::string& arguments)
{
    const Result result = run(arguments);
    EXPECT_EQ(result.status, 0) << arguments;
    EXPECT_EQ(result.errors, "") << arguments;
    return result.output;
}

static std::string storeOf(const std::string& application)
{
    return std::string(getenv("MACAPI_USER_LIBRARY")) + "/Preferences/" + application + ".plist";
}

TEST(CorePrefs, ReadsWhatItHasWritten)
{
    EXPECT_EQ(outputOf("-a game write Video/mode 'wide screen'"), "");
    EXPECT_EQ(outputOf("-a game write width -int -640"), "");
    EXPECT_EQ(outputOf("-a game write scale -real 1.5"), "");
    EXPECT_EQ(outputOf("-a game write full -bool yes"), "");
    EXPECT_EQ(outputOf("-a game write name -string -int"), "");
    EXPECT_EQ(outputOf("-a game read Video/mode"), "wide screen\n");
    EXPECT_EQ(outputOf("-a game read width"), "-640\n");
    EXPECT_EQ(outputOf("-a game read scale"), "1.5\n");
    EXPECT_EQ(outputOf("-a game read full"), "true\n");
    EXPECT_EQ(outputOf("-a game read name"), "-int\n");
}

TEST(CorePrefs, SaysThatPreferencesReadsTextsOnly)
{
    const Result number = run("-a game write Video/width -int 640");
    EXPECT_EQ(number.status, 0);
    EXPECT_EQ(number.errors, "core-prefs: a game that reads Video/width with Preferences does not see this value; "
                             "write it without -int\n");
    EXPECT_EQ(run("-a game write Video/width 640").errors, "");
    EXPECT_EQ(run("-a game write width -int 640").errors, "");
}

TEST(CorePrefs, ListsKeysTypesAndValues)
{
    run("-a game write Video/width -int 640");
    run("-a game write name Anna");
    run("-a game write full -bool false");
    EXPECT_EQ(outputOf("-a game list"), "Video/width  int     640\n"
                                        "full         bool    false\n"
                                        "name         string  Anna\n");
}

TEST(CorePrefs, ListsTheSizesOfValuesThatAreNoTextAndNoNumber)
{
    run("-a game write name Anna"); // makes the folder
    std::ofstream(storeOf("game")) << "<plist version=\"1.0\"><dict><key>array</key><array><true/><true/></array>"
                                      "<key>data</key><data>AAEC</data>"
                                      "<key>date</key><date>2004-06-01T12:00:00Z</date>"
                                      "<key>dict</key><dict><key>a</key><true/></dict></dict></plist>";
    EXPECT_EQ(outputOf("-a game list"), "array  array   2 items\n"
                                        "data   data    3 bytes\n"
                                        "date   date    2004-06-01T12:00:00Z\n"
                                        "dict   dictionary  1 entries\n");
}

TEST(CorePrefs, ListEscapesControlCharactersAndReadPrintsThemAsTheyAre)
{
    run("-a game write \"$(printf 'a\\tb')\" \"$(printf 'one\\ntwo\\033[31m \\\\ \\303\\251 \\177\\302\\233')\"");
    EXPECT_EQ(outputOf("-a game list"), "a\\tb  string  one\\ntwo\\x1B[31m \\\\ \xc3\xa9 \\x7F\\xC2\\x9B\n");
    EXPECT_EQ(outputOf("-a game read \"$(printf 'a\\tb')\""), "one\ntwo\x1b[31m \\ \xc3\xa9 \x7f\xc2\x9b\n");
}

TEST(CorePrefs, ShowsATerminalNoControlCharacters)
{
    Terminal terminal;
    SKIP_WITHOUT(terminal);
    run("-a game write key \"$(printf 'one\\ntwo\\033[31m\\302\\233\\342\\200\\256')\"");
    const std::string program = EMULATOR " '" PROGRAM "' -a game ";
    ASSERT_EQ(system((program + "read key >" + terminal.name()).c_str()), 0);
    EXPECT_EQ(terminal.shown(), "one\ntwo\\x1B[31m\\xC2\\x9B\\xE2\\x80\\xAE\n");

    std::ofstream(storeOf("game")) << "<plist version=\"1.0\"><dict><key>list</key><array>"
                                      "<string>\xc2\x9b"
                                      "31m</string></array></dict></plist>";
    for (const char* command : {"read list", "export"}) {
        EXPECT_TRUE(contains(outputOf(std::string("-a game ") + command), "\xc2\x9b")) << command;
        ASSERT_EQ(system((program + command + " >" + terminal.name()).c_str()), 0);
        EXPECT_TRUE(contains(terminal.shown(), "<string>\\xC2\\x9B"
                                               "31m</string>\n"))
            << command;
    }
}

TEST(CorePrefs, DeletesOneKey)
{
    run("-a game write one 1");
    run("-a game write two 2");
    EXPECT_EQ(outputOf("-a game delete one"), "");
    EXPECT_EQ(outputOf("-a game list"), "two  string  2\n");
    EXPECT_EQ(run("-a game delete one").status, 1);
}

TEST(CorePrefs, ExportsAPropertyList)
{
    run("-a game write width -int 640");
    const std::string text = outputOf("-a game export");
    EXPECT_TRUE(contains(text, "<plist version=\"1.0\">"));
    EXPECT_TRUE(contains(text, "<key>width</key>"));
    EXPECT_TRUE(contains(text, "<integer>640</integer>"));
}

TEST(CorePrefs, ChecksAStoreAndSaysWhereItIs)
{
    run("-a game write one 1");
    EXPECT_EQ(outputOf("-a game check"), storeOf("game") + ": in order, 1 key\n");
    run("-a game write two 2");
    EXPECT_EQ(outputOf("-a game check"), storeOf("game") + ": in order, 2 keys\n");
}

TEST(CorePrefs, SharesTheStoreWithAGame)
{
    run("-a core_prefs_test write Video/mode wide"); // what this program is called
    run("-a core_prefs_test write width -int 640");
    Preferences preferences;
    EXPECT_STREQ(preferences.read("Video", "mode", ""), "wide");
    EXPECT_EQ(Platform::RegGetInt32("", "width", 5), 640);

    Platform::RegSetInt32("", "width", 800);
    preferences.write("Video", "mode", "\x8a"); // Mac Roman
    EXPECT_EQ(outputOf("-a core_prefs_test read width"), "800\n");
    EXPECT_EQ(outputOf("-a core_prefs_test read Video/mode"), "\xc3\xa4\n");
}

TEST(CorePrefs, ReadsAndDeletesTheMarksOfTheMachine)
{
    bool created;
    Platform::RegInitSecureKey("game", created);
    EXPECT_EQ(outputOf("-gmc read 'Ostrel Works/game'"), "\n");
    EXPECT_EQ(outputOf("--any-application --machine --current-host delete 'Ostrel Works/game'"), "");
    Platform::RegInitSecureKey("game", created);
    EXPECT_TRUE(created);
}

TEST(CorePrefs, ApplicationsUsersAndHostsHaveStoresOfTheirOwn)
{
    const char* const sc_whose[] = {"-a one", "-a two", "-a one -m", "-a one -c", "-a one -m -c", "-g", "-g -m"};
    for (const char* whose : sc_whose) {
        EXPECT_EQ(outputOf(std::string(whose) + " write key '" + whose + "'"), "");
    }
    for (const char* whose : sc_whose) {
        EXPECT_EQ(outputOf(std::string(whose) + " read key"), std::string(whose) + "\n");
    }
}

TEST(CorePrefs, ReportsAMissingStoreAndAMissingKey)
{
    Result result = run("-a game read key");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "core-prefs: " + storeOf("game") + ": nothing has been stored yet\n");
    EXPECT_FALSE(std::filesystem::exists(storeOf("game")));

    run("-a game write one 1");
    result = run("-a game read two");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "core-prefs: there is no \"two\" in " + storeOf("game") + "\n");
}

TEST(CorePrefs, NoCommandChangesADamagedStore)
{
    run("-a game write one 1");
    const std::string garbage = "<plist><dict><key>one</key>";
    for (const char* command : {"list", "read one", "write one 2", "delete one", "check", "export"}) {
        std::ofstream(storeOf("game")) << garbage;
        const Result result = run(std::string("-a game ") + command);
        EXPECT_EQ(result.status, 3) << command;
        EXPECT_EQ(result.output, "") << command;
        EXPECT_TRUE(contains(result.errors, storeOf("game") + ": no property list")) << command;
        EXPECT_EQ(readFile(storeOf("game")), garbage) << command;
    }
}

TEST(CorePrefs, LeavesAStoreThatCanNotBeReadAsItIs)
{
    std::filesystem::create_directories(storeOf("game")); // a folder, which nobody has the right to read as a file
    for (const char* command : {"list", "write one 2", "check"}) {
        EXPECT_EQ(run(std::string("-a game ") + command).status, 3) << command;
    }
    EXPECT_TRUE(std::filesystem::is_directory(storeOf("game")));
}

TEST(CorePrefs, ReportsAStoreThatCannotBeWritten)
{
    setenv("MACAPI_USER_LIBRARY", "/dev/null/none", 1);
    const Result result = run("-a game write one 1");
    EXPECT_NE(result.status, 0);
    EXPECT_TRUE(contains(result.errors, "/dev/null/none/Preferences/game.plist: can't be"));
}

TEST(CorePrefs, ReportsAnOutputThatCannotBeWritten)
{
    run("-a game write one 1");
    const int status = system(EMULATOR " '" PROGRAM "' -a game list >/dev/full 2>errors");
    EXPECT_EQ(WEXITSTATUS(status), 4);
    EXPECT_TRUE(contains(readFile("errors"), "the output can't be written"));
}

TEST(CorePrefs, AnInvalidCommandIsRefusedAndStoresNothing)
{
    static const struct {
        const char* arguments;
        const char* message;
    } sc_cases[] = {
        {"", "a command is missing"},
        {"-a game", "a command is missing"},
        {"list", "whose preferences?"},
        {"-a '' list", "whose preferences?"},
        {"-a game dance", "\"dance\" is not a command"},
        {"-a game list all", "the form is \"list\""},
        {"-a game read", "the form is \"read KEY\""},
        {"-a game write key", "the form is \"write KEY [-string|-int|-real|-bool] VALUE\""},
        {"-a game write key -int 1 2", "the form is \"write"},
        {"-a game write key -float 1", "\"-float\" is not a type"},
        {"-a game write key -int 12abc", "\"12abc\" is not of type int"},
        {"-a game write key -int ''", "\"\" is not of type int"},
        {"-a game write key -int 9223372036854775808", "is not of type int"},
        {"-a game write key -real one", "\"one\" is not of type real"},
        {"-a game write key -bool maybe", "\"maybe\" is not of type bool"},
        {"-a game write key \"$(printf '\\377')\"", "is not UTF-8"},
        {"-z", "--help"},
    };
    for (const auto& [arguments, message] : sc_cases) {
        const Result result = run(arguments);
        EXPECT_EQ(result.status, 2) << arguments;
        EXPECT_EQ(result.output, "") << arguments;
        EXPECT_TRUE(contains(result.errors, message)) << arguments << ": " << result.errors;
    }
    EXPECT_FALSE(std::filesystem::exists(storeOf("game")));
}

TEST(CorePrefs, HelpsAndGivesExamples)
{
    const std::string help = outputOf("--help");
    EXPECT_TRUE(contains(help, "usage: core-prefs"));
    EXPECT_TRUE(contains(help, "\nExamples:\n  core-prefs -a game list\n"));
    EXPECT_TRUE(contains(help, "\nExit status:"));
}
