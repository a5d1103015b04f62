// The whole demo, run without a display: what it says, remembers, and ends with.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

class DemoRun : public testing::Test {
protected:
    DemoRun() { unsetenv("DISPLAY"); }

    // Its exit status. A few frames are enough, whatever else is on the command line.
    int run(const std::string& switches)
    {
        const std::string program = std::string(EMULATOR) + " \"" + PROGRAM + "\" -frames 5 ";
        const int status = system((program + switches + " > demo.out 2>&1").c_str());
        std::ostringstream all;
        all << std::ifstream("demo.out").rdbuf();
        m_said = all.str();
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    bool said(const std::string& text) { return m_said.find(text) != std::string::npos; }

    std::string m_said;
};

TEST_F(DemoRun, WithoutADisplayItGoesOnWithoutAWindow)
{
    EXPECT_EQ(run(""), 0) << m_said;
    EXPECT_TRUE(said("There is no display: the game goes on without a window.")) << m_said;
    EXPECT_TRUE(said("All 13 banks check out")) << m_said;
}

TEST_F(DemoRun, WhatWasChosenOnceIsChosenInTheNextRun)
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
    EXPECT_TRUE(said("-width braucht eine Zahl von 320 bis 8192; \"5\" ist keine.")) << m_said;
    ASSERT_EQ(run(""), 0) << m_said;
    EXPECT_TRUE(said("Good runs before this one: 0.")) << m_said;
}

TEST_F(DemoRun, AnUnknownLanguageEndsTheGame)
{
    EXPECT_EQ(run("-locale xx"), 2) << m_said;
    EXPECT_TRUE(said("There is no language \"xx\"")) << m_said;
}
