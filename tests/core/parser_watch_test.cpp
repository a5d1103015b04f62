// Whom the named readers ask whether two names are the same: the game's own comparison, each time.
#include "core/parser.h"

#include "tests/support/parser_fixture.h"
#include "tests/support/watched_log.h"

#include <gtest/gtest.h>

// Takes the file library's place, and notes who is compared with whom.
static std::string s_comparisons;
static bool s_anythingIsEqual = false;

int stricmp(const char* left, const char* right)
{
    s_comparisons += (s_comparisons.empty() ? "" : ", ") + std::string(left) + "~" + right;
    return s_anythingIsEqual ? 0 : strcmp(left, right);
}

TEST(ParserWatch, EachNamedReaderAsksForTheComparisonOnce)
{
    TextParser parser("width = 640\r\n");
    parser.ParseLine();
    const std::string token = parser.token();
    int i = -77, j = -77;
    float f, g;
    signed char int8;
    short int16;
    unsigned int uint32;
    long long int64;
    bool boolean;
    char text[8];
    const char* width = token.c_str();
    EXPECT_FALSE(parser.ParamEqualsInt8(width, "a", &int8));
    EXPECT_FALSE(parser.ParamEqualsInt16(width, "b", &int16));
    EXPECT_FALSE(parser.ParamEqualsUInt32(width, "c", &uint32));
    EXPECT_FALSE(parser.ParamEqualsInt64(width, "d", &int64));
    EXPECT_FALSE(parser.ParamEqualsFloat32(width, "e", &f));
    EXPECT_FALSE(parser.ParamEqualsInt32_2(width, "f", &i, &j));
    EXPECT_FALSE(parser.ParamEqualsInt32_2x(width, "g", &i, &j));
    EXPECT_FALSE(parser.ParamEqualsFloat32_2(width, "h", &f, &g));
    EXPECT_FALSE(parser.ParamEqualsFloat32_2x(width, "i", &f, &g));
    EXPECT_FALSE(parser.ParamEqualsBoolean(width, "j", &boolean));
    EXPECT_FALSE(parser.ParamEqualsString(width, "k", text, sizeof(text)));
    EXPECT_TRUE(parser.ParamEqualsInt32(width, "width", &i));
    EXPECT_EQ(i, 640);
    EXPECT_EQ(s_comparisons, "width~a, width~b, width~c, width~d, width~e, width~f, width~g, width~h, width~i, "
                             "width~j, width~k, width~width");
}

TEST(ParserWatch, ItIsTheComparisonThatDecides)
{
    TextParser parser("width = 640\r\n");
    parser.ParseLine();
    const std::string token = parser.token();
    int value = -77;
    s_anythingIsEqual = true;
    EXPECT_TRUE(parser.ParamEqualsInt32(token.c_str(), "height", &value));
    EXPECT_EQ(value, 640);
}

TEST(ParserWatch, NullsAreNotCompared)
{
    TextParser parser("width = 640\r\n");
    parser.ParseLine();
    int value;
    EXPECT_FALSE(parser.ParamEqualsInt32(nullptr, "width", &value));
    EXPECT_FALSE(parser.ParamEqualsInt32("width", nullptr, &value));
    EXPECT_FALSE(parser.ParamEqualsInt32(nullptr, nullptr, &value));
    EXPECT_EQ(s_comparisons, "");
}

TEST(ParserWatch, GetBooleanComparesWithTrueAndThenWithFalse)
{
    TextParser parser("true false yes\r\n");
    parser.ParseLine();
    EXPECT_TRUE(parser.GetBoolean());
    EXPECT_EQ(std::exchange(s_comparisons, ""), "true~true");
    EXPECT_FALSE(parser.GetBoolean());
    EXPECT_EQ(std::exchange(s_comparisons, ""), "false~true, false~false");
    EXPECT_FALSE(parser.GetBoolean());
    EXPECT_EQ(std::exchange(s_comparisons, ""), "yes~true, yes~false");
    EXPECT_FALSE(parser.GetBoolean()); // no token
    EXPECT_EQ(s_comparisons, "");
    takeMessages();
}
