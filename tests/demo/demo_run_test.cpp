// The whole demo, run without a display: what it prints, what it stores, and its exit status.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

class DemoRun : public testing::Test {
protected:
    DemoRun() { unsetenv("DISPLAY"); }

    // Its exit status. A few frames are enough, whatever else is on the command line.
    int run(const std::string& switches, const char* output = "> demo.out 2>&1")
    {
        const std::string program = std::string(EMULATOR) + " \"" + PROGRAM + "\" -frames 5 ";
        const int status = system((program + switches + " " + output).c_str());
        std::ostringstream all;
        all << std::ifstream("demo.out").rdbuf();
        m_said = all.str();
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    bool said(const std::string& text) { return m_said.find(text) != std::string::npos; }

    // The last two columns of the closing table, by the bank's name.
    std::map<std::string, std::pair<std::string, std::string>> fallback()
    {
        std::map<std::string, std::pair<std::string, std::string>> columns;
        std::istringstream lines(m_said.substr(m_said.rfind("\nbytes ") + 1));
        std::string line, name;
        for (std::getline(lines, line); name != "all" && std::getline(lines, line);) {
            name = line.substr(0, line.find("  "));
            const size_t last = line.rfind(' ');
            const size_t end = line.find_last_not_of(' ', last);
            const size_t begin = line.rfind(' ', end);
            columns[name] = {line.substr(begin + 1, end - begin), line.substr(last + 1)};
        }
        return columns;
    }

    std::string m_said;
};

TEST_F(DemoRun, WithoutADisplayTheGameRunsWithoutAWindow)
{
    EXPECT_EQ(run(""), 0) << m_said;
    EXPECT_TRUE(said("There is no display: the game goes on without a window.")) << m_said;
    EXPECT_TRUE(said("All 13 banks check out")) << m_said;
}

TEST_F(DemoRun, ChoicesAreKeptForTheNextRun)
{
    ASSERT_EQ(run("-width 640 -locale de"), 0) << m_said;
    EXPECT_TRUE(said("-width        640  von der Befehlszeile")) << m_said;
    EXPECT_TRUE(said("-height       600  aus demo.ini")) << m_said;
    EXPECT_TRUE(said("Gute Läufe vor diesem: 0.")) << m_said;
    ASSERT_EQ(run(""), 0) << m_said;
    EXPECT_TRUE(said("-width        640  aus früheren Läufen")) << m_said;
    EXPECT_TRUE(said("-locale        de  aus früheren Läufen")) << m_said;
    EXPECT_TRUE(said("Gute Läufe vor diesem: 1.")) << m_said;
    ASSERT_EQ(run("-locale en"), 0) << m_said;
    EXPECT_TRUE(said("-locale         en  the command line")) << m_said;
}

TEST_F(DemoRun, AWrongSwitchEndsTheGameAndIsNotRemembered)
{
    EXPECT_EQ(run("-locale de -width 5"), 2) << m_said;
    EXPECT_TRUE(said("-width braucht eine Zahl von 640 bis 8192; \"5\" ist keine.")) << m_said;
    ASSERT_EQ(run(""), 0) << m_said;
    EXPECT_TRUE(said("Good runs before this one: 0.")) << m_said;
}

TEST_F(DemoRun, AnUnknownLanguageEndsTheGame)
{
    EXPECT_EQ(run("-locale xx"), 2) << m_said;
    EXPECT_TRUE(said("The game does not have the language \"xx\"")) << m_said;
}

TEST_F(DemoRun, AWordThatIsNoSwitchEndsTheGameBeforeItBegins)
{
    EXPECT_EQ(run("--fullscreen"), 2) << m_said;
    EXPECT_EQ(m_said, "\"--fullscreen\" is not a switch; the nearest is -fullscreen.\n-help lists all switches.\n");
    EXPECT_EQ(run("-width 640 fast"), 2) << m_said;
    EXPECT_TRUE(said("\"fast\" is not a switch; ")) << m_said;
    EXPECT_EQ(run("\"\""), 2) << m_said;
    EXPECT_EQ(run("-frames 6"), 2) << m_said;
    EXPECT_EQ(m_said, "-frames is given twice.\n-help lists all switches.\n");
    ASSERT_EQ(run(""), 0) << m_said;
    EXPECT_TRUE(said("Good runs before this one: 0.")) << m_said;
}

TEST_F(DemoRun, EachSpellingOfHelpPrintsTheHelp)
{
    for (const char* name : {"-help", "--help", "-h"}) {
        EXPECT_EQ(run(name), 0) << m_said;
        EXPECT_EQ(m_said.substr(0, 7), "usage: ") << m_said;
        EXPECT_FALSE(said("frames of battle")) << m_said;
    }
}

TEST_F(DemoRun, AFullDiskUnderTheStandardOutputChangesTheExitStatus)
{
    if (access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "there is no /dev/full";
    }
    for (const char* switches : {"", "-help"}) {
        EXPECT_EQ(run(switches, "2> demo.out > /dev/full"), 3) << m_said;
        EXPECT_TRUE(said("The standard output could not be written completely.")) << m_said;
    }
}

TEST_F(DemoRun, TheClosingTableComparesFallbackBlocksWithTheRunBefore)
{
    ASSERT_EQ(run(""), 0) << m_said;
    EXPECT_EQ(fallback().size(), 14u) << m_said; // 13 banks, and all of them
    EXPECT_EQ(fallback().at("all"), std::make_pair(std::string("-"), std::string("0"))) << m_said;
    std::ofstream("MACAPI_LIBRARY/Application Support/Brackenlow/core_demo/data/memory.dat") << "units=1000\n";
    ASSERT_EQ(run(""), 0) << m_said;
    const auto second = fallback();
    EXPECT_EQ(second.at("units").first, "0") << m_said;
    EXPECT_NE(second.at("units").second, "0") << m_said;
    ASSERT_EQ(run("-width 5"), 2); // a run that was no good counts for nothing
    ASSERT_EQ(run(""), 0) << m_said;
    for (const auto& bank : fallback()) {
        EXPECT_EQ(bank.second.first, second.at(bank.first).second) << m_said;
    }
}
