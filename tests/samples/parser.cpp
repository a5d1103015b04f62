// The samples of core/parser.h.
#include "core/parser.h"

#include <gtest/gtest.h>

#include <string.h>
#include <string>

static char text[256];

// What the samples read.
static int width;
static float scale;
static char title[32];
static std::string name;
static bool inUnit;
static int hitPoints;

namespace {
#include "core/parser.h.samples"
}

TEST(Samples, TheParserReadsNamedParameters)
{
    strcpy(text, "// the window\r\nwidth = 640\r\nscale = 1.5\r\n\r\ntitle = \"Battle\"\r\n");
    sample1();
    EXPECT_EQ(width, 640);
    EXPECT_EQ(scale, 1.5f);
    EXPECT_STREQ(title, "Battle");
}

TEST(Samples, TheParserReadsASectionInBraces)
{
    strcpy(text, "hitPoints = 1\r\nunit \"Footman\" {\r\n    hitPoints = 60\r\n}\r\nhitPoints = 2\r\n");
    sample2();
    EXPECT_EQ(name, "Footman");
    EXPECT_EQ(hitPoints, 60) << "lines outside the braces are another section's";
    EXPECT_FALSE(inUnit);
}
