// The named readers call stricmp, which the file library defines and a game may replace, for each comparison of names.
#include "core/parser.h"

#include "tests/support/parser_fixture.h"
#include "tests/support/parser_readers.h"
#include "tests/support/watched_log.h"

#include <gtest/gtest.h>

// Takes the place of the file library's, and notes its arguments.
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
    char letter[] = "a"; // each reader asks for a name of its own
    std::string expected;
    for (const ParserReader& reader : sc_parserReaders) {
        if (reader.group == READER_NAMED) {
            long long values[2];
            ReaderCall call = {parser, nullptr, token.c_str(), letter, values, sizeof(values), nullptr};
            EXPECT_FALSE(reader.read(call)) << reader.function;
            expected += std::string("width~") + letter + ", ";
            ++letter[0];
        }
    }
    EXPECT_EQ(letter[0], 'a' + 12);
    int value = -77;
    EXPECT_TRUE(parser.ParamEqualsInt32(token.c_str(), "width", &value));
    EXPECT_EQ(value, 640); // no reader before it has taken the value
    EXPECT_EQ(s_comparisons, expected + "width~width");
}

TEST(ParserWatch, TheComparisonDecidesWhetherANameMatches)
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
