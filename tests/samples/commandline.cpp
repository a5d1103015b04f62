// The sample of core/commandline.h.
#include "core/commandline.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

static char s_words[][10] = {"game", "-mod", "winter", "towers", "-window", "640", "480"};
static char* argv[] = {s_words[0], s_words[1], s_words[2], s_words[3], s_words[4], s_words[5], s_words[6]};
static const int argc = 7;

static std::vector<std::string> s_mods;

static void loadMod(const char* name)
{
    s_mods.push_back(name);
}

namespace {
#include "core/commandline.h.samples"
}

TEST(Samples, TheCommandLineFindsASwitchWithItsArguments)
{
    sample1();
    EXPECT_EQ(s_mods, (std::vector<std::string>{"winter", "towers"}));
}
