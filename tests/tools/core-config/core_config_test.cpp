// The program core-config and its checks.
//
// broken/README.md is a table of broken files: what the library makes of each, and what the tool says about it.
#include "tools/core-config/check.h"
#include "tools/core-config/diff.h"

#include "tests/support/shell.h"
#include "tests/support/terminal.h"
#include "tests/tools/core-config/game_reading.h"
#include "tests/tools/core-config/random_config.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <stdlib.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

static const std::string sc_broken = BROKEN_FILES;

// arguments are words of a shell.
static Result run(const std::string& arguments)
{
    return runShell("'" PROGRAM "' " + arguments);
}

static config::CheckOptions optionsFor(const std::string& path)
{
    config::CheckOptions options;
    options.isIni = std::filesystem::path(path).extension() == ".ini";
    return options;
}

// Returns "1:9 error no-space-around-equals", a line for each finding.
static std::string findingsOf(const std::string& bytes, const config::CheckOptions& options)
{
    std::string text;
    for (const Finding& finding : config::findingsOf("", bytes, config::checkText(bytes, options))) {
        text += std::to_string(finding.line) + ':' + std::to_string(finding.column) +
                (finding.isError ? " error " : " warning ") + finding.check + '\n';
    }
    return text;
}

// ---- The table

static const size_t sc_longestCell = 120; // bytes of what the library reads

static std::vector<std::string> cellsOf(const std::string& row)
{
    std::vector<std::string> cells;
    for (size_t begin = 2; begin < row.size();) {
        const size_t end = row.find(" |", begin);
        cells.push_back(row.substr(begin, end - begin));
        begin = end == std::string::npos ? row.size() : end + 3;
    }
    return cells;
}

// The rows of broken/README.md, by the name of the file.
static std::map<std::string, std::vector<std::string>> tableRows()
{
    std::map<std::string, std::vector<std::string>> rows;
    std::istringstream page(readFile(sc_broken + "/README.md"));
    for (std::string line; std::getline(page, line);) {
        if (line.compare(0, 3, "| `") == 0) {
            const std::vector<std::string> cells = cellsOf(line);
            rows[cells[0].substr(1, cells[0].size() - 2)] = cells;
        }
    }
    return rows;
}

static std::vector<std::string> brokenFiles()
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(sc_broken)) {
        const std::string extension = entry.path().extension().string();
        if (extension == ".txt" || extension == ".ini") {
            names.push_back(entry.path().filename().string());
        }
    }
    return names;
}

// A text without the characters that end a cell or a line, and without bytes that are no ASCII.
static std::string asCell(const std::string& text)
{
    std::string cell;
    for (const char letter : text) {
        const unsigned char byte = static_cast<unsigned char>(letter);
        char code[8];
        snprintf(code, sizeof(code), "\\x%02X", byte);
        const bool isPlain = byte >= ' ' && byte < 0x7f && letter != '|';
        cell += letter == '\n' ? "<br>" : isPlain ? std::string(1, letter) : std::string(code);
    }
    return cell;
}

TEST(CoreConfigTable, TheLibraryMakesOfEachBrokenFileWhatTheTableSays)
{
    auto rows = tableRows();
    for (const std::string& name : brokenFiles()) {
        const std::string path = sc_broken + '/' + name;
        const std::string bytes = readFile(path);
        const std::string read = optionsFor(name).isIni ? iniAsRead(path, bytes) : configAsRead(bytes);
        ASSERT_EQ(rows[name].size(), 4u) << name;
        EXPECT_EQ("`" + asCell(read.substr(0, sc_longestCell)) + "`", rows[name][2]) << name;
    }
}

TEST(CoreConfigTable, TheToolSaysOfEachBrokenFileWhatTheTableSays)
{
    auto rows = tableRows();
    for (const std::string& name : brokenFiles()) {
        const std::string found = findingsOf(readFile(sc_broken + '/' + name), optionsFor(name));
        ASSERT_EQ(rows[name].size(), 4u) << name;
        EXPECT_EQ(asCell(found.substr(0, found.size() - 1)), rows[name][3]) << name;
    }
}

TEST(CoreConfigTable, HasARowForEachFileAndAFileForEachRow)
{
    EXPECT_EQ(tableRows().size(), brokenFiles().size());
    EXPECT_GE(brokenFiles().size(), 30u);
}

// Returns the words of small letters, digits and hyphens that the text has between these marks.
static std::set<std::string> namesBetween(const std::string& text, const std::string& before,
                                          const std::string& after)
{
    std::set<std::string> names;
    for (size_t at = text.find(before); at != std::string::npos; at = text.find(before, at + 1)) {
        const size_t begin = at + before.size();
        const size_t end = text.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-", begin);
        if (end != std::string::npos && end > begin && text.compare(end, after.size(), after) == 0) {
            names.insert(text.substr(begin, end - begin));
        }
    }
    return names;
}

TEST(CoreConfigTable, AndThePageExplainEachCheckOfTheSources)
{
    std::string findings;
    for (const std::string& name : brokenFiles()) {
        findings += findingsOf(readFile(sc_broken + '/' + name), optionsFor(name));
    }
    const std::string text = readFile(CHECKS_PAGE);
    const std::set<std::string> page = namesBetween(text.substr(text.find("## The checks")), "\n| `", "` |");
    EXPECT_GT(page.size(), 40u);
    for (const std::string& name : namesBetween(findings, "error ", "\n")) {
        EXPECT_EQ(page.count(name), 1u) << name;
    }
    std::set<std::string> sources;
    for (const auto& entry : std::filesystem::directory_iterator(TOOL_SOURCES)) {
        if (entry.path().extension() == ".cpp") {
            sources.merge(namesBetween(readFile(entry.path().string()), "\"", "\""));
        }
    }
    for (const std::string& name : sources) { // a name of one word can be another text
        const bool isSwitch = name.front() == '-' || name.back() == '-';
        EXPECT_TRUE(isSwitch || page.count(name) == 1 || name.find('-') == std::string::npos ||
                    name == "core-config" || name == "one-of")
            << name;
    }
    for (const std::string& name : page) {
        EXPECT_EQ(sources.count(name), 1u) << name;
    }
}

// ---- Correct files

TEST(CoreConfig, FindsNothingInTheFilesOfTheDemo)
{
    const std::string game = DEMO_GAME;
    for (const char* name : {"shapes.txt", "grounds.txt", "units.txt", "levels.txt", "banks.txt", "demo.ini"}) {
        const std::string bytes = readFile(game + '/' + name);
        EXPECT_GT(bytes.size(), 100u);
        EXPECT_EQ(findingsOf(bytes, optionsFor(name)), "") << name;
    }
}

// CONFIG_FILES sets the number of files; ./run soak does.
static int fileCount()
{
    const char* count = getenv("CONFIG_FILES");
    return count ? atoi(count) : 2000;
}

TEST(CoreConfigRandom, NothingIsFoundInCorrectConfigFilesAndTheLibraryReadsAllOfThem)
{
    for (int seed = 0; seed < fileCount(); ++seed) {
        const RandomConfig file(static_cast<unsigned int>(seed));
        ASSERT_EQ(findingsOf(file.bytes, {}), "") << "seed " << seed << '\n' << file.bytes;
        ASSERT_EQ(configAsRead(file.bytes), file.read) << "seed " << seed << '\n' << file.bytes;
    }
}

TEST(CoreConfigRandom, NothingIsFoundInCorrectPreferencesFilesAndTheLibraryReadsAllOfThem)
{
    config::CheckOptions options;
    options.isIni = true;
    for (int seed = 0; seed < fileCount() / 4; ++seed) {
        const RandomIni file(static_cast<unsigned int>(seed));
        ASSERT_EQ(findingsOf(file.bytes, options), "") << "seed " << seed << '\n' << file.bytes;
        writeFile("random.ini", file.bytes);
        ASSERT_EQ(iniAsRead("random.ini", file.bytes), file.read) << "seed " << seed << '\n' << file.bytes;
    }
}

// ---- Repairs

TEST(CoreConfigFix, LeavesNoFaultThatItCanRepairInABrokenFile)
{
    for (const std::string& name : brokenFiles()) {
        const std::string repaired = config::repairText(readFile(sc_broken + '/' + name), optionsFor(name));
        for (const config::Fault& fault : config::checkText(repaired, optionsFor(name))) {
            EXPECT_TRUE(fault.edits.empty()) << name << ": " << fault.check;
        }
    }
}

TEST(CoreConfigFix, RepairsWhatHasOneRightAnswer)
{
    static const struct {
        const char* name;
        const char* repaired;
    } sc_cases[] = {
        {"no-spaces.txt", "gravity = 9.81\r\nwidth = 640\r\nheight = 480\r\nspeed = 1.5\r\n"},
        {"tabs.txt", "width = 640\r\nheight = 480\r\ndepth = 32\r\nflag = true \r\n\tspeed = 1.5\r\n"},
        {"mixed-line-ends.txt", "width = 640\r\nheight = 480\r\ndepth = 32\r\nspeed = 1.5\r\n"},
        {"empty-lines-two.txt", "width = 640\n\nheight = 480\ndepth = 32\nspeed = 1.5\n"},
        {"returns.txt", "width = 640\r\nheight = 480\r\n"},
        {"returns-two.txt", "12\r\n345\r\n"},
        {"value-lines.txt", "12\r\n345\r\n6\r\n"},
        {"byte-order-mark.txt", "width = 640\r\nheight = 480\r\n"},
        {"quote-typographic.txt", "title = \"Footman\"\r\nhealth =  30\r\nname = \"recruit\"\r\n"},
        {"blanks.ini", "[Video]\r\nwidth=640\r\nheight=480\r\ndepth=32\r\ntitle= Core\r\nlevel=3\r\n"},
        {"last-line.ini", "[Video]\r\nwidth=640\r\nfullscreen=1\r\n"},
        {"sections.ini", "top=1\r\n[Video]\r\nwidth=640\r\n[Sound]\r\nvolume=7\r\n[Keys]\r\njump=32\r\n"},
    };
    for (const auto& row : sc_cases) {
        EXPECT_EQ(config::repairText(readFile(sc_broken + '/' + row.name), optionsFor(row.name)), row.repaired)
            << row.name;
    }
}

TEST(CoreConfigFix, LeavesFilesWithoutRepairsAsTheyAre)
{
    for (const char* name : {"line-feeds.txt", "number-comma.txt", "escapes.txt", "brace-open.txt", "quote-open.txt",
                             "no-value.txt", "utf-16.txt", "twice.ini"}) {
        const std::string bytes = readFile(sc_broken + '/' + name);
        EXPECT_EQ(config::repairText(bytes, optionsFor(name)), bytes) << name;
    }
}

TEST(CoreConfigFix, EndsAllLinesWithCarriageReturnAndLineFeedOnlyWhenAsked)
{
    config::CheckOptions options;
    options.wantsCarriageReturns = true;
    EXPECT_EQ(config::repairText("a = 1\n\n\nb = 2\n", options), "a = 1\r\n\r\n\r\nb = 2\r\n");
    EXPECT_EQ(config::repairText("a = 1\n\n\nb = 2\nc = 3\n", {}), "a = 1\n\nb = 2\nc = 3\n");
}

// ---- Diffs

// Applies a unified diff, and fails if a line of it does not agree with the text.
static std::string patched(const std::string& before, const std::string& diff)
{
    std::istringstream lines(diff);
    std::string result;
    std::string line;
    size_t read = 0;
    const auto restOf = [&](size_t begin) { return before.substr(begin, before.find('\n', begin) + 1 - begin); };
    size_t number = 1;
    for (int head = 0; head < 2; ++head) {
        std::getline(lines, line);
    }
    while (std::getline(lines, line)) {
        if (line[0] == '@') {
            const size_t first = static_cast<size_t>(atoi(line.c_str() + 4));
            const bool isInsertion = line.find(",0 +") != std::string::npos;
            while (number < first + isInsertion) {
                result += restOf(read);
                read += restOf(read).size();
                ++number;
            }
            continue;
        }
        if (line[0] == '\\') {
            result.erase(result.size() - (lines.peek() == '+' ? 0 : 1));
            continue;
        }
        const std::string text = line.substr(1) + '\n';
        if (line[0] != '+') {
            EXPECT_EQ(restOf(read), text.substr(0, restOf(read).size()));
            read += restOf(read).size();
            ++number;
        }
        if (line[0] != '-') {
            result += text;
        }
    }
    return result + before.substr(read);
}

TEST(CoreConfigDiff, TurnsTheOldTextIntoTheNewOne)
{
    std::mt19937 random(1);
    for (int round = 0; round < 1000; ++round) {
        std::string before;
        std::string after;
        for (unsigned int line = random() % 60; line > 0; --line) {
            const std::string text = "line " + std::to_string(random() % 8) + '\n';
            const unsigned int kind = random() % 12;
            before += kind == 1 ? "" : text;
            after += kind == 0 ? "" : kind == 2 ? "other " + text : text;
        }
        const std::string diff = config::unifiedDiff("file", before, after);
        ASSERT_EQ(patched(before, diff), after) << diff;
        ASSERT_EQ(diff.empty(), before == after);
    }
}

TEST(CoreConfigDiff, SaysThatTheLastLineHasNoLineFeed)
{
    EXPECT_EQ(config::unifiedDiff("a", "x", "x\n"),
              "--- a\n+++ a\n@@ -1 +1 @@\n-x\n\\ No newline at end of file\n+x\n");
}

// ---- The program

TEST(CoreConfigProgram, PrintsFindingsThatEditorsJumpTo)
{
    writeFile("units.txt", "health = 30\r\nspeed=9,81\r\n");
    const Result result = run("check units.txt");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output,
              "units.txt:2:6: error: without a space on each side of \"=\", the game takes \"speed=9,81\" for "
              "one word; write \"name = value\" with single spaces [no-space-around-equals]\n");
    EXPECT_EQ(result.errors, "");
}

TEST(CoreConfigProgram, EndsWithAStatusThatTellsWhatHappened)
{
    writeFile("fine.txt", "health = 30\r\n");
    writeFile("broken.txt", "health=30\r\n");
    EXPECT_EQ(run("check fine.txt").status, 0);
    EXPECT_EQ(run("check fine.txt broken.txt").status, 1);
    EXPECT_EQ(run("check --unknown fine.txt").status, 2);
    EXPECT_EQ(run("check").status, 2);
    EXPECT_EQ(run("").status, 2);
    EXPECT_EQ(run("check missing.txt broken.txt").status, 3);
    EXPECT_EQ(WEXITSTATUS(system("'" PROGRAM "' check broken.txt >/dev/full 2>errors")), 3);
    EXPECT_EQ(run("--help").status, 0);
    EXPECT_EQ(run("check --help").status, 0);
    EXPECT_EQ(run("--version").status, 0);
}

TEST(CoreConfigProgram, ReadsTheStandardInput)
{
    writeFile("broken.ini", "[Video]\nwidth = 640\n");
    const Result result = run("check --ini - <broken.ini");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output.substr(0, 12), "-:2:1: error");
}

TEST(CoreConfigProgram, TakesAFileForAPreferencesFileByItsName)
{
    writeFile("game.ini", "[Video]\nwidth=640\n");
    EXPECT_EQ(run("check game.ini").status, 0);
    EXPECT_EQ(run("check - <game.ini").status, 1);
    EXPECT_EQ(run("check --ini - <game.ini").status, 0);
}

TEST(CoreConfigProgram, WritesJsonAndAnnotations)
{
    writeFile("broken.txt", "health=30\r\n");
    EXPECT_NE(run("check --json broken.txt").output.find("\"check\": \"no-space-around-equals\""), std::string::npos);
    EXPECT_EQ(run("check --github broken.txt").output.substr(0, 42), "::error file=broken.txt,line=1,col=7,title");
    EXPECT_EQ(run("check --json --github broken.txt").status, 2);
}

TEST(CoreConfigProgram, ShowsRepairsAsADiffAndReplacesTheFile)
{
    const std::string diff =
        "--- broken.txt\n+++ broken.txt\n@@ -1,2 +1,2 @@\n-health=30\r\n+health = 30\r\n speed = 1\r\n";
    writeFile("broken.txt", "health=30\r\nspeed = 1\r\n");
    chmod("broken.txt", 0640);
    EXPECT_EQ(run("check --fix --dry-run broken.txt").output.substr(0, diff.size()), diff);
    EXPECT_EQ(readFile("broken.txt"), "health=30\r\nspeed = 1\r\n");
    const Result result = run("check --fix broken.txt");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, diff);
    EXPECT_EQ(readFile("broken.txt"), "health = 30\r\nspeed = 1\r\n");
    EXPECT_EQ(std::filesystem::status("broken.txt").permissions(), std::filesystem::perms(0640));
}

TEST(CoreConfigProgram, WritesTheRepairedStandardInputToTheStandardOutput)
{
    writeFile("broken.txt", "health=30\r\nspeed = 9,81\r\n");
    const Result result = run("check --fix - <broken.txt");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "health = 30\r\nspeed = 9,81\r\n");
    EXPECT_NE(result.errors.find("-:2:9: error"), std::string::npos);
}

TEST(CoreConfigProgram, LeavesAFileUnchangedWhenItsRepairCannotBeWritten)
{
    writeFile("broken.txt", "health=30\r\n");
    const int status = system("trap '' XFSZ; ulimit -f 0; '" PROGRAM "' check --fix broken.txt >/dev/null 2>&1");
    EXPECT_EQ(WEXITSTATUS(status), 3);
    EXPECT_EQ(readFile("broken.txt"), "health=30\r\n");
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
        const std::string name = entry.path().filename().string();
        EXPECT_FALSE(name != "broken.txt" && name.compare(0, 10, "broken.txt") == 0) << name;
    }
}
