// core-config learn and run, with a game that reads files.
#include "tools/shared/journal.h"

#include "tests/support/shell.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

static Result run(const std::string& arguments)
{
    return runShell("'" PROGRAM "' " + arguments);
}

static const char sc_world[] = "// The world.\r\n"
                               "world\r\n"
                               "{\r\n"
                               "    gravity = 9.81\r\n"
                               "    wind = 3\r\n"
                               "    fog = true\r\n"
                               "    title = \"The Ford\"\r\n"
                               "    color = red\r\n"
                               "    field = 24 20.5\r\n"
                               "    forest\r\n"
                               "    {\r\n"
                               "        tree \"oak\" 12\r\n"
                               "        tree \"an elm\" 40\r\n"
                               "        reach = 1.5 2\r\n"
                               "    }\r\n"
                               "}\r\n";

static void writeData(const std::string& world)
{
    std::filesystem::create_directory("Data");
    writeFile("Data/world.txt", world);
    writeFile("Data/path.txt", "a path\r\n1 2\r\n30 4\r\n");
    writeFile("Data/game.ini", "[Video]\nwidth=800\n");
}

static const char sc_learnt[] = "core-config schema 1\n"
                                "\n"
                                "config \"Data/world.txt\"\n"
                                "{\n"
                                "    block world\n"
                                "    {\n"
                                "        gravity = float32 seen 9.81\n"
                                "        wind = int32 [int32] seen 3\n"
                                "        fog = bool seen true\n"
                                "        title = string ..15 seen \"The Ford\"\n"
                                "        color = word seen red\n"
                                "        field = float32 float32 seen 20.5..24\n"
                                "\n"
                                "        block forest\n"
                                "        {\n"
                                "            tree word word seen oak 12 \"an elm\" 40\n"
                                "            reach = float32 [float32] seen 1.5..2\n"
                                "        }\n"
                                "        sound = word // the game asked for it, and the file did not have it\n"
                                "        small = int8 default 0\n"
                                "        middle = int16 default 0\n"
                                "        lives = int32 default 3\n"
                                "        pair = int32 int32 default \"1 2\"\n"
                                "        seed = uint32 default 0\n"
                                "        large = int64 default 0\n"
                                "    }\n"
                                "}\n"
                                "\n"
                                "config \"Data/path.txt\"\n"
                                "{\n"
                                "    * int32 int32 seen 1..30\n"
                                "}\n"
                                "\n"
                                "ini \"Data/game.ini\"\n"
                                "{\n"
                                "    section Video\n"
                                "    {\n"
                                "        width = int default 640 seen 800\n"
                                "        mode = text default window\n"
                                "    }\n"
                                "\n"
                                "    section Audio\n"
                                "    {\n"
                                "        volume = int default 10\n"
                                "    }\n"
                                "}\n";

TEST(CoreConfigLearn, WritesNamesTypesBlocksValuesAndDefaults)
{
    writeData(sc_world);
    const Result result = run("learn -o game.schema -- '" GAME "'");
    EXPECT_EQ(result.status, 7) << result.errors; // of the game
    EXPECT_EQ(readFile("game.schema"), sc_learnt);
    EXPECT_TRUE(contains(result.errors, "core-config: the game has ended with status 7\n"));
    EXPECT_TRUE(contains(result.errors, "core-config: left out: a text of 21 bytes that is no part of a file"));
    EXPECT_TRUE(contains(result.errors,
                         "game.schema: the game has read 3 files and asked for 19 names; new in the schema: 19"));

    const Result check = run("check --schema game.schema Data/world.txt Data/game.ini");
    EXPECT_EQ(check.output, "");
    EXPECT_EQ(check.status, 0) << check.errors;
    EXPECT_TRUE(contains(run("check --missing --schema game.schema Data/world.txt").output,
                         "Data/world.txt:2:1: warning: the block \"world\" lacks \"lives\"; the game uses \"3\"; "));
}

TEST(CoreConfigLearn, AddsARunToASchemaAndKeepsWhatAPersonHasWritten)
{
    writeData(sc_world);
    writeFile("game.schema", "core-config schema 1\n"
                             "// The files of the game.\n"
                             "config \"Data/world.txt\" // the first one\n"
                             "{\n"
                             "    block world required\n"
                             "    {\n"
                             "        // Downwards.\n"
                             "        gravity = float32 0..30 required seen 1.5 12 // metres\n"
                             "        lives = int32 1..9 default 5\n"
                             "        title = string 2..40\n"
                             "        old = int32\n"
                             "    }\n"
                             "}\n");
    EXPECT_EQ(run("learn -o game.schema -- '" GAME "'").status, 7);
    const std::string schema = readFile("game.schema");
    EXPECT_EQ(schema.find("core-config schema 1\n"
                          "// The files of the game.\n"
                          "config \"Data/world.txt\" // the first one\n"
                          "{\n"
                          "    block world required\n"
                          "    {\n"
                          "        // Downwards.\n"
                          "        gravity = float32 0..30 required seen 1.5..12 // metres\n"
                          "        lives = int32 1..9 default 5\n"
                          "        title = string 2..40 seen \"The Ford\"\n"
                          "        old = int32\n"
                          "        wind = int32 [int32] seen 3\n"),
              0u)
        << schema;

    writeData("world {\r\n    lives = 4\r\n    wind = 30 7\r\n    title = \"The Mill\"\r\n}\r\n");
    EXPECT_EQ(run("learn -o game.schema -- '" GAME "'").status, 7);
    const std::string again = readFile("game.schema");
    EXPECT_TRUE(contains(again, "lives = int32 1..9 default 5 seen 4\n"));
    EXPECT_TRUE(contains(again, "wind = int32 [int32] seen 3..30\n"));
    EXPECT_TRUE(contains(again, "title = string 2..40 seen \"The Ford\" \"The Mill\"\n"));
    EXPECT_TRUE(contains(again, "        tree word word seen oak 12 \"an elm\" 40\n"));
}

TEST(CoreConfigLearn, LearnsNoNameThatTheGameDoesNotKnow)
{
    writeData("world\r\n{\r\n    gravitiy = 9.81\r\n    wind = 3\r\n}\r\nclouds\r\n{\r\n    height = 3\r\n}\r\n");
    EXPECT_EQ(run("learn -o game.schema -- '" GAME "'").status, 7);
    const std::string schema = readFile("game.schema");
    EXPECT_FALSE(contains(schema, "gravitiy"));
    EXPECT_FALSE(contains(schema, "height"));
    EXPECT_FALSE(contains(schema, "clouds"));
    const Result check = run("check --schema game.schema Data/world.txt");
    EXPECT_TRUE(
        contains(check.output, "3:5: error: the game never asks for \"gravitiy\"; did you mean \"gravity\"?"));
    EXPECT_TRUE(contains(check.output, "6:1: error: the game never asks for \"clouds\""));
}

TEST(CoreConfigLearn, KnowsWhatAGameHasReadBeforeItsEndOfAnyKindAndInAChild)
{
    writeData(sc_world);
    const Result aborted = run("learn -o aborted.schema -- '" GAME "' abort");
    EXPECT_EQ(aborted.status, 128 + 6); // SIGABRT, as the shell says it
    EXPECT_TRUE(contains(aborted.errors, "core-config: a signal has ended the game: 6\n"));
    EXPECT_EQ(readFile("aborted.schema"), sc_learnt);
    EXPECT_EQ(run("learn -o forked.schema -- '" GAME "' fork").status, 0);
    EXPECT_EQ(readFile("forked.schema"), sc_learnt);
}

TEST(CoreConfigLearn, ReadsAFileThatIsLargerThanAPartOfTheJournal)
{
    std::string world = "world\r\n{\r\n";
    for (int line = 0; line < 20000; ++line) {
        world += "    lives = " + std::to_string(line) + "\r\n";
    }
    writeData(world + "    lives = -1\r\n}\r\n");
    EXPECT_EQ(run("learn -o game.schema -- '" GAME "'").status, 7);
    EXPECT_TRUE(contains(readFile("game.schema"), "        lives = int32 seen -1..19999\n"));
}

TEST(CoreConfigLearn, WritesASchemaThatCanBeReadWhateverTheFilesAre)
{
    std::string deep = "{\r\nlives = 1\r\n}\r\ntree";
    for (int count = 0; count < 100; ++count) {
        deep += " x";
    }
    deep += "\r\n";
    for (int count = 0; count < 100; ++count) {
        deep += "world\r\n{\r\n";
    }
    writeData(deep + "lives = 1\r\n");
    EXPECT_EQ(run("learn -o game.schema -- '" GAME "'").status, 7);
    EXPECT_EQ(run("learn -o game.schema -- '" GAME "'").status, 7) << readFile("errors");
    EXPECT_NE(run("check --schema game.schema Data/world.txt").status, 2) << readFile("errors");
}

TEST(CoreConfigLearn, NeedsNoMoreMemoryForAGameThatReadsItsFilesAgainAndAgain)
{
    writeData(sc_world);
    const Result result = runShell("ulimit -f 2000; '" PROGRAM "' learn -o game.schema -- '" GAME "' again");
    EXPECT_EQ(result.status, 7);
    EXPECT_FALSE(contains(result.errors, "missing")) << result.errors; // events, for which the journal has no room
    EXPECT_EQ(readFile("game.schema"), sc_learnt);
}

TEST(CoreConfigLearn, WritesManyNamesThatNoLineHasInTheOrderInWhichTheGameAsksForThem)
{
    writeData("world\r\n{\r\n    one = 1\r\n    two = 2\r\n}\r\n");
    EXPECT_EQ(run("learn -o game.schema -- '" GAME "' many").status, 7);
    const std::string schema = readFile("game.schema");
    size_t last = 0;
    for (int number = 0; number < 300; ++number) {
        const size_t place = schema.find(" n" + std::to_string(number) + "_name = ");
        ASSERT_NE(place, std::string::npos) << number;
        EXPECT_GT(place, last) << number;
        last = place;
    }
}

// ---- The journal of a game that writes while the journal is read

static std::function<void()> s_afterTheFirstPart; // called once, in the middle of the next read of a file

extern "C" ssize_t pread(int file, void* bytes, size_t size, off_t offset)
{
    static const size_t sc_part = 72 * 1024;
    const bool isWhole = !s_afterTheFirstPart || size <= sc_part;
    const ssize_t count = syscall(SYS_pread64, file, bytes, isWhole ? size : sc_part, offset);
    if (!isWhole) {
        std::exchange(s_afterTheFirstPart, nullptr)();
    }
    return count;
}

static void writeAt(int file, off_t place, const std::string& bytes)
{
    EXPECT_EQ(pwrite(file, bytes.data(), bytes.size(), place), static_cast<ssize_t>(bytes.size()));
}

static void writeRecord(int file, off_t place, uint32_t size)
{
    const watch::JournalRecord record = {size, watch::JOURNAL_READS, 1, 77};
    writeAt(file, place, std::string(reinterpret_cast<const char*>(&record), sizeof(record)));
}

TEST(Journal, HasAllThatTheGameWroteBeforeTheLastRecord)
{
    static const off_t sc_first = sizeof(watch::JournalHead);
    static const off_t sc_bytes = sizeof(watch::JournalRecord); // from a record to the bytes of its event
    static const uint32_t sc_size = 96 * 1024;
    Journal journal;
    std::string error;
    ASSERT_TRUE(journal.create(&error)) << error;
    const int game = open(journal.path().c_str(), O_RDWR | O_CLOEXEC);
    writeRecord(game, sc_first, sc_size);
    writeAt(game, sc_first + sc_bytes, "one");
    s_afterTheFirstPart = [&] {
        writeAt(game, sc_first + sc_bytes + 3, "two");
        writeRecord(game, sc_first + sc_size, 64);
        writeAt(game, sc_first + sc_size + sc_bytes, "three");
    };
    const JournalContent content = journal.read();
    close(game);
    ASSERT_EQ(content.events.size(), 2u);
    EXPECT_EQ(content.events[0].bytes.substr(0, 6), "onetwo");
    EXPECT_EQ(content.events[1].bytes.substr(0, 5), "three");
}

TEST(Journal, TellsThatTheGameHasWrittenOverIt)
{
    Journal journal;
    std::string error;
    ASSERT_TRUE(journal.create(&error)) << error;
    const int game = open(journal.path().c_str(), O_RDWR | O_CLOEXEC);
    writeRecord(game, sizeof(watch::JournalHead), 3); // no multiple of 8
    close(game);
    EXPECT_TRUE(journal.read().isDamaged);
}

// ---- Files

TEST(CoreConfigLearn, NamesAFileByItsFolderIfTheCurrentFolderHasBeenRemoved)
{
    writeData(sc_world);
    const Result result = runShell("here=$PWD; mkdir gone; cd gone; rmdir ../gone; "
                                   "'" PROGRAM "' learn -o $here/game.schema -- sh -c \"cd $here; '" GAME "'\"");
    EXPECT_EQ(result.status, 7) << result.errors;
    const std::string schema = readFile("game.schema");
    EXPECT_TRUE(contains(schema, "config \"Data/world.txt\"")) << schema;
    EXPECT_TRUE(contains(schema, "ini \"Data/game.ini\"")) << schema;
}

TEST(CoreConfigLearn, RefusesWhatItCannotDo)
{
    writeData(sc_world);
    EXPECT_EQ(run("learn -o game.schema -- '" GAME "' nothing").status, 1);
    EXPECT_TRUE(contains(readFile("errors"), "core-doctor"));
    EXPECT_FALSE(std::filesystem::exists("game.schema"));
    EXPECT_EQ(run("learn -o game.schema -- ./nothing").status, 3);
    EXPECT_EQ(run("learn -o no/folder -- '" GAME "'").status, 3);
    EXPECT_EQ(run("learn -- '" GAME "'").status, 2);
    writeFile("game.schema", "core-config schema 1\nnonsense\n");
    const Result result = run("learn -o game.schema -- '" GAME "'");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output, ""); // the game was not started
}

// ---- run

static const char sc_broken[] = "world\r\n"
                                "{\r\n"
                                "    gravity = x9.81\r\n"
                                "    wind 3\r\n"
                                "    fog = yes\r\n"
                                "    title = The Ford\r\n"
                                "    pair = 1 x\r\n"
                                "    lives =\r\n"
                                "    tree \"oak\" many\r\n"
                                "    seed = 12x\r\n"
                                "}\r\n";

static const char sc_complaints[] =
    "Data/world.txt:3:15: error: found \"x9.81\"; expected: \"gravity = float32\" [expected]\n"
    "Data/world.txt:4:10: error: found \"3\"; expected: \"wind = int32\" [expected]\n"
    "Data/world.txt:5:11: error: found \"yes\"; Expected: true or false [expected]\n"
    "Data/world.txt:6:13: error: found \"The\"; expected: \"title = string\" [expected]\n"
    "Data/world.txt:7:14: error: found \"x\"; expected: \"pair = int32 int32\" [expected]\n"
    "Data/world.txt:8:12: error: found nothing; expected: \"lives = int32\" [expected]\n"
    "Data/world.txt:9:16: error: found \"many\"; expected 1 int [expected]\n"
    "Data/path.txt:3:4: error: found \"x\"; expected 2 integers [expected]\n"
    "(no file):2:9: error: found \"y\"; expected: \"other = int32\" [expected]\n"
    "Data/game.ini:1:1: error: the preferences file can't be opened; the game uses its defaults [missing-file]\n";

static void writeBrokenData()
{
    writeData(sc_broken);
    writeFile("Data/path.txt", "a path\r\n1 2\r\n30 x\r\n");
    std::filesystem::remove("Data/game.ini");
}

// While SIGCHLD is ignored, waitpid gets no status. timeout ends a program that waits forever.
TEST(CoreConfigRun, EndsAsTheGameAlsoIfTheProgramThatStartedItIgnoresSIGCHLD)
{
    writeBrokenData();
    const Result result = runShell("timeout 60 env --ignore-signal=CHLD '" PROGRAM "' run -o findings -- '" GAME "'");
    EXPECT_EQ(result.status, 7);
}

TEST(CoreConfigRun, PrintsEachComplaintOfTheLibraryWithItsPlaceAndWhatWasFound)
{
    writeBrokenData();
    const Result alone = runShell("'" GAME "'");
    EXPECT_EQ(alone.status, 7);

    const Result result = run("run -o findings -- '" GAME "'");
    EXPECT_EQ(readFile("findings"), sc_complaints);
    EXPECT_EQ(result.status, alone.status);
    EXPECT_EQ(result.output, alone.output);
    EXPECT_EQ(result.errors, alone.errors); // the game's own messages

    const Result live = run("run -- '" GAME "'");
    EXPECT_EQ(live.output, alone.output);
    for (const char* line :
         {"Data/world.txt:3:15: error: found \"x9.81\"; expected: \"gravity = float32\" [expected]\n",
          "...expected: \"gravity = float32\""}) {
        EXPECT_TRUE(contains(live.errors, line)) << live.errors;
    }
}

TEST(CoreConfigRun, TellsWhatWasTakenFromTheNextLineAfterABareLineFeed)
{
    writeBrokenData();
    writeFile("Data/world.txt", "lives =\nseed = 1\n");
    EXPECT_EQ(run("run -o findings -- '" GAME "'").status, 7);
    EXPECT_TRUE(contains(readFile("findings"),
                         "Data/world.txt:1:8: error: found \"seed\" of the next line; expected: "
                         "\"lives = int32\" [expected]\n"));
}

// A game that reads value lines up to the end of the text gets a message there.
TEST(CoreConfigRun, PrintsWhatTheLibrarySaysAtTheEndOfATextOfValueLines)
{
    writeData(sc_world);
    EXPECT_EQ(run("run -o findings -- '" GAME "'").status, 7);
    EXPECT_EQ(readFile("findings"),
              "Data/path.txt:3:5: error: found the end of the text; expected 2 integers [expected]\n"
              "(no file):2:9: error: found \"y\"; expected: \"other = int32\" [expected]\n");
}

TEST(CoreConfigRun, PrintsTheComplaintsOfEachReaderOfValues)
{
    std::filesystem::create_directory("Data");
    writeFile("Data/values.txt", "int 1\r\nint2 1 2\r\nint3 1 2 3\r\nfloat 0.5\r\nfloat2 0.5 1\r\nbool true\r\n");
    writeFile("Data/lines.txt", "word\r\ntext\r\n1\r\n1 2\r\n1 2\r\n1 2 3\r\n0.5\r\n0.5 1\r\n0.5 1\r\nx\r\n");
    EXPECT_EQ(run("run -o findings -- '" GAME "' values").status, 7);
    EXPECT_EQ(readFile("findings"), "");

    writeFile("Data/values.txt", "int one\r\nint2 1 two\r\nint3 1 2 three\r\nfloat half\r\nfloat2 0.5 half\r\n"
                                 "bool maybe\r\n");
    writeFile("Data/lines.txt", "word\r\ntext\r\none\r\n"); // a reader that fails leaves the line to the next reader
    EXPECT_EQ(run("run -o findings -- '" GAME "' values").status, 7);
    EXPECT_EQ(readFile("findings"),
              "Data/values.txt:1:5: error: found \"one\"; expected 1 int [expected]\n"
              "Data/values.txt:2:8: error: found \"two\"; expected 2 ints [expected]\n"
              "Data/values.txt:3:10: error: found \"three\"; expected 3 ints [expected]\n"
              "Data/values.txt:4:7: error: found \"half\"; expected 1 floats [expected]\n"
              "Data/values.txt:5:12: error: found \"half\"; expected 2 floats [expected]\n"
              "Data/values.txt:6:6: error: found \"maybe\"; Expected: true or false [expected]\n"
              "Data/lines.txt:3:1: error: found \"one\"; expected 1 integer [expected]\n"
              "Data/lines.txt:3:1: error: found \"one\"; expected 2 integers [expected]\n"
              "Data/lines.txt:3:1: error: found \"one\"; expected 1 or 2 integers [expected]\n"
              "Data/lines.txt:3:1: error: found \"one\"; expected 3 integers [expected]\n"
              "Data/lines.txt:3:1: error: found \"one\"; expected 1 float [expected]\n"
              "Data/lines.txt:3:1: error: found \"one\"; expected 2 floats [expected]\n"
              "Data/lines.txt:3:1: error: found \"one\"; expected 1 or 2 floats [expected]\n");
}

TEST(CoreConfigRun, PrintsTheComplaintsOfEachReaderOfNamedIntegers)
{
    writeData("small = x\r\nmiddle = x\r\nseed = x\r\nlarge = x\r\n");
    EXPECT_EQ(run("run -o findings -- '" GAME "'").status, 7);
    for (const char* finding : {":1:9: error: found \"x\"; expected: \"small = int8\"",
                                ":2:10: error: found \"x\"; expected: \"middle = int16\"",
                                ":3:8: error: found \"x\"; expected: \"seed = uint32\"",
                                ":4:9: error: found \"x\"; expected: \"large = int64\""}) {
        EXPECT_TRUE(contains(readFile("findings"), finding)) << readFile("findings");
    }
}

TEST(CoreConfigRun, GivesItsFindingsToOtherProgramsAndInItsStatus)
{
    writeBrokenData();
    const Result github = run("run --github --fail-on-finding -- '" GAME "'");
    EXPECT_EQ(github.status, 7); // of the game
    EXPECT_TRUE(
        contains(github.errors, "::error file=Data/world.txt,line=3,col=15,title=expected::found \"x9.81\"; "));
    EXPECT_EQ(run("run --json -o findings -- '" GAME "' fork").status, 0);
    EXPECT_TRUE(contains(readFile("findings"), "    \"what\": \"found \\\"x9.81\\\"\",\n"));
    EXPECT_EQ(run("run --fail-on-finding -- '" GAME "' fork").status, 1);
    EXPECT_EQ(run("run --fail-on-finding -o findings -- true").status, 0);
    EXPECT_EQ(readFile("findings"), "");
    EXPECT_EQ(run("run -- ./nothing").status, 3);
    EXPECT_EQ(run("run").status, 2);
    EXPECT_EQ(run("run -- '" GAME "' abort").status, 128 + 6); // SIGABRT, as the shell says it
}
