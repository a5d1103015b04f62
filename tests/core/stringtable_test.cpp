#include "core/stringtable.h"

#include "tests/support/shared_folder.h"
#include "tests/support/stringtable_access.h"
#include "tests/support/watched_log.h"
#include "tests/support/watched_memory.h"

#include <algorithm>
#include <filesystem>
#include <grp.h>
#include <locale.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <type_traits>
#include <unistd.h>

static const char* const sc_file = "strings.utf8";

static std::string entryLine(const std::string& key, const std::string& text)
{
    return "\"" + key + "\" = \"" + text + "\"\n";
}

// What a table holds, in the order of the keys: "a=A, b=B".
static std::string entries(StringTable& table)
{
    std::vector<std::pair<std::string, std::string>> all;
    HashTableIter_t<_StringTableNode_s> it;
    HashTable<_StringTableNode_s>& hashTable = *m_tableOf(table);
    const _StringTableNode_s* entry = hashTable.getFirstElement(it);
    for (; entry; entry = hashTable.getNextElement(it)) {
        all.push_back({it.key, entry->string});
    }
    std::stable_sort(all.begin(), all.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::string text;
    for (const auto& pair : all) {
        text += (text.empty() ? "" : ", ") + pair.first + "=" + pair.second;
    }
    return text;
}

// What a strings file of these bytes brings into an empty table.
static std::string loaded(const std::string& bytes)
{
    writeFile(sc_file, bytes);
    StringTable table;
    EXPECT_TRUE(table.setLanguage("french"));
    return entries(table);
}

// ---- Without a strings file

TEST(StringTable, CollectsTheTextsItIsAskedForWhenThereIsNoFile)
{
    WatchedMemory memory;
    char options[] = "Options";
    {
        StringTable table;
        EXPECT_FALSE(table.setLanguage("french"));
        EXPECT_EQ(takeMessages(),
                  "6 ^CFF0000StringTable::setLanguage: ^c File Not Found: \"^CFFFF00strings.utf8^c\"\f");
        const char* text = table.translate(options);
        EXPECT_STREQ(text, "Options");
        EXPECT_NE(text, options); // the table's copy
        EXPECT_EQ(table.translate("OPTIONS"), text);
        EXPECT_EQ(readFile(sc_file), "(no file)"); // it comes at the end
    }
    EXPECT_EQ(readFile(sc_file), "\"Options\" = \"Options\"\n");
    EXPECT_EQ(takeMessages(), "");
}

TEST(StringTable, WritesAFileAlsoWhenNoLanguageWasEverSet)
{
    WatchedMemory memory;
    writeFile(sc_file, entryLine("a", "A"));
    delete new StringTable;
    EXPECT_EQ(readFile(sc_file), "");
}

TEST(StringTable, WritesTheEntriesInTheOrderOfTheirBuckets)
{
    WatchedMemory memory;
    {
        StringTable table;
        for (const char* text : {"Hello", "b", "a", "data/x", "A", "data\\x", "AB", ""}) {
            table.translate(text); // buckets 796, 98, 97, 155, 97 (it is there), 155, 236, 0
        }
    }
    EXPECT_EQ(readFile(sc_file), entryLine("", "") + entryLine("a", "a") + entryLine("b", "b") +
                                     entryLine("data/x", "data/x") + entryLine("data\\\\x", "data\\\\x") +
                                     entryLine("AB", "AB") + entryLine("Hello", "Hello"));
}

TEST(StringTable, EscapesWhatItWrites)
{
    WatchedMemory memory;
    const std::string all = "\a\b\t\n\v\f\r\"'\\ \x01\x7F Caf\xC3\xA9 100% %s";
    {
        StringTable table;
        table.translate(all.c_str());
    }
    const std::string escaped = "\\a\\b\\t\\n\\v\\f\\r\\\"\\'\\\\ \x01\x7F Caf\xC3\xA9 100% %s";
    EXPECT_EQ(readFile(sc_file), entryLine(escaped, escaped));

    StringTable table;
    table.setLanguage("french");
    EXPECT_EQ(entries(table), all + "=" + all);
}

TEST(StringTable, ReadsBackWhatItWrote)
{
    WatchedMemory memory;
    std::string before;
    {
        StringTable table;
        for (int number = 0; number < 1024; ++number) {
            table.translate(
                ("text \"" + std::to_string(number * 7919) + "\"\n// \\ " + std::string(number % 90, 'x')).c_str());
        }
        before = entries(table);
    }
    StringTable table;
    EXPECT_TRUE(table.setLanguage("french"));
    EXPECT_EQ(entries(table), before);
    EXPECT_EQ(takeMessages(), "");
}

TEST(StringTable, DoesNotReadBackATextThatEndsInABackslash)
{
    WatchedMemory memory;
    {
        StringTable table;
        table.translate("C:\\");
        table.translate("z");
    }
    EXPECT_EQ(readFile(sc_file), "\"z\" = \"z\"\n\"C:\\\\\" = \"C:\\\\\"\n");
    StringTable table;
    table.setLanguage("french");
    EXPECT_EQ(entries(table), "z=z");
}

TEST(StringTable, WritesALongTextUnderATruncatedKeyOnceForEachTranslation)
{
    WatchedMemory memory;
    const std::string text(200, 'x');
    {
        StringTable table;
        table.translate(text.c_str());
        table.translate(text.c_str());
    }
    const std::string line = entryLine(text.substr(0, 127), text);
    EXPECT_EQ(readFile(sc_file), line + line);
}

TEST(StringTable, SaysWhenItCannotWrite)
{
    WatchedMemory memory;
    {
        StringTable::s_setLocalePath("nowhere");
        StringTable table;
        table.translate("a");
    }
    EXPECT_EQ(takeMessages(), "6 ^CFF0000StringTable::_exportStringTable:^c Failed to open file for writing: "
                              "\"^CFFFF00nowhere/strings.utf8^c\"\f");
    EXPECT_EQ(memory.check(0, true), 0);
}

TEST(StringTable, APipeCountsAsAMissingFileAndIsNotWritten)
{
    alarm(60); // the end of a test that waits after all
    WatchedMemory memory;
    ASSERT_EQ(mkfifo(sc_file, 0600), 0);
    {
        StringTable table;
        EXPECT_FALSE(table.setLanguage("french"));
        EXPECT_EQ(takeMessages(),
                  "6 ^CFF0000StringTable::setLanguage: ^c File Not Found: \"^CFFFF00strings.utf8^c\"\f");
    }
    EXPECT_EQ(takeMessages(), "6 ^CFF0000StringTable::_exportStringTable:^c Failed to open file for writing: "
                              "\"^CFFFF00strings.utf8^c\"\f");
}

TEST(StringTable, IsNotWrittenThroughALinkOfAnotherUsers)
{
    SKIP_UNLESS_ROOT();
    WatchedMemory memory;
    writeFile("private", "secret");
    const SharedFolder shared("shared");
    shared.act("ln -s ../private strings.utf8");
    StringTable::s_setLocalePath("shared");
    {
        StringTable table;
        table.translate("a");
    }
    EXPECT_EQ(readFile("private"), "secret");
    EXPECT_EQ(takeMessages(),
              "3 ^CFF0000StringTable::_exportStringTable:^c The texts are not written through another "
              "user's link: \"^CFFFF00shared/strings.utf8^c\"\f");
}

// A path of one letter and a slash is the shortest one that has a folder.
TEST(StringTable, IsNotWrittenThroughAFolderOfOneLetterThatIsALinkOfAnotherUser)
{
    SKIP_UNLESS_ROOT();
    WatchedMemory memory;
    std::filesystem::create_directory("home");
    const SharedFolder shared(".");
    shared.act("ln -s home a");
    symlink(std::filesystem::absolute(".").c_str(), "own");
    symlink("a", "to-a");
    std::filesystem::create_directory("folder");
    symlink("../a", "folder/to-a");
    symlink(std::filesystem::absolute(".").c_str(), "folder/own");
    for (const char* folder : {"a", ".\\a", "c:a", "own/a", "to-a", "folder/to-a", "folder/own/a"}) {
        StringTable::s_setLocalePath(folder);
        {
            StringTable table;
            table.translate("a");
        }
        EXPECT_NE(takeMessages().find("another user's link"), std::string::npos) << folder;
    }
    EXPECT_TRUE(std::filesystem::is_empty("home"));
}

TEST(StringTable, IsWrittenThroughALinkOfTheUsersOwn)
{
    WatchedMemory memory;
    symlink("private", sc_file);
    {
        StringTable table;
        table.translate("a");
    }
    EXPECT_EQ(readFile("private"), entryLine("a", "a"));
}

// Whether a table with this folder writes its strings file. If it does not, it names another user's link.
static bool isWrittenIn(const std::string& folder)
{
    WatchedMemory memory;
    StringTable::s_setLocalePath(folder.c_str());
    {
        StringTable table;
        table.translate("a");
    }
    const bool isRefused = takeMessages().find("another user's link") != std::string::npos;
    return !isRefused;
}

static void writeAs(uid_t user)
{
    if (setgroups(0, nullptr) != 0 || setgid(user) != 0 || setuid(user) != 0) {
        exit(2);
    }
    exit(isWrittenIn(""));
}

TEST(StringTable, IsWrittenThroughALinkByTheUserWhoMadeItAndNotByAnotherUser)
{
    SKIP_UNLESS_ROOT();
    const SharedFolder shared(".");
    shared.act("ln -s private strings.utf8");
    EXPECT_EXIT(writeAs(sc_attacker), testing::ExitedWithCode(true), "");
    EXPECT_EQ(readFile("private"), entryLine("a", "a"));
    EXPECT_EXIT(writeAs(sc_victim), testing::ExitedWithCode(false), "");
}

TEST(StringTable, IsWrittenIntoAFolderWithADOSPath)
{
    std::filesystem::create_directories("x/y");
    EXPECT_TRUE(isWrittenIn("x\\y"));
    EXPECT_EQ(readFile("x/y/strings.utf8"), entryLine("a", "a"));
    EXPECT_TRUE(isWrittenIn("c:y"));
}

TEST(StringTable, IsWrittenThroughLinksOfTheUsersOwnUnlessTheyAreMoreThanTheSystemFollows)
{
    std::filesystem::create_directory("home");
    symlink(std::filesystem::absolute("home").c_str(), "link0");
    for (int number = 1; number <= 40; ++number) {
        symlink(("link" + std::to_string(number - 1)).c_str(), ("link" + std::to_string(number)).c_str());
    }
    EXPECT_TRUE(isWrittenIn("link39")); // 40 links
    EXPECT_EQ(readFile("home/strings.utf8"), entryLine("a", "a"));
    EXPECT_FALSE(isWrittenIn("link40"));
}

// The path that a link leads to has no room in 1023 bytes, so it cannot be checked.
TEST(StringTable, IsNotWrittenThroughALinkThatIsTooLong)
{
    std::string target;
    while (target.size() < 1024) {
        target += "./";
    }
    symlink((target + "private").c_str(), sc_file); // its first 1023 bytes are a path of this folder
    EXPECT_FALSE(isWrittenIn(""));
    symlink(std::string(1023, 'x').c_str(), "link");
    EXPECT_FALSE(isWrittenIn("link"));
    symlink(target.substr(0, 960).c_str(), "dots");
    EXPECT_FALSE(isWrittenIn("dots/" + std::string(100, 'x')));
}

TEST(StringTable, IsWrittenIntoAFileWithASecondNameUnlessOtherUsersOwnItsFolder)
{
    writeFile("file", "");
    ASSERT_EQ(link("file", sc_file), 0);
    EXPECT_TRUE(isWrittenIn("")); // the test's own folder
    EXPECT_EQ(readFile("file"), entryLine("a", "a"));

    SKIP_UNLESS_ROOT();
    std::filesystem::create_directory("theirs");
    ASSERT_EQ(link("file", "theirs/strings.utf8"), 0);
    EXPECT_TRUE(isWrittenIn("theirs"));
    ASSERT_EQ(chown("theirs", sc_attacker, sc_attacker), 0);
    EXPECT_FALSE(isWrittenIn("theirs"));
}

TEST(StringTable, LosesNothingButTheFileWhenTheDiskIsFull)
{
    WatchedMemory memory;
    const rlimit noBytes = {0, 0};
    signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &noBytes);
    {
        StringTable table;
        for (int number = 0; number < 1000; ++number) {
            table.translate(std::to_string(number).c_str());
        }
    }
    EXPECT_EQ(memory.check(0, true), 0);
}

// ---- The strings file

struct Strings {
    const char* bytes;
    const char* expected;
};

class StringsFile : public testing::TestWithParam<Strings> {};

TEST_P(StringsFile, BringsItsEntries)
{
    WatchedMemory memory;
    EXPECT_EQ(loaded(GetParam().bytes), GetParam().expected);
    EXPECT_EQ(takeMessages(), "");
    EXPECT_EQ(memory.check(0, true), 0);
}

static const Strings sc_entries[] = {
    {"\"New Game\" = \"Nouvelle partie\"\n", "New Game=Nouvelle partie"},
    {R"("a" = "A")", "a=A"}, // the last line needs no end
    {"\"a\" = \"A\"\n\"b\" = \"B\"\n\"c\" = \"C\"\n", "a=A, b=B, c=C"},
    {"no entries", ""},
    {"\"a\" = \"A\"\r\n\"b\" = \"B\"\r\n", "a=A, b=B"},
    {"\"a\" = \"A\"\r\n\"b\" = \"B\"\n\"c\" = \"C\"\r\r\r\n", "a=A, b=B, c=C"},
    {"\xEF\xBB\xBF\"a\" = \"A\"\n", "a=A"},
    {"\xEF\xBB\xBF", ""},
    {"\xEF\xBB\"a\" = \"A\"\n", "a=A"},          // half a mark is what stands in front
    {"\xEF\xBB\xBF// \"a\" = \"A\"\n", ""},      // behind the mark a comment
    {"\n\xEF\xBB\xBF// \"a\" = \"A\"\n", "a=A"}, // further down there is no mark, nor a comment
    {"\"a\" = \"\xC3\x84\"\n\"\xC3\xA4\" = \"\xE4\"", "a=\xC3\x84, \xC3\xA4=\xE4"}, // bytes are bytes
    {"  \t \"a\" = \"A\"\n", "a=A"},
    {"// comment\n\"a\" = \"A\"\n \t // \"b\" = \"B\"\n", "a=A"},
    {R"(/ / "a" = "A")", "a=A"},
    {"   \n\"a\" = \"A\"\n \t \n\"b\" = \"B\"\n", "a=A, b=B"},
    {R"("a" = "A" // "b" = "B")", "a=A"},  // behind the entry anything goes
    {R"(key "a" = value "A" end)", "a=A"}, // and in front of the quotes
    {"\"a\"\t \t= \t \"A\"\n", "a=A"},
    {R"("a"= "A")", "a=A"},
    {R"("a"="A")", ""},
    {R"("a" ="A")", ""},
    {"\"a\" =\t\"A\"\n", ""},
    {R"("a" == "A")", ""},
    {R"("a" "A")", ""},
    {R"("a" x = "A")", ""},
    {R"("a" = A)", ""},
    {R"(a = "A")", ""},
    {"'a' = 'A'\n", ""},
    {R"("a)", ""},
    {R"("a")", ""},
    {"\"a\" = \"A\n\"b\" = \"B\"\n", "b=B"}, // a line that is none ends with the line
    {"\"a = \"A\"\n\"b\" = \"B\"\n", "b=B"},
    {"\"\" = \"nothing\"\n\"a\" = \"\"\n", "=nothing, a="},
    {R"("a\n\"b\"" = "\a\b\t\n\v\f\r\"\'\\.")", "a\n\"b\"=\a\b\t\n\v\f\r\"'\\."},
    {R"("a" = "x\qy")", R"(a=x\y)"}, // the backslash of no escape stays, the letter goes
    {R"("a\\" = "A")", ""},          // a quote behind any backslash ends nothing
    {R"("a" = "A\\")", ""},
    {R"("a" = "A\\" more")", R"(a=A\" more)"}, // the escapes are: backslash, quote
    {R"("a" = "100%s")", "a=100%s"},
    {"\"Quit\" = \"Beenden\"\n\"quit\" = \"Ende\"\n", "Quit=Beenden, quit=Ende"}, // both are stored
    {"\r", ""},
    {"\n", ""},
    {"\n\n\n\n", ""},
    {" ", ""},
    {R"(")", ""},
    {R"("")", ""},
    {R"("" =)", ""},
    {R"("" = )", ""},
    {R"("" = ")", ""},
    {R"("" = "")", "="},
};
INSTANTIATE_TEST_SUITE_P(Entries, StringsFile, testing::ValuesIn(sc_entries));

#define A "\"a\" = \"A\""
#define B "\"b\" = \"B\""
#define C "\"c\" = \"C\""
#define D "\"d\" = \"D\""

static const Strings sc_emptyLines[] = {
    // One is passed over. Two make the next line the last. With three and more, n, the next line's last n - 2
    // characters are read once more, and then reading goes on.
    {A "\n\n" B "\n" C "\n", "a=A, b=B, c=C"},
    {A "\n\n\n" B "\n" C "\n", "a=A, b=B"},
    {A "\n\n\n\n" B "\n" C "\n", "a=A, b=B, c=C"},               // and the tail is one quote
    {A "\n\n\n\n\n" B "\n" C "\n", "a=A, b=B, c=C"},             // B"
    {A "\n\n\n\n\n\n\n\n\n\n\n" B "\n" C "\n", "a=A, b=B, c=C"}, // the very last that is a tail, of 8
    {A "\n\n" B "\n\n" C "\n", "a=A, b=B, c=C"},                 // one, twice
    {A "\n\n\n\n" B "\n\n\n" C "\n" D "\n", "a=A, b=B, c=C"},    // three, then two
    {"\n" A "\n" B "\n", "a=A, b=B"},                            // at the start of the text each line feed counts
    {"\n\n" A "\n" B "\n", "a=A"},
    {"\n\n\n" A "\n" B "\n", "a=A, b=B"},
    {"\xEF\xBB\xBF\n\n" A "\n" B "\n", "a=A"},             // behind the mark, too
    {A "\n\n\n// comment\n" B "\n", "a=A"},                // a comment is a line
    {A "\n\n\n \n" B "\n", "a=A"},                         // and so are blanks
    {A "\n \n \n" B "\n" C "\n", "a=A, b=B, c=C"},         // which are no empty lines
    {A "\r\n\r\n\r\n" B "\r\n" C "\r\n", "a=A, b=B, c=C"}, // nor are these
    {A "\r\n\r\n\r\n\r\n\r\n\r\n" B "\r\n" C "\r\n", "a=A, b=B, c=C"},
    {A "\n\n\n", "a=A"},
    {A "\n\n\n\n\n\n", "a=A"},                                        // nothing behind them
    {A "\n\n\n\n\n\n\n\n\n\n\n\n// " D "\n" C "\n", "a=A, c=C, d=D"}, // the tail of this comment is an entry
};
INSTANTIATE_TEST_SUITE_P(EmptyLines, StringsFile, testing::ValuesIn(sc_emptyLines));

static const Strings sc_runningOn[] = {
    // Behind a last "=" and a bare line feed the translation is sought in the lines that follow.
    {"\"a\" =\n" B "\n" C "\n", "a=b, c=C"},
    {"\"a\" =\nx\n\"A\"\n" C "\n", "a=A, c=C"},
    {"\"a\" =\n\"x\ny\"\n" C "\n", "a=x\ny, c=C"},
    {"\"a\" =\n", ""},
    {"\"a\" =", ""},
    {"\"a\" = \n" B "\n", "b=B"},    // a blank behind it keeps it in its line
    {"\"a\" =\r\n" B "\r\n", "b=B"}, // and so does a carriage return
};
INSTANTIATE_TEST_SUITE_P(RunningOn, StringsFile, testing::ValuesIn(sc_runningOn));

TEST(StringsFile, EndsAtANUL)
{
    WatchedMemory memory;
    const char text[] = "\"a\" = \"A\"\n\"b\0\" = \"B\"\n\"c\" = \"C\"\n";
    EXPECT_EQ(loaded(std::string(text, sizeof(text))), "a=A");
    EXPECT_EQ(loaded(std::string(1000, '\0')), "");
}

TEST(StringsFile, ReadsAlikeWithAByteOrderMarkAndCarriageReturns)
{
    WatchedMemory memory;
    const std::string lines = "// comment\n" A "\n\"b\\n\" = \"B\\n\"\n  \n \"c\" = \"C\" \n";
    std::string windows = "\xEF\xBB\xBF";
    for (char letter : lines) {
        windows += letter == '\n' ? "\r\n" : std::string(1, letter);
    }
    EXPECT_EQ(loaded(windows), loaded(lines));
    EXPECT_EQ(loaded(lines), "a=A, b\n=B\n, c=C");
}

TEST(StringsFile, TruncatesAKeyOf128BytesSoThatItIsNeverFound)
{
    WatchedMemory memory;
    const std::string longest(127, 'k');
    const std::string tooLong(128, 'm');
    writeFile(sc_file, entryLine(longest, "found") + entryLine(tooLong, "lost"));
    StringTable table;
    table.setLanguage("french");
    EXPECT_EQ(entries(table), longest + "=found, " + tooLong.substr(1) + "=lost");
    EXPECT_STREQ(table.translate(longest.c_str()), "found");
    EXPECT_EQ(takeMessages(), "");

    EXPECT_EQ(table.translate(tooLong.c_str()), tooLong.c_str());
    EXPECT_NE(takeMessages(), "");
}

TEST(StringsFile, MayHoldTranslationsOfAnyLength)
{
    WatchedMemory memory;
    const std::string text(300000, 'x');
    EXPECT_EQ(loaded(entryLine("a", text) + entryLine("b", text) + entryLine("c", "C")),
              "a=" + text + ", b=" + text + ", c=C");
}

TEST(StringsFile, BringsTheFirst1024OfItsEntries)
{
    WatchedMemory memory;
    std::string lines;
    for (int number = 0; number < 1030; ++number) {
        lines += entryLine(std::to_string(number), "text " + std::to_string(number));
    }
    writeFile(sc_file, lines);
    StringTable table;
    EXPECT_TRUE(table.setLanguage("french"));
    EXPECT_EQ(takeMessages(), ""); // the rest goes without a word
    EXPECT_STREQ(table.translate("0"), "text 0");
    EXPECT_STREQ(table.translate("1023"), "text 1023");
    EXPECT_STREQ(table.translate("1024"), "1024");
    EXPECT_NE(takeMessages(), "");
}

TEST(StringsFile, AFolderCountsAsAMissingFile)
{
    WatchedMemory memory;
    std::filesystem::create_directory(sc_file);
    {
        StringTable table;
        EXPECT_FALSE(table.setLanguage("french"));
        EXPECT_EQ(takeMessages(),
                  "6 ^CFF0000StringTable::setLanguage: ^c File Not Found: \"^CFFFF00strings.utf8^c\"\f");
    }
    EXPECT_EQ(takeMessages(), "6 ^CFF0000StringTable::_exportStringTable:^c Failed to open file for writing: "
                              "\"^CFFFF00strings.utf8^c\"\f");
}

// ---- Languages and folders

TEST(StringTable, AddsTheEntriesOfASecondFileBehindThoseOfTheFirst)
{
    WatchedMemory memory;
    std::filesystem::create_directory("1"); // the shortest names
    std::filesystem::create_directory("2");
    writeFile("1/strings.utf8", entryLine("both", "first") + entryLine("a", "A"));
    writeFile("2/strings.utf8", entryLine("BOTH", "second") + entryLine("b", "B"));

    StringTable table;
    StringTable::s_setLocalePath("1");
    EXPECT_TRUE(table.setLanguage("first"));
    StringTable::s_setLocalePath("2");
    EXPECT_TRUE(table.setLanguage("second"));
    EXPECT_EQ(entries(table), "BOTH=second, a=A, b=B, both=first");
    EXPECT_STREQ(table.translate("Both"), "first");
    EXPECT_STREQ(m_languageOf(table), "second");
}

TEST(StringTable, KeepsWhatItHasWhenASecondFileIsNotThere)
{
    WatchedMemory memory;
    writeFile(sc_file, entryLine("a", "A"));
    {
        StringTable table;
        EXPECT_TRUE(table.setLanguage("french"));
        StringTable::s_setLocalePath("nowhere");
        EXPECT_FALSE(table.setLanguage("german"));
        EXPECT_EQ(takeMessages(),
                  "6 ^CFF0000StringTable::setLanguage: ^c File Not Found: \"^CFFFF00nowhere/strings.utf8^c\"\f");
        EXPECT_STREQ(table.translate("a"), "A");
        EXPECT_EQ(m_loadedOf(table), 1);
        EXPECT_STREQ(m_languageOf(table), "german");
    }
    EXPECT_EQ(takeMessages(), ""); // and writes none
}

TEST(StringTable, NeverWritesOverAFileThatItOpened)
{
    WatchedMemory memory;
    writeFile(sc_file, entryLine("a", "A"));
    {
        StringTable table;
        table.setLanguage("french");
        table.translate("new");
    }
    EXPECT_EQ(readFile(sc_file), entryLine("a", "A"));
}

TEST(StringTable, HasItsFileInTheLocaleFolder)
{
    WatchedMemory memory;
    EXPECT_STREQ(StringTable::sc_stringFileName, "strings.utf8");
    EXPECT_STREQ(StringTable::s_localePath, "");
    std::filesystem::create_directories("locale/french");
    StringTable::s_setLocalePath("locale/french");
    {
        StringTable table;
        table.translate("a");
    }
    EXPECT_EQ(readFile("locale/french/strings.utf8"), entryLine("a", "a"));
    EXPECT_EQ(readFile(sc_file), "(no file)");

    StringTable table;
    EXPECT_TRUE(table.setLanguage("the name plays no part"));
    EXPECT_EQ(entries(table), "a=a");
}

TEST(StringTable, KeepsItsFolderWhenAnotherIsEmptyOrNull)
{
    StringTable::s_setLocalePath("locale");
    StringTable::s_setLocalePath("");
    StringTable::s_setLocalePath(nullptr);
    EXPECT_STREQ(StringTable::s_localePath, "locale");
    StringTable::s_setLocalePath(StringTable::s_localePath);
    EXPECT_STREQ(StringTable::s_localePath, "locale");
    StringTable::s_setLocalePath(StringTable::s_localePath + 2);
    EXPECT_STREQ(StringTable::s_localePath, "cale");
}

TEST(StringTable, Keeps1023BytesOfItsFolder)
{
    EXPECT_EQ(sizeof(StringTable::s_localePath), 1024u);
    const std::string longest(1023, 'p');
    StringTable::s_setLocalePath(longest.c_str());
    EXPECT_EQ(StringTable::s_localePath, longest);
    StringTable::s_setLocalePath((std::string(1023, 'q') + "rest").c_str());
    EXPECT_EQ(StringTable::s_localePath, std::string(1023, 'q'));
}

TEST(StringTable, RefusesALanguageWithoutAName)
{
    WatchedMemory memory;
    writeFile(sc_file, entryLine("a", "A"));
    StringTable table;
    table.setLanguage("french");
    EXPECT_FALSE(table.setLanguage(nullptr));
    EXPECT_STREQ(m_languageOf(table), "french");
    EXPECT_EQ(entries(table), "a=A");
    EXPECT_EQ(takeMessages(), "");
}

struct Language {
    const char* name;
    const char* kept;
};

class LanguageName : public testing::TestWithParam<Language> {};

TEST_P(LanguageName, IsAFormatWithoutArguments)
{
    WatchedMemory memory;
    StringTable table;
    table.setLanguage(GetParam().name);
    EXPECT_STREQ(m_languageOf(table), GetParam().kept);
}

static const Language sc_names[] = {
    {"french", "french"},
    {"", ""},
    {"Espa\xC3\xB1ol", "Espa\xC3\xB1ol"},
    {"100%%", "100%"},
    {"%%%%", "%%"},
    {"%s", ""},
    {"a%db", "ab"},
    {"a%nb", "ab"}, // nothing is stored anywhere
    {"%1$s|%-5.3f|%*d|%+08lx|%hhn|%.*s", "|||||"},
    {"100% off", "100ff"}, // "% o" is an octal number
    {"%5%", "%"},
    {"%", "%"}, // what is no conversion stays
    {"a%", "a%"},
    {"%y", "%y"},
    {"%5", "%5"},
    {"%5y%s", "%5y"},
    {"%-%s", "%s"}, // "%-%", then a plain s
};
INSTANTIATE_TEST_SUITE_P(StringTable, LanguageName, testing::ValuesIn(sc_names));

TEST(LanguageName, LosesTheConversionOfEachLetterOfPrintf)
{
    WatchedMemory memory;
    StringTable table;
    for (const char letter : std::string("diouxXeEfFgGaAcCsSpnm")) {
        table.setLanguage((std::string("a%") + letter + "b").c_str());
        EXPECT_STREQ(m_languageOf(table), "ab") << letter;
    }
    for (const char flag : std::string("-+ #'0123456789.*$hlLqjzt")) {
        table.setLanguage((std::string("a%") + flag + "gb").c_str());
        EXPECT_STREQ(m_languageOf(table), "ab") << flag;
    }
}

TEST(LanguageName, IsTruncatedTo127Bytes)
{
    WatchedMemory memory;
    StringTable table;
    table.setLanguage(std::string(127, 'a').c_str());
    EXPECT_EQ(m_languageOf(table), std::string(127, 'a'));
    table.setLanguage((std::string(127, 'b') + "c").c_str());
    EXPECT_EQ(m_languageOf(table), std::string(127, 'b'));
    std::string percents;
    for (int i = 0; i < 200; ++i) {
        percents += "%%%s";
    }
    table.setLanguage(percents.c_str());
    EXPECT_EQ(m_languageOf(table), std::string(127, '%'));
    table.setLanguage("short");
    EXPECT_STREQ(m_languageOf(table), "short");
}

// ---- Looking up

TEST(Translate, FindsATextInUpperAndLowerCase)
{
    WatchedMemory memory;
    writeFile(sc_file, entryLine("Quit", "Beenden") + entryLine("quit", "Ende"));
    StringTable table;
    table.setLanguage("german");
    EXPECT_STREQ(table.translate("QUIT"), "Beenden"); // the first in the file
    EXPECT_EQ(table.translate("quit"), table.translate("Quit"));
}

TEST(Translate, TakesOnlyTheLettersFromAToZForLetters)
{
    WatchedMemory memory;
    setlocale(LC_ALL, "tr_TR.UTF-8");
    writeFile(sc_file, entryLine("\xC3\x84", "big") + entryLine("TITLE", "head"));
    StringTable table;
    table.setLanguage("german");
    EXPECT_STREQ(table.translate("\xC3\xA4"), "\xC3\xA4");
    EXPECT_STREQ(table.translate("title"), "head");
}

TEST(Translate, AddsAMissingTextBesideTheTranslations)
{
    WatchedMemory memory;
    writeFile(sc_file, entryLine("a", "A"));
    StringTable table;
    table.setLanguage("french");
    const std::string missing = "not translated";
    const char* text = table.translate(missing.c_str());
    EXPECT_EQ(text, missing);
    EXPECT_NE(text, missing.c_str());
    EXPECT_EQ(table.translate("Not Translated"), text);
    EXPECT_EQ(entries(table), "a=A, not translated=not translated");
    EXPECT_EQ(takeMessages(), "");
}

TEST(Translate, ServesTheEmptyText)
{
    WatchedMemory memory;
    StringTable table;
    EXPECT_STREQ(table.translate(""), "");
    EXPECT_EQ(entries(table), "=");
    EXPECT_EQ(takeMessages(), "");
}

TEST(Translate, ATranslationMayBeTranslatedAgain)
{
    WatchedMemory memory;
    writeFile(sc_file, entryLine("a", "A translation"));
    StringTable table;
    table.setLanguage("french");
    const char* text = table.translate("a");
    EXPECT_STREQ(table.translate(text), text); // an entry of its own
    EXPECT_EQ(entries(table), "A translation=A translation, a=A translation");
}

// The message about a text that can't be added: its address in decimal, and not the text.
static std::string failure(const char* text)
{
    const unsigned int bits = static_cast<unsigned int>(reinterpret_cast<uintptr_t>(text));
    const long long address = bits - (bits >> 31 ? 1LL << 32 : 0); // the low 32 bits, with a sign
    return "3 Failed to insert translated string: ^CFFFF00" + std::to_string(address) + "^c\f";
}

TEST(Translate, GivesTheCallersTextBackWhenTheTableIsFull)
{
    WatchedMemory memory;
    StringTable table;
    for (int number = 0; number < 1024; ++number) {
        const std::string text = std::to_string(number);
        ASSERT_NE(table.translate(text.c_str()), text.c_str());
    }
    EXPECT_EQ(takeMessages(), "");
    const std::string text = "one more";
    for (int again = 0; again < 2; ++again) {
        EXPECT_EQ(table.translate(text.c_str()), text.c_str());
        EXPECT_EQ(takeMessages(), failure(text.c_str()));
    }
    EXPECT_STREQ(table.translate("1023"), "1023"); // the others are all there
    EXPECT_EQ(takeMessages(), "");
}

TEST(Translate, GivesATextOf128BytesBackAndAddsItEveryTime)
{
    WatchedMemory memory;
    StringTable table;
    const std::string longest(127, 'x');
    const std::string tooLong(128, 'y');
    EXPECT_NE(table.translate(longest.c_str()), longest.c_str());
    EXPECT_EQ(takeMessages(), "");
    EXPECT_EQ(table.translate(tooLong.c_str()), tooLong.c_str());
    EXPECT_EQ(table.translate(tooLong.c_str()), tooLong.c_str());
    EXPECT_EQ(takeMessages(), failure(tooLong.c_str()) + failure(tooLong.c_str()));
    const std::string entry = tooLong.substr(1) + "=" + tooLong;
    EXPECT_EQ(entries(table), longest + "=" + longest + ", " + entry + ", " + entry);
}

TEST(Translate, GivesNullForNull)
{
    WatchedMemory memory;
    StringTable table;
    EXPECT_EQ(table.translate(nullptr), nullptr);
    EXPECT_EQ(takeMessages(), "3 Failed to insert translated string: ^CFFFF000^c\f");
    EXPECT_EQ(entries(table), "");
}

// ---- Tables come and go

TEST(StringTable, StartsEmpty)
{
    WatchedMemory memory;
    StringTable table;
    EXPECT_EQ(m_loadedOf(table), 0);
    EXPECT_STREQ(m_spareOf(table), "");
    EXPECT_STREQ(m_languageOf(table), "");
    EXPECT_EQ(m_tableOf(table)->m_bucketCount, 1021u);
    EXPECT_EQ(m_tableOf(table)->m_pool->m_poolSize, 1024u);
    EXPECT_EQ(entries(table), "");
}

TEST(StringTable, IsLoadedOnceAFileWasOpened)
{
    WatchedMemory memory;
    StringTable table;
    table.setLanguage("french");
    EXPECT_EQ(m_loadedOf(table), 0);
    writeFile(sc_file, "no entries");
    table.setLanguage("french");
    EXPECT_EQ(m_loadedOf(table), 1);
    EXPECT_STREQ(m_spareOf(table), "");
}

TEST(StringTable, TheNewestObjectIsTheGlobalOneUntilAnyObjectEnds)
{
    WatchedMemory memory;
    EXPECT_EQ(g_stringTblPtr, nullptr);
    StringTable* first = new StringTable;
    EXPECT_EQ(g_stringTblPtr, first);
    StringTable* second = new StringTable;
    EXPECT_EQ(g_stringTblPtr, second);
    delete first;
    EXPECT_EQ(g_stringTblPtr, nullptr); // although another was the live one
    delete second;
    EXPECT_EQ(g_stringTblPtr, nullptr);
}

TEST(StringTable, LivesInBankZeroAndGivesAllOfItBack)
{
    WatchedMemory memory;
    StringTable* table = new StringTable;
    EXPECT_GE(memory.getSize(0, table), sizeof(StringTable));
    EXPECT_EQ(memory.linesInUse("core/stringtable"), "56");
    EXPECT_EQ(memory.linesInUse("core/hashtable"), "289 296 161");
    table->translate("a");
    table->translate("b");
    EXPECT_EQ(memory.linesInUse("core/stringtable"), "56 221 226 221 226");
    delete table;
    EXPECT_EQ(memory.check(0, true), 0);

    void* storage = memory.alloc(0, sizeof(StringTable), "game", 1);
    table = ::new (storage) StringTable;
    table->translate("a");
    delete table;
    EXPECT_EQ(memory.check(0, true), 0);
}

TEST(StringTable, ARecordThatFoundNoNodeIsNeverFreed)
{
    WatchedMemory memory;
    {
        StringTable table;
        for (int number = 0; number < 1025; ++number) {
            table.translate(std::to_string(number).c_str());
        }
    }
    EXPECT_EQ(memory.linesInUse("core/stringtable"), "221 226");
    EXPECT_EQ(memory.banks[0].usedNodeCount, 2u);
}

TEST(StringTable, IsSafeWithoutAMemoryManager)
{
    ASSERT_EQ(g_MemoryPtr, nullptr);
    writeFile(sc_file, entryLine("a", "A"));
    {
        StringTable table;
        EXPECT_EQ(g_stringTblPtr, &table);
        const char text[] = "a";
        EXPECT_EQ(table.translate(text), text);
        EXPECT_EQ(takeMessages(), failure(text));
        EXPECT_EQ(table.translate(nullptr), nullptr);
        takeMessages();
    }
    EXPECT_EQ(g_stringTblPtr, nullptr);
    EXPECT_EQ(readFile(sc_file), entryLine("a", "A")); // it had nothing to write in its place
    EXPECT_EQ(new StringTable, nullptr);
    EXPECT_EQ(g_stringTblPtr, nullptr);
}

TEST(StringTable, EndsSafelyWhenTheMemoryManagerIsGoneBefore)
{
    WatchedMemory memory;
    {
        StringTable table;
        table.translate("a");
        g_MemoryPtr = nullptr;
        table.translate("b");
        takeMessages();
    }
    g_MemoryPtr = &memory;
    EXPECT_EQ(readFile(sc_file), "");
}

#ifndef NDEBUG

// A build with assertions checks the rules of core/hashtable.h when the table ends.
TEST(StringTable, TheEndOfATableThatBreaksARuleEndsTheProcessWithTheRule)
{
    WatchedMemory memory;
    const auto end = [] {
        signal(SIGABRT, [](int) { _exit(3); });
        StringTable table;
        table.translate("a");
        m_tableOf(table)->m_pool->allocNode(); // is on no list
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(3), "a string table breaks a rule: hash table 1: ");
}

#endif

TEST(StringTable, HasAVirtualDestructor)
{
    EXPECT_TRUE(std::has_virtual_destructor<StringTable>::value);
    EXPECT_TRUE(std::is_polymorphic<StringTable>::value);
    EXPECT_FALSE(std::is_copy_constructible<StringTable>::value);
}
