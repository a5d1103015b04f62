// The program core-strings, as a shell runs it.
#include "core/platform.h"
#include "core/str.h"
#include "core/stringtable.h"
#include "core/version.h"

#include "tests/support/game_memory.h"
#include "tests/support/stringtable_access.h"
#include "tests/tools/core-strings/shell.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <vector>

// ---- The table of broken files

typedef std::vector<std::pair<std::string, std::string>> Entries;

// What the library makes of a file: the entries that a game finds, in the order of their keys.
static Entries readByGame(const std::string& path)
{
    std::filesystem::copy_file(path, "strings.utf8", std::filesystem::copy_options::overwrite_existing);
    GameMemory memory;
    memory.defineHeap("strings", 4 << 20);
    memory.initialize();
    Entries found;
    {
        StringTable table;
        table.setLanguage("");
        Entries all;
        HashTableIter_t<_StringTableNode_s> it;
        HashTable<_StringTableNode_s>& hashTable = *m_tableOf(table);
        const _StringTableNode_s* entry = hashTable.getFirstElement(it);
        for (; entry; entry = hashTable.getNextElement(it)) {
            all.push_back({it.key, entry->string});
        }
        const auto isLost = [&](const std::pair<std::string, std::string>& one) {
            return one.second != table.translate(one.first.c_str());
        };
        all.erase(std::remove_if(all.begin(), all.end(), isLost), all.end());
        found = all;
    }
    std::sort(found.begin(), found.end());
    return found;
}

// A byte of 0x80 or more is no UTF-8 when it stands alone.
static bool isAlone(const std::string& text, size_t at)
{
    const auto isHigh = [&](size_t place) {
        return place < text.size() && static_cast<unsigned char>(text[place]) >= 0x80;
    };
    return isHigh(at) && !isHigh(at + 1) && (at == 0 || !isHigh(at - 1));
}

static std::string shown(const std::string& text)
{
    std::string result;
    for (size_t at = 0; at < text.size(); ++at) {
        char code[8];
        snprintf(code, sizeof(code), "\\x%02X", static_cast<unsigned int>(static_cast<unsigned char>(text[at])));
        result += text[at] == '\n'    ? "\\n"
                  : text[at] == '\r'  ? "\\r"
                  : text[at] == '|'   ? "\\|"
                  : isAlone(text, at) ? code
                                      : std::string(1, text[at]);
    }
    return result;
}

static std::string shownEntries(const Entries& entries)
{
    if (entries.size() > 8) {
        return std::to_string(entries.size()) + " entries";
    }
    std::string text;
    for (const auto& entry : entries) {
        text += (text.empty() ? "`" : ", `") + shown(entry.first) + "` is `" + shown(entry.second) + "`";
    }
    return text.empty() ? "nothing" : text;
}

// The lines "FILE:1:2: error: what; instead [check]" of one file, as "1:2 error check".
static std::string shownFindings(const std::string& output, const std::string& file)
{
    std::string text;
    size_t begin = 0;
    for (size_t end; (end = output.find('\n', begin)) != std::string::npos; begin = end + 1) {
        const std::string line = output.substr(begin, end - begin);
        if (line.compare(0, file.size() + 1, file + ":") != 0) {
            continue;
        }
        const size_t place = file.size() + 1;
        const size_t severity = line.find(": ", place);
        const size_t what = line.find(": ", severity + 2);
        const size_t check = line.rfind('[');
        text += (text.empty() ? "" : ", ") + line.substr(place, severity - place) + " " +
                line.substr(severity + 2, what - severity - 2) + " " +
                line.substr(check + 1, line.size() - check - 2);
    }
    return text.empty() ? "nothing" : text;
}

TEST(CoreStringsCheck, SaysWhatTheGameMakesOfEachBrokenFileOfTheTable)
{
    const std::string table = readFile(BROKEN "/README.md");
    size_t count = 0;
    std::vector<std::filesystem::path> files;
    for (const auto& file : std::filesystem::directory_iterator(BROKEN)) {
        if (file.path().extension() == ".utf8") {
            files.push_back(file.path());
        }
    }
    std::sort(files.begin(), files.end());
    const std::string output = run("check '" BROKEN "'/*.utf8").output;
    for (const std::filesystem::path& file : files) {
        const std::string row = "| " + file.stem().string() + " | " + shownEntries(readByGame(file)) + " | " +
                                shownFindings(output, file.string()) + " |\n";
        EXPECT_TRUE(contains(table, row)) << "the table should have the row\n" << row;
        ++count;
    }
    EXPECT_GE(count, 30u);
    EXPECT_EQ(static_cast<size_t>(std::count(table.begin(), table.end(), '\n')), count + 6) << "a row for each file";
}

TEST(CoreStringsCheck, FindsNothingInTheTextsOfTheDemo)
{
    const Result result = run("check " LOCALE "/*/strings.utf8");
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.status, 0);
}

TEST(CoreStringsCheck, FindsNothingInTheFileThatAGameWrites)
{
    {
        GameMemory memory;
        memory.defineHeap("strings", 4 << 20);
        memory.initialize();
        StringTable table;
        for (const char* text :
             {"New Game", "", "say \"%s\"\n", "C:\\games\\%d", "100% sure", "it's ^CFF0000red^c", " blanks \t",
              "caf\xc3\xa9", "\xe2\x80\x9cyes\xe2\x80\x9d", "// no comment", "a = b"}) {
            table.translate(text);
        }
    }
    const Result result = run("check strings.utf8");
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.status, 0);
}

// ---- The forms of findings, and the exit status

static const char sc_broken[] = "\"New Game\"=\"Neues Spiel\"\n";

TEST(CoreStringsCheck, AFindingNamesFileLineColumnCauseAndRemedy)
{
    writeFile("a.utf8", sc_broken);
    const Result result = run("check a.utf8");
    EXPECT_EQ(result.output, "a.utf8:1:12: error: no space after the equals sign: the line is no entry; "
                             "write one space there [no-space-after-equals]\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.status, 1);
}

TEST(CoreStringsCheck, WritesJsonAndAnnotations)
{
    writeFile("a.utf8", sc_broken);
    const Result json = run("check --json a.utf8");
    EXPECT_EQ(json.output, "[\n  {\n    \"file\": \"a.utf8\",\n    \"line\": 1,\n    \"column\": 12,\n"
                           "    \"severity\": \"error\",\n"
                           "    \"what\": \"no space after the equals sign: the line is no entry\",\n"
                           "    \"instead\": \"write one space there\",\n"
                           "    \"check\": \"no-space-after-equals\"\n  }\n]\n");
    EXPECT_EQ(json.status, 1);
    EXPECT_EQ(run("check --github a.utf8").output,
              "::error file=a.utf8,line=1,col=12,title=no-space-after-equals::"
              "no space after the equals sign: the line is no entry; write one space there\n");
    writeFile("b.utf8", "");
    EXPECT_EQ(run("check --json b.utf8").output, "[]\n");
}

TEST(CoreStringsCheck, ReadsTheStandardInput)
{
    writeFile("a.utf8", sc_broken);
    EXPECT_EQ(run("check - <a.utf8").output.substr(0, 23), "(standard input):1:12: ");
}

TEST(CoreStringsCheck, TheStatusSays2ForAWrongCommandLineAnd3ForAFileThatCannotBeRead)
{
    EXPECT_EQ(run("").status, 2);
    EXPECT_EQ(run("examine a.utf8").status, 2);
    EXPECT_EQ(run("check").status, 2);
    EXPECT_EQ(run("check --json --github a.utf8").status, 2);
    const Result missing = run("check missing.utf8");
    EXPECT_EQ(missing.status, 3);
    EXPECT_EQ(missing.errors, "core-strings: missing.utf8: No such file or directory\n");
    EXPECT_EQ(run("--help").status, 0);
    EXPECT_TRUE(contains(run("--version").output, "core-strings " CORE_VERSION));
}

TEST(CoreStringsCheck, WarnsOfAPathThatIsTooLongForAGame)
{
    const std::string folder = std::string(100, 'a') + "/" + std::string(20, 'b');
    std::filesystem::create_directories(folder);
    writeFile(folder + "/strings.utf8", "\"a\" = \"b\"\n");
    EXPECT_TRUE(contains(run("check " + folder + "/strings.utf8").output, "[path-too-long]"));
}

TEST(CoreStringsCheck, FindsUnchangedTranslationsOnlyWhenAsked)
{
    writeFile("a.utf8", "\"Ok\" = \"Ok\"\n");
    EXPECT_EQ(run("check a.utf8").status, 0);
    EXPECT_TRUE(contains(run("check --unchanged a.utf8").output, "a.utf8:1:8: warning: "));
}

TEST(CoreStringsCheck, ComparesTheKeysOfTwoLanguages)
{
    writeFile("de.utf8", "\"Quit\" = \"Beenden\"\n\"Store\" = \"Laden\"\n");
    writeFile("fr.utf8", "\"Load\" = \"Charger\"\n\"QUIT\" = \"Quitter\"\n");
    const Result result = run("check --with fr.utf8 de.utf8");
    EXPECT_EQ(result.output,
              "de.utf8:2:1: warning: fr.utf8 has no entry \"Store\"; remove the entry, or correct its key "
              "[key-not-in-reference]\n"
              "fr.utf8:1:1: warning: de.utf8 has no entry \"Load\"; add a translation [key-missing]\n");
    EXPECT_EQ(result.status, 1);
}

// ---- Commands that write

TEST(CoreStringsFormat, GivesEntriesOneFormAndKeepsOrderCommentsAndLineEnds)
{
    writeFile("a.utf8",
              "\xEF\xBB\xBF  // Menu  \r\n\r\n\r\n\t\"Quit\"   =   \"Sag 'Nein'\" ;\r\n\"Load\" = \"Laden\" // x");
    EXPECT_EQ(run("format --check a.utf8").status, 1);
    const Result result = run("format a.utf8");
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(readFile("a.utf8"),
              "\xEF\xBB\xBF// Menu\r\n\r\n\"Quit\" = \"Sag \\'Nein\\'\"\r\n\"Load\" = \"Laden\"\r\n");
    EXPECT_EQ(run("format --check a.utf8").status, 0);
    EXPECT_EQ(run("format --sort - <a.utf8").output,
              "\xEF\xBB\xBF// Menu\r\n\r\n\"Load\" = \"Laden\"\r\n\"Quit\" = \"Sag \\'Nein\\'\"\r\n");
}

TEST(CoreStringsFormat, RefusesAFileWhoseTextsWouldGetLost)
{
    writeFile("a.utf8", sc_broken);
    const Result result = run("format a.utf8");
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(contains(result.errors, "a.utf8:1:12: error"));
    EXPECT_EQ(readFile("a.utf8"), sc_broken);
}

TEST(CoreStringsFormat, ReplacesAFileAsAWholeOrNotAtAll)
{
    std::filesystem::create_directory("folder");
    writeFile("folder/a.utf8", " \"a\" = \"b\"\n");
    chmod("folder/a.utf8", 0640);
    std::filesystem::create_symlink("folder/a.utf8", "link.utf8");
    EXPECT_EQ(run("format link.utf8").status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink("link.utf8"));
    EXPECT_EQ(readFile("folder/a.utf8"), "\"a\" = \"b\"\n");
    struct stat status;
    stat("folder/a.utf8", &status);
    EXPECT_EQ(status.st_mode & 0777u, 0640u);
    EXPECT_EQ(run("pseudo folder/a.utf8 -o missing/a.utf8").status, 3);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("folder"), {}), 1) << "no temporary file is left";
    EXPECT_EQ(run("pseudo folder/a.utf8 -o /dev/full").status, 3);
}

TEST(CoreStringsFormat, TheAppleFormIsTheSameForAGame)
{
    writeFile("a.utf8", readFile(LOCALE "/ru/strings.utf8"));
    const Entries before = readByGame("a.utf8");
    EXPECT_EQ(run("format --apple a.utf8").status, 0);
    EXPECT_TRUE(contains(readFile("a.utf8"), "\";\r\n"));
    EXPECT_EQ(readByGame("a.utf8"), before);
    EXPECT_EQ(run("check a.utf8").status, 0);
}

TEST(CoreStringsFormat, GettextReadsTheAppleForm)
{
    if (!hasProgram("msgcat")) {
        GTEST_SKIP() << "gettext is not installed";
    }
    writeFile("a.utf8", readFile(LOCALE "/de/strings.utf8"));
    ASSERT_EQ(run("format --apple a.utf8").status, 0);
    const Result result = runShell("msgcat --stringtable-input a.utf8 -o a.po && grep -c '^msgid' a.po; grep -c "
                                   "'msgstr \"Bogenschütze\"' a.po");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, std::to_string(readByGame("a.utf8").size() + 1) + "\n1\n") << "all entries and a header";
}

TEST(CoreStringsFormat, GnustepReadsTheAppleForm)
{
    if (!hasProgram("pl")) {
        GTEST_SKIP() << "GNUstep's property lists are not installed";
    }
    writeFile("a.utf8", readFile(LOCALE "/de/strings.utf8"));
    ASSERT_EQ(run("format --apple a.utf8").status, 0);
    const Result result = runShell("{ echo '{'; tail -c +4 a.utf8 | sed '/^\\/\\//d'; echo '}'; } | pl");
    EXPECT_TRUE(contains(result.output, "\"width of the window, in pixels\" = \"Breite des Fensters, in Pixeln\";"));
}

TEST(CoreStringsFormat, TheAppleFormIsTakenBack)
{
    writeFile("a.utf8", "// Men\xc3\xbc\n\"a\" = \"\xc3\xa4\"\n");
    ASSERT_EQ(run("format --apple a.utf8").status, 0);
    EXPECT_EQ(readFile("a.utf8"), "\xEF\xBB\xBF\"\"=\"Content-Type: text/plain; charset=UTF-8\\n\";\n"
                                  "// Men\xc3\xbc\n\"a\" = \"\xc3\xa4\";\n");
    EXPECT_EQ(run("format a.utf8").status, 0);
    EXPECT_EQ(readFile("a.utf8"), "\xEF\xBB\xBF// Men\xc3\xbc\n\"a\" = \"\xc3\xa4\"\n");
}

TEST(CoreStringsStats, CountsEntriesByState)
{
    writeFile("a.utf8", "\"a b\" = \"x\"\n\"c\" = \"c\"\n//? \"d\" = \"y\"\n//? \"e\" = \"\"\n//~ \"f\" = \"z\"\n");
    EXPECT_EQ(run("stats a.utf8").output,
              "file    entries  translated  unchanged  proposed  untranslated  obsolete   words\n"
              "a.utf8        4           1          1         1             1         1       5   50.0 %\n");
    EXPECT_EQ(run("stats --json a.utf8").output,
              "[\n  {\"file\": \"a.utf8\", \"entries\": 4, \"translated\": 1, \"unchanged\": 1, \"proposed\": 1, "
              "\"untranslated\": 1, \"obsolete\": 1, \"words\": 5}\n]\n");
}

TEST(CoreStringsPseudo, AccentsLengthensAndBracketsAndKeepsConversionsAndColours)
{
    writeFile("a.utf8", "\"Save %d of %s\\n\" = \"x\"\n\" ^CFF0000Stop^c\" = \"y\"\n\"\" = \"\"\n");
    const Result result = run("pseudo a.utf8 -o b.utf8");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(readFile("b.utf8"), "\"Save %d of %s\\n\" = \"[Šáṽé %d óƒ %s~~]\\n\"\n"
                                  "\" ^CFF0000Stop^c\" = \" [^CFF0000Šţóþ^c~~]\"\n\"\" = \"\"\n");
    EXPECT_EQ(run("check b.utf8").output, "");
}

TEST(CoreStringsMerge, NewTextsBecomeProposalsAndUnusedOnesAreMarked)
{
    writeFile("de.utf8",
              "// Das Men\xc3\xbc\n\"Quit\" = \"Beenden\"\n\n// Laden\n\"Load the game\" = \"Spiel laden\"\n"
              "\"Gone\" = \"Weg\"\n//~ \"Back\" = \"Zur\xc3\xbc"
              "ck\"\n");
    writeFile("new.utf8", "//: src/menu.cpp:12\n\"quit\" = \"quit\"\n\"Load a game\" = \"Load a game\"\n"
                          "\"Back\" = \"Back\"\n\"Help\" = \"Help\"\n");
    const Result result = run("merge de.utf8 new.utf8");
    EXPECT_EQ(result.output, "2 kept, 2 new (1 with a proposal), 2 no longer used\n");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(readFile("de.utf8"), "// Das Men\xc3\xbc\n//: src/menu.cpp:12\n\"Quit\" = \"Beenden\"\n"
                                   "//| \"Load the game\"\n//? \"Load a game\" = \"Spiel laden\"\n"
                                   "\"Back\" = \"Zur\xc3\xbc"
                                   "ck\"\n//? \"Help\" = \"\"\n"
                                   "\n// Laden\n//~ \"Load the game\" = \"Spiel laden\"\n//~ \"Gone\" = \"Weg\"\n");
    EXPECT_EQ(run("check de.utf8").output, "");
}

TEST(CoreStringsMerge, DropsUnusedTextsAndProposesNothingWhenAsked)
{
    writeFile("de.utf8", "\"Load the game\" = \"Spiel laden\"\n");
    writeFile("new.utf8", "\"Load a game\" = \"Load a game\"\n");
    EXPECT_EQ(run("merge de.utf8 new.utf8 --drop-unused --no-proposals -o out.utf8").status, 0);
    EXPECT_EQ(readFile("out.utf8"), "//? \"Load a game\" = \"\"\n");
    EXPECT_EQ(readFile("de.utf8"), "\"Load the game\" = \"Spiel laden\"\n");
}

// ---- PO files

static const char sc_full[] = "// Die Texte der Demo.\n"
                              "//\n"
                              "// Zweiter Absatz\n"
                              "//@ Project-Id-Version: demo 1.0\n"
                              "//@ Report-Msgid-Bugs-To: texts@studio.example.net\n"
                              "//@ POT-Creation-Date: 2026-11-20 10:00+0000\n"
                              "//@ PO-Revision-Date: 2026-11-21 10:00+0000\n"
                              "//@ Last-Translator: Anna <anna@studio.example.net>\n"
                              "//@ Language-Team: German <de@studio.example.net>\n"
                              "//@ Language: de\n"
                              "\n"
                              "// Das Menü\n"
                              "\n"
                              "//. shown at the top\n"
                              "//: src/menu.cpp:12\n"
                              "//: src/title.cpp:3\n"
                              "\"New Game\" = \"Neues Spiel\"\n"
                              "//ohne Leerzeichen\n"
                              "\"%d of %s\\n\" = \"%d von \\\"%s\\\"\\n\"\n"
                              "//| \"Load the game\"\n"
                              "//? \"Load a game\" = \"Spiel laden\"\n"
                              "//? \"Help\" = \"\"\n"
                              "//~ \"Gone\" = \"Weg\"\n";

TEST(CoreStringsPo, AStringsFileComesBackByteForByte)
{
    writeFile("de.utf8", sc_full);
    EXPECT_EQ(run("format --check de.utf8").output, "");
    const Result to = run("po de.utf8 -o de.po");
    EXPECT_EQ(to.errors, "");
    EXPECT_EQ(to.status, 0);
    const Result from = run("from-po de.po");
    EXPECT_EQ(from.output, sc_full);
    EXPECT_EQ(from.status, 0);
    EXPECT_EQ(runShell("'" PROGRAM "' from-po de.po | '" PROGRAM "' po - | cmp - de.po").output, "");
    for (const char* language : {"de", "fr", "ru"}) {
        writeFile("a.utf8", readFile(LOCALE "/" + std::string(language) + "/strings.utf8"));
        ASSERT_EQ(run("format a.utf8").status, 0);
        const std::string before = readFile("a.utf8");
        EXPECT_EQ(run("po a.utf8 -o a.po").status, 0);
        EXPECT_EQ(run("from-po a.po -o a.utf8").status, 0);
        EXPECT_EQ(readFile("a.utf8"), before) << language;
    }
}

TEST(CoreStringsPo, ATemplateHasNoTranslations)
{
    writeFile("de.utf8", sc_full);
    EXPECT_EQ(run("po --template de.utf8 -o demo.pot").status, 0);
    const std::string pot = readFile("demo.pot");
    EXPECT_FALSE(contains(pot, "Spiel"));
    EXPECT_FALSE(contains(pot, "Gone"));
    EXPECT_TRUE(contains(pot, "#. shown at the top\n#: src/menu.cpp:12 src/title.cpp:3\nmsgid \"New Game\"\n"
                              "msgstr \"\"\n"));
}

TEST(CoreStringsPo, SaysWhatAPoFileCannotHold)
{
    writeFile("de.utf8", "\"\" = \"x\"\n\"a\" = \"\"\n\"b\" = \"c\"\n\"b\" = \"c\"\n// the end\n");
    const Result result = run("po de.utf8 -o de.po");
    EXPECT_EQ(result.status, 1);
    for (const char* part : {"de.utf8:1:1: warning: a PO file cannot hold an entry with an empty key",
                             "[po-empty-translation]", "de.utf8:4:1: ", "[po-key-twice]", "[po-comment]"}) {
        EXPECT_TRUE(contains(result.errors, part)) << part << "\n" << result.errors;
    }
}

TEST(CoreStringsPo, SaysWhatAStringsFileCannotHold)
{
    writeFile("de.po",
              "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n\n"
              "msgctxt \"menu\"\nmsgid \"a\"\nmsgstr \"b\"\n\n"
              "msgid \"%d unit\"\nmsgid_plural \"%d units\"\nmsgstr[0] \"%d Einheit\"\nmsgstr[1] \"%d Einheiten\"\n\n"
              "msgid \"C:\\\\\"\nmsgstr \"D\"\n");
    const Result result = run("from-po de.po");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output,
              "//@ Content-Type: text/plain; charset=UTF-8\n\n\"a\" = \"b\"\n\"%d unit\" = \"%d Einheit\"\n");
    for (const char* part : {"[po-context]", "[po-plural]", "[backslash-at-end]"}) {
        EXPECT_TRUE(contains(result.errors, part)) << part << "\n" << result.errors;
    }
}

TEST(CoreStringsPo, RefusesWhatIsNoPoFile)
{
    writeFile("a.po", "msgid \"a\nmsgstr\n");
    EXPECT_EQ(run("from-po a.po").status, 2);
    writeFile(
        "b.po",
        "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=ISO-8859-1\\n\"\n\nmsgid \"a\"\nmsgstr \"\xdf\"\n");
    const Result result = run("from-po b.po");
    EXPECT_EQ(result.status, 2);
    EXPECT_TRUE(contains(result.errors, "msgconv -t UTF-8")) << result.errors;
    std::string many;
    for (int line = 0; line < 50; ++line) {
        many += "msgid msgid\n";
    }
    writeFile("c.po", many);
    EXPECT_EQ(run("from-po c.po").status, 2);
    EXPECT_EQ(run("from-po missing.po").status, 3);
}

TEST(CoreStringsPo, GettextsProgramsReadTheFiles)
{
    if (!hasProgram("msgfmt")) {
        GTEST_SKIP() << "gettext is not installed";
    }
    writeFile("de.utf8", sc_full);
    ASSERT_EQ(run("po de.utf8 -o de.po").status, 0);
    ASSERT_EQ(run("po --template de.utf8 -o demo.pot").status, 0);
    const Result format = runShell("msgfmt -c -o de.mo de.po");
    EXPECT_EQ(format.status, 0);
    EXPECT_EQ(format.errors, "") << "no warning of a missing field either";
    EXPECT_EQ(
        runShell("msgcat --no-wrap de.po -o again.po && msgcmp --use-untranslated --use-fuzzy again.po demo.pot")
            .errors,
        "");
    ASSERT_EQ(runShell("msgmerge -q de.po demo.pot -o merged.po").status, 0);
    ASSERT_EQ(run("from-po merged.po -o merged.utf8").status, 0);
    EXPECT_EQ(readByGame("merged.utf8"), readByGame("de.utf8"));
}

TEST(CoreStringsPo, ProgramsOfTranslatorsReadTheFiles)
{
    if (!hasProgram("pofilter") || !hasProgram("pocount") || !hasProgram("i18nspector")) {
        GTEST_SKIP() << "translate-toolkit and i18nspector are not installed";
    }
    writeFile("de.utf8", sc_full);
    ASSERT_EQ(run("po de.utf8 -o de.po").status, 0);
    const Result filter = runShell("pofilter --progress=none -t printf -t newlines -t variables de.po filtered.po");
    EXPECT_EQ(filter.status, 0);
    EXPECT_FALSE(std::filesystem::exists("filtered.po")) << readFile("filtered.po");
    EXPECT_TRUE(contains(runShell("pocount --csv de.po").output, "de.po"));
    EXPECT_FALSE(contains(runShell("i18nspector de.po").output, "E: ")) << readFile("output");
    writeFile("a.utf8", readFile(LOCALE "/de/strings.utf8"));
    ASSERT_EQ(run("format --apple a.utf8").status, 0);
    runShell(
        "cp a.utf8 a.strings && prop2po --encoding=utf-8 --personality=strings-utf8 --progress=none a.strings a.po");
    EXPECT_TRUE(contains(readFile("a.po"), "msgid \"Bogensch\xc3\xbctze\"")) << "it reads the form with semicolons";
}
