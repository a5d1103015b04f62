// core-strings record and missing, with a game that asks for texts.
#include "tests/tools/core-strings/shell.h"

#include <gtest/gtest.h>

#include <filesystem>

static const char sc_german[] = "\"Start\" = \"Los\"\n\"Late\" = \"Spaet\"\n\"Never\" = \"Nie\"\n";

static std::string game(const std::string& what)
{
    std::filesystem::create_directory("de");
    if (!std::filesystem::exists("de/strings.utf8")) {
        writeFile("de/strings.utf8", sc_german);
    }
    return " -- '" GAME "' " + what + " de";
}

static const std::string sc_root = "-C /source ";

static Result record(const std::string& arguments, const std::string& what)
{
    return run("record " + sc_root + arguments + game(what));
}

// Returns the lines of the text from the entry before the key to the entry with the key.
static std::string entryOf(const std::string& text, const std::string& key)
{
    const size_t entry = text.find("\n\"" + key + "\" = ");
    const size_t before = entry == std::string::npos ? entry : text.rfind("\n\"", entry - 1);
    const size_t begin = before == std::string::npos ? 0 : text.find('\n', before + 1) + 1;
    return entry == std::string::npos ? "" : text.substr(begin, text.find('\n', entry + 1) + 1 - begin);
}

TEST(CoreStringsRecord, WritesEachTextWithItsCountLanguageResultAndSourceLine)
{
    const Result result = record("-o out.utf8", "play");
    EXPECT_EQ(result.status, 7); // the game's own
    const std::string text = readFile("out.utf8");
    EXPECT_EQ(text.find("//. asked for 1 time: not translated\n"
                        "//. asked for 1 time in \"german\": not translated\n"
                        "//: src/menu.cpp:102\n"
                        "\"Late\" = \"Late\"\n"),
              0u)
        << text << result.errors;
    EXPECT_EQ(entryOf(text, "Start"), "//. asked for 10 times in \"german\": translated\n"
                                      "//: src/menu.cpp:102\n\"Start\" = \"Start\"\n");
    EXPECT_EQ(entryOf(text, "Only here"), "//. asked for 1 time in \"german\": not translated\n"
                                          "//: src/menu.cpp:202\n"
                                          "\"Only here\" = \"Only here\"\n");
    EXPECT_TRUE(contains(text, "\n\"\\\"A\\ttext\\\" with\\nescapes\" = "));
    EXPECT_TRUE(contains(text, "//. asked for 1 time in \"german\": too long for the string table\n"));
    EXPECT_TRUE(contains(result.errors, "out.utf8:1:1: warning: the record has no entry for \"ends in \\\\\", which "
                                        "ends in a backslash; change the text in the game [not-recorded]\n"));
    EXPECT_TRUE(contains(result.errors, "core-strings: out.utf8: 6 texts, 5 of them not translated\n"));
}

TEST(CoreStringsRecord, LeavesTheGamesOutputAndDescriptorsAsTheyAre)
{
    game("play");
    const std::string alone = runShell("'" GAME "' play de").output;
    EXPECT_TRUE(contains(alone, "next file "));
    EXPECT_EQ(record("-o out.utf8", "play").output, alone);
}

TEST(CoreStringsRecord, RunsAddUpAndKeepWhatIsInTheFile)
{
    writeFile("out.utf8", "// my comment\n\n//. for the translator\n\"start\" = \"Los!\"\n//? \"Open\" = \"Auf\"\n");
    record("-o out.utf8", "play");
    record("-o out.utf8", "play");
    const std::string text = readFile("out.utf8");
    EXPECT_EQ(text.find("// my comment\n\n//. for the translator\n"
                        "//. asked for 20 times in \"german\": translated\n"
                        "//: src/menu.cpp:102\n\"start\" = \"Los!\"\n"
                        "//? \"Open\" = \"Auf\"\n//. asked for 2 times: not translated\n"),
              0u)
        << text;
}

TEST(CoreStringsRecord, WritesAPoFileAndAddsToIt)
{
    record("-o out.pot", "play");
    record("-o out.pot", "play");
    const std::string text = readFile("out.pot");
    EXPECT_TRUE(contains(text, "#. asked for 20 times in \"german\": translated\n"
                               "#: src/menu.cpp:102\nmsgid \"Start\"\nmsgstr \"\"\n"))
        << text;
    if (hasProgram("msgfmt")) {
        EXPECT_EQ(runShell("msgfmt -c -o /dev/null out.pot").status, 0);
    }
}

TEST(CoreStringsRecord, WritesJson)
{
    const Result result = record("--json -o -", "play");
    EXPECT_EQ(
        result.output.find("{\n  \"texts\": [\n    {\"text\": \"Late\", \"asked\": [{\"language\": \"\", \"result\": "
                           "\"not translated\", \"count\": 1}, {\"language\": \"german\", "),
        0u)
        << result.output;
    EXPECT_TRUE(contains(result.output, "{\"place\": \"src/menu.cpp:202\", \"count\": 1}"));
    EXPECT_TRUE(contains(result.output, "{\"language\": \"german\", \"asked\": \"de/strings.utf8\", \"path\": \"/"));
    EXPECT_TRUE(contains(result.errors, "next file ")); // the game's output
}

TEST(CoreStringsRecord, IsCompleteWhenTheGameIsKilled)
{
    const Result result = record("-o out.utf8", "kill");
    EXPECT_EQ(result.status, 128 + 9);
    EXPECT_TRUE(contains(readFile("out.utf8"), "//. asked for 10 times in \"german\": translated\n"));
}

TEST(CoreStringsRecord, CountsTheCallsOfThreadsAndOfAForkedChild)
{
    EXPECT_EQ(record("-o out.utf8", "threads").status, 0);
    const std::string text = readFile("out.utf8");
    EXPECT_TRUE(contains(text, "//. asked for 200501 times in \"german\": translated\n")) << text;
    EXPECT_TRUE(contains(text, "\"Child\" = \"Child\"\n"));
}

TEST(CoreStringsRecord, SaysWhatIsMissingWhenTheJournalCannotGrow)
{
    const Result result = record("-o out.utf8", "limit");
    EXPECT_EQ(result.status, 0); // and no signal has ended the game
    EXPECT_TRUE(contains(result.errors, " events of the game are missing: File too large\n")) << result.errors;
    EXPECT_TRUE(contains(readFile("out.utf8"), "\"Late\" = \"Late\"\n"));
}

TEST(CoreStringsRecord, NamesTheFunctionWithoutDebugInformation)
{
    game("play");
    ASSERT_EQ(runShell("strip -g -o ./stripped '" GAME "'").status, 0);
    run("record -o out.utf8 -- ./stripped play de");
    EXPECT_TRUE(contains(readFile("out.utf8"), "//: ask+0x")) << readFile("out.utf8");
    EXPECT_TRUE(contains(readFile("out.utf8"), "//: onlyHere+0x")); // a template in an unnamed namespace
    ASSERT_EQ(runShell("strip -o ./stripped '" GAME "'").status, 0);
    run("record -o none.utf8 -- ./stripped play de");
    EXPECT_TRUE(contains(readFile("none.utf8"), "//: stripped+0x")) << readFile("none.utf8");
}

TEST(CoreStringsRecord, NamesTheCallersOfFunctionsThatPassATextOn)
{
    record("-o out.utf8 --through ask passOn", "buttons");
    const std::string text = readFile("out.utf8");
    EXPECT_TRUE(contains(entryOf(text, "Button"), "\n//: src/menu.cpp:152\n\"")) << text;
    EXPECT_TRUE(contains(entryOf(text, "Start"), ": translated\n//: src/menu.cpp:153\n\""));
    EXPECT_TRUE(contains(entryOf(text, "Cup"), "\n//: src/menu.cpp:153\n\""));
    record("-o one.utf8 --through ask", "buttons");
    EXPECT_TRUE(contains(entryOf(readFile("one.utf8"), "Cup"), "\n//: src/menu.cpp:153\n\""));
    EXPECT_FALSE(contains(entryOf(readFile("one.utf8"), "Button"), "menu.cpp:152")); // the line of passOn
}

TEST(CoreStringsRecord, PlaysNoGameWhenTheRecordCannotBeAddedTo)
{
    writeFile("bad.utf8", "\"a\"=\"b\"\n");
    writeFile("bad.po", "nonsense\n");
    EXPECT_EQ(run("record -o bad.utf8 -- touch played").status, 1);
    EXPECT_EQ(run("record -o bad.po -- touch played").status, 2);
    EXPECT_EQ(run("record").status, 2);
    EXPECT_FALSE(std::filesystem::exists("played"));
    EXPECT_EQ(run("record -o no/out.utf8 -- true").status, 3);
    EXPECT_EQ(run("record -- ./no-such-game").status, 3);
}

TEST(CoreStringsMissing, SaysWhatTheStringsFileLacksAndWhatNoRunHasAskedFor)
{
    const Result result = run("missing " + sc_root + game("many"));
    EXPECT_EQ(result.status, 1);
    const std::string path = std::filesystem::current_path().string() + "/de/strings.utf8";
    const std::string& text = result.output;
    EXPECT_TRUE(contains(text, path +
                                   ":3:1: warning: no run has asked for \"Never\"; visit the part of the game that "
                                   "shows it, or remove the entry [not-asked-for]\n"))
        << text;
    EXPECT_TRUE(contains(text, path + ":1:1: warning: no run has asked for \"Start\"; "));
    EXPECT_TRUE(contains(text, path +
                                   ":2:1: warning: the game asked for \"Late\" before it loaded this file, and shows "
                                   "its own text; call setLanguage before translate [asked-too-early]\n"));
    EXPECT_TRUE(contains(text, path + ":3:1: warning: no entry for \"text 7\", asked for 1 time at "
                                      "src/menu.cpp:303; add a line with this key "
                                      "[not-translated]\n"));
    EXPECT_TRUE(
        contains(text, path + ":1:1: error: the string table had no room for \"text 1099\", asked for 1 time at "));
}

TEST(CoreStringsMissing, CountsTheTextsOfOtherRuns)
{
    record("-o out.utf8", "play");
    const Result live = run("missing --record out.utf8" + game("threads"));
    EXPECT_FALSE(contains(live.output, "\"Start\"")) << live.output;
    EXPECT_TRUE(contains(live.output, "\"Only here\""));
    EXPECT_TRUE(contains(live.output, "\"Child\""));
    const Result still = run("missing --record out.utf8 --file de/strings.utf8");
    EXPECT_EQ(still.output,
              "de/strings.utf8:3:1: warning: no run has asked for \"Never\"; visit the part of the game that "
              "shows it, or remove the entry [not-asked-for]\n" +
                  still.output.substr(still.output.find('\n') + 1));
    EXPECT_TRUE(contains(still.output, "error: the text \"xxx"));
}

TEST(CoreStringsMissing, TheStatusSaysWhatIsWrong)
{
    writeFile("all.utf8", "\"A\" = \"B\"\n");
    writeFile("record.utf8", "//. asked for 1 time: not translated\n\"A\" = \"A\"\n");
    EXPECT_EQ(run("missing --record record.utf8 --file all.utf8").status, 0);
    EXPECT_EQ(run("missing --json --record record.utf8 --file all.utf8").output, "[]\n");
    EXPECT_EQ(run("missing --record record.utf8").status, 2);
    EXPECT_EQ(run("missing --record none.utf8 --file all.utf8").status, 3);
    const Result none = run("missing -- true");
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.output,
              "strings.utf8:1:1: error: the game has loaded no strings file; call setLanguage, or name one "
              "with --file [no-strings-file]\n");
    EXPECT_EQ(run("missing --record record.utf8 --file all.utf8 -- false").status, 1);
}

TEST(CoreStringsMerge, TakesPlacesButNoCountsFromARecord)
{
    record("-o out.utf8", "play");
    writeFile("old.utf8", "\"Start\" = \"Los\"\n");
    EXPECT_EQ(run("merge old.utf8 out.utf8").status, 0);
    const std::string text = readFile("old.utf8");
    EXPECT_TRUE(contains(text, "//: src/menu.cpp:102\n\"Start\" = \"Los\"\n")) << text;
    EXPECT_FALSE(contains(text, "asked for"));
}
