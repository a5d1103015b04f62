// The samples of core/platform.h.
#include "core/platform.h"

#include <gtest/gtest.h>

#include <stdio.h>
#include <stdlib.h>

static char path[1024];

namespace {
#include "core/platform.h.samples"
}

TEST(Samples, ThePlatformNamesTheGamesFolder)
{
    unsetenv("DISPLAY"); // the alert goes to the standard error stream
    sample1();
    EXPECT_NE(std::string(path).find("/Brackenlow/samples_test/saves/1"), std::string::npos) << path;
}

TEST(Samples, AWindowIsMadeAndShown)
{
    sample2();
    Platform::DestructWindow(Platform::GetWindow());
    EXPECT_EQ(Platform::GetWindow(), nullptr);
}
