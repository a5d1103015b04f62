// Lines, tokens and strings.
#include "core/parser.h"

#include "tests/support/game_memory.h"
#include "tests/support/parser_fixture.h"
#include "tests/support/watched_log.h"

#include <gtest/gtest.h>

typedef std::vector<std::string> Lines;

static std::string lineFeeds(size_t count)
{
    return std::string(count, '\n');
}

// ---- the parser itself ----

class Memory : public GameMemory {
public:
    Memory()
    {
        defineHeap("core", 1 << 16);
        initialize();
    }
};

TEST(Parser, MadeWithNewLiesInBank0AndDeleteFreesItThere)
{
    Memory memory;
    Text text("a\r\n");
    Parser* parser = new Parser(text);
    EXPECT_EQ(memory.banks[0].usedNodeCount, 1u);
    EXPECT_GE(memory.getSize(0, parser), sizeof(Parser));
    EXPECT_TRUE(parser->ParseLine());
    delete parser;
    EXPECT_EQ(memory.banks[0].usedNodeCount, 0u);
    EXPECT_EQ(memory.check(0, true), 0);
}

TEST(Parser, AllocatesNothingForLinesTokensAndStrings)
{
    Memory memory;
    TextParser parser("name = \"value\\n\"\r\nnext 5\r\n");
    parser.ParseLine();
    EXPECT_EQ(parser.token(), "name");
    EXPECT_TRUE(parser.GetEqualsToken());
    EXPECT_EQ(parser.string(), "value\n");
    parser.ParseLine();
    EXPECT_EQ(memory.banks[0].allocCount, 0u);
}

TEST(Parser, HasNoTokensBeforeTheFirstLine)
{
    TextParser parser("a b\r\n");
    EXPECT_EQ(parser.token(), "(none)");
    EXPECT_EQ(parser.string(), "(none)");
    EXPECT_FALSE(parser.GetEqualsToken());
    EXPECT_EQ(parser.bytes(), "a b\r\n");
}

TEST(Parser, ReadsATextThatIsPutIntoTheBufferAfterItWasMade)
{
    char buffer[16] = "";
    Parser parser(buffer);
    strcpy(buffer, "late\nnews\n");
    EXPECT_TRUE(parser.ParseLine());
    EXPECT_STREQ(parser.GetToken(" "), "late");
    EXPECT_TRUE(parser.ParseLine());
    EXPECT_STREQ(parser.GetToken(" "), "news");
    EXPECT_FALSE(parser.ParseLine());
}

TEST(Parser, WritesNothingIntoATextWithoutLines)
{
    const char* const texts[] = {"", "\n\n\n"}; // as they lie in memory that can't be written
    for (const char* text : texts) {
        Parser parser(const_cast<char*>(text));
        int value;
        EXPECT_FALSE(parser.ParseLine());
        EXPECT_FALSE(parser.ParseLine());
        EXPECT_FALSE(parser.ParseInteger(&value));
        EXPECT_EQ(parser.GetToken(" "), nullptr);
    }
    takeMessages();
}

TEST(Parser, OfANullTextFindsNothing)
{
    Parser parser(nullptr);
    EXPECT_FALSE(parser.ParseLine());
    parser.reset();
    EXPECT_FALSE(parser.ParseLine());
    EXPECT_EQ(parser.GetToken(" "), nullptr);
}

TEST(Parser, LogsNothingForLinesTokensAndStrings)
{
    TextParser parser("a\n\n\n//b\n\"c\n");
    while (parser.ParseLine()) {
        parser.GetString();
        parser.GetEqualsToken();
        parser.GetOpenBrace();
        parser.GetCloseBrace();
        parser.GetToken(" ");
    }
    EXPECT_EQ(takeMessages(), "");
}

// ---- lines ----

TEST(ParseLine, YieldsOneLineAfterTheOtherAndThenFalse)
{
    TextParser parser("one\ntwo\nthree\n");
    EXPECT_TRUE(parser.ParseLine());
    EXPECT_EQ(parser.rest(), "one");
    EXPECT_TRUE(parser.ParseLine());
    EXPECT_EQ(parser.rest(), "two");
    EXPECT_TRUE(parser.ParseLine());
    EXPECT_EQ(parser.rest(), "three");
    EXPECT_FALSE(parser.ParseLine());
    EXPECT_FALSE(parser.ParseLine());
}

TEST(ParseLine, OfAnEmptyTextIsFalse)
{
    EXPECT_EQ(linesOf(""), Lines());
    EXPECT_EQ(linesOf("\n"), Lines());
    EXPECT_EQ(linesOf("\n\n\n\n"), Lines());
}

TEST(ParseLine, ReadsALastLineWithoutALineFeed)
{
    EXPECT_EQ(linesOf("one\ntwo"), (Lines{"one", "two"}));
    EXPECT_EQ(linesOf("x"), (Lines{"x"}));
}

TEST(ParseLine, TakesOffCarriageReturns)
{
    EXPECT_EQ(linesOf("one\r\ntwo\r\n"), (Lines{"one", "two"}));
    EXPECT_EQ(linesOf("one\r\r\r\ntwo\r"), (Lines{"one", "two"}));
}

TEST(ParseLine, KeepsACarriageReturnInsideALine)
{
    EXPECT_EQ(linesOf("o\rne\r\n"), (Lines{"o\rne"}));
}

TEST(ParseLine, SkipsLeadingSpacesAndTabsAndKeepsTrailingOnes)
{
    EXPECT_EQ(linesOf(" \t one \t \r\n"), (Lines{"one \t "}));
}

TEST(ParseLine, SkipsNoOtherWhiteSpace)
{
    EXPECT_EQ(linesOf("\vone\r\n\ftwo\r\n"), (Lines{"\vone", "\ftwo"}));
}

TEST(ParseLine, OfABlankLineIsTrueAndThereAreNoTokensOnIt)
{
    EXPECT_EQ(linesOf("   \nx\n"), (Lines{"", "x"}));
    EXPECT_EQ(linesOf("\t \t\r\nx\r\n"), (Lines{"", "x"}));
    EXPECT_EQ(linesOf("\r\nx\r\n"), (Lines{"", "x"}));
}

TEST(ParseLine, OfACommentIsTrueAndThereAreNoTokensOnIt)
{
    EXPECT_EQ(linesOf("// a comment\nx\n"), (Lines{"", "x"}));
    EXPECT_EQ(linesOf("   //x = 1\r\n\t//\r\nx\r\n"), (Lines{"", "", "x"}));
}

TEST(ParseLine, ReadsACommentOnlyAtTheStartOfALine)
{
    TextParser parser("x = 1 // note\r\n/x\r\n");
    parser.ParseLine();
    EXPECT_EQ(parser.token(), "x");
    EXPECT_TRUE(parser.GetEqualsToken());
    EXPECT_EQ(parser.token(), "1");
    EXPECT_EQ(parser.token(), "//");
    EXPECT_EQ(parser.token(), "note");
    EXPECT_EQ(parser.token(), "(none)");
    parser.ParseLine();
    EXPECT_EQ(parser.rest(), "/x");
}

TEST(ParseLine, PassesBytesOf128AndAboveThrough)
{
    EXPECT_EQ(linesOf("\xc3\xa9t\xc3\xa9\n\xff\xfe\n\x80\n"), (Lines{"\xc3\xa9t\xc3\xa9", "\xff\xfe", "\x80"}));
}

TEST(ParseLine, EndsAtANULThatTheCallerHasWrittenMeanwhile)
{
    TextParser parser("first\r\nsecond line, cut in two\r\nthird\r\n");
    EXPECT_TRUE(parser.ParseLine());
    parser.begin()[strlen("first..second line")] = '\0';
    EXPECT_TRUE(parser.ParseLine());
    EXPECT_EQ(parser.rest(), "second line");
    EXPECT_TRUE(parser.ParseLine());
    EXPECT_EQ(parser.rest(), "cut in two"); // a NUL ends a line as a line feed does
    EXPECT_TRUE(parser.ParseLine());
    EXPECT_EQ(parser.rest(), "third");
}

TEST(ParseLine, LeavesTheTokensOfEarlierLinesAsTheyAre)
{
    TextParser parser("one two\r\nthree\r\n");
    parser.ParseLine();
    const char* one = parser.GetToken(" ");
    const char* two = parser.GetToken(" ");
    parser.ParseLine();
    const char* three = parser.GetToken(" ");
    EXPECT_FALSE(parser.ParseLine());
    EXPECT_STREQ(one, "one");
    EXPECT_STREQ(two, "two");
    EXPECT_STREQ(three, "three");
}

TEST(ParseLine, ThatFailsLeavesNoTokens)
{
    TextParser parser("one two\r\n");
    parser.ParseLine();
    EXPECT_EQ(parser.token(), "one");
    EXPECT_FALSE(parser.ParseLine());
    EXPECT_EQ(parser.token(), "(none)");
    EXPECT_EQ(parser.string(), "(none)");
}

TEST(ParseLine, CountsLinesThatAreReturnedAndNoOthers)
{
    TextParser parser("x\n\nx\n   \n//\nx");
    int value;
    const int numbers[] = {1, 2, 3, 4, 5};
    for (int number : numbers) { // the empty line is passed over and doesn't count
        ASSERT_TRUE(parser.ParseLine());
        parser.GetInt(&value);
        EXPECT_EQ(takeMessages(), "3 Parser: expected 1 int on line " + std::to_string(number) + ".\f");
    }
    EXPECT_FALSE(parser.ParseLine());
    EXPECT_FALSE(parser.ParseLine());
    parser.GetInt(&value);
    EXPECT_EQ(takeMessages(), "3 Parser: expected 1 int on line 5.\f");
}

TEST(PreparseLine, SkipsBlanksAndTakesOffTheLinesEnd)
{
    TextParser parser("");
    Text line(" \tx y \r\n\r\n");
    const char* text = parser._preparseLine(line);
    EXPECT_EQ(text, line + 2);
    EXPECT_STREQ(text, "x y ");
}

TEST(PreparseLine, OfNothingButBlanksIsNull)
{
    TextParser parser("");
    EXPECT_EQ(parser._preparseLine(Text("")), nullptr);
    EXPECT_EQ(parser._preparseLine(Text(" \t ")), nullptr);
    EXPECT_EQ(parser._preparseLine(nullptr), nullptr);
}

TEST(PreparseLine, OfACommentIsEmptyAndCutsAtItsFirstSlash)
{
    TextParser parser("");
    Text line("  // note\r\n");
    EXPECT_EQ(parser._preparseLine(line), line + 2);
    EXPECT_EQ(line.bytes(), std::string("  \0/ note\r\n", 11));
}

TEST(PreparseLine, OfNothingButALinesEndIsEmpty)
{
    TextParser parser("");
    Text line(" \r\n");
    EXPECT_EQ(parser._preparseLine(line), line + 1);
    EXPECT_EQ(line.bytes(), std::string(" \0\0", 3)); // the space stays
}

TEST(PreparseLineAllowSpaces, SkipsTabsAlone)
{
    TextParser parser("");
    Text line("\t\t x\r\n");
    EXPECT_STREQ(parser._preparseLineAllowSpaces(line), " x");
    EXPECT_EQ(parser._preparseLineAllowSpaces(Text("\t\t")), nullptr);
    EXPECT_STREQ(parser._preparseLineAllowSpaces(Text("   ")), "   ");
    EXPECT_STREQ(parser._preparseLineAllowSpaces(Text("\t//x")), "");
    EXPECT_STREQ(parser._preparseLineAllowSpaces(Text(" //x")), " //x");
    EXPECT_EQ(parser._preparseLineAllowSpaces(nullptr), nullptr);
}

// ---- runs of empty lines ----

TEST(EmptyLines, WithCarriageReturnsAreLinesLikeAnyOther)
{
    EXPECT_EQ(linesOf("a\r\n\r\n\r\n\r\nb\r\n\r\n\r\nc\r\n"), (Lines{"a", "", "", "", "b", "", "", "c"}));
}

TEST(EmptyLines, ASingleEmptyLineIsSkipped)
{
    TextParser parser("a b\n\nc\n");
    EXPECT_TRUE(parser.ParseLine());
    EXPECT_EQ(parser.token(), "a");
    EXPECT_EQ(parser.token(), "b");
    EXPECT_TRUE(parser.ParseLine());
    EXPECT_EQ(parser.token(), "c");
    EXPECT_FALSE(parser.ParseLine());
    EXPECT_EQ(linesOf("\na\n"), (Lines{"a"}));
    EXPECT_EQ(linesOf("a\n\nb\n\nc\n\n"), (Lines{"a", "b", "c"}));
}

TEST(EmptyLines, AfterTwoTheNextLineIsTheLast)
{
    EXPECT_EQ(linesOf("a\n\n\nb\nc\nd\n"), (Lines{"a", "b"}));
    EXPECT_EQ(linesOf("\n\nb\nc\n"), (Lines{"b"}));
}

TEST(EmptyLines, AfterTwoTheTextHasEndedForGood)
{
    TextParser parser("a\n\n\nb\nc\n");
    restOfLines(parser);
    EXPECT_FALSE(parser.ParseLine());
    EXPECT_FALSE(parser.ParseLine());
}

TEST(EmptyLines, AfterThreeOrMoreTheEndOfTheNextLineIsReadOnceMore)
{
    for (size_t count = 3; count <= 8; ++count) {
        const std::string tail = std::string("abcdef").substr(8 - count); // its last count - 2 characters
        EXPECT_EQ(linesOf("x\n" + lineFeeds(count) + "abcdef\ny\nz\n"), (Lines{"x", "abcdef", tail, "y", "z"}))
            << count;
        EXPECT_EQ(linesOf(lineFeeds(count) + "abcdef\ny\nz\n"), (Lines{"abcdef", tail, "y", "z"})) << count;
    }
}

TEST(EmptyLines, MoreEmptyLinesThanTheLineHasCharactersCountAsFurtherRuns)
{
    struct Case {
        size_t emptyLines;
        Lines lines;
    };
    const Case cases[] = {
        {3, {"x", "ab", "b", "y"}},        //
        {4, {"x", "ab", "ab", "y"}},       // the whole line
        {5, {"x", "ab", "ab", "y"}},       // one empty line and the line: is passed over
        {6, {"x", "ab", "ab"}},            // two empty lines and the line: it is the last
        {7, {"x", "ab", "ab", "b", "y"}},  // three
        {8, {"x", "ab", "ab", "ab", "y"}}, // four
        {9, {"x", "ab", "ab", "ab", "y"}}, // five, of which one is left
        {10, {"x", "ab", "ab", "ab"}},
        {11, {"x", "ab", "ab", "ab", "b", "y"}},
    };
    for (const Case& run : cases) {
        EXPECT_EQ(linesOf("x\n" + lineFeeds(run.emptyLines) + "ab\ny\n"), run.lines) << run.emptyLines;
        const Lines fromTheStart(run.lines.begin() + 1, run.lines.end());
        EXPECT_EQ(linesOf(lineFeeds(run.emptyLines) + "ab\ny\n"), fromTheStart) << run.emptyLines;
    }
}

TEST(EmptyLines, BeforeTheLastLineTheEndOfThatLineIsReadOnceMore)
{
    EXPECT_EQ(linesOf("x\n\n\n\n\nabc"), (Lines{"x", "abc", "bc"}));
    EXPECT_EQ(linesOf("x\n\n\nabc"), (Lines{"x", "abc"}));
}

TEST(EmptyLines, AtTheEndOfTheTextAreIgnored)
{
    EXPECT_EQ(linesOf("x\n\n\n\n\n\n"), (Lines{"x"}));
}

TEST(EmptyLines, EachRunOfEmptyLinesHasItsOwnTail)
{
    EXPECT_EQ(linesOf("\n\n\nabc\n\n\n\ndef\ng\n"), (Lines{"abc", "c", "def", "f", "g"}));
}

TEST(EmptyLines, TheTailOfACutLineIsItsLastPart)
{
    // The last three characters: what was a token and the blank in front of it, which is a NUL by now.
    TextParser parser("x\n" + lineFeeds(5) + "ab cd\ny\n");
    parser.ParseLine();
    EXPECT_TRUE(parser.ParseLine());
    EXPECT_EQ(parser.token(), "ab");
    EXPECT_EQ(parser.token(), "cd");
    EXPECT_TRUE(parser.ParseLine());
    EXPECT_EQ(parser.rest(), "");
    EXPECT_EQ(restOfLines(parser), (Lines{"y"}));
}

TEST(EmptyLines, TheTailOfAQuotedStringEndsWhereTheLineDid)
{
    for (size_t count = 3; count <= 24; ++count) {
        TextParser parser("x\n" + lineFeeds(count) + "\"key\" = \"one\\n\\n\\ntwo\"\n\"next\" = \"y\"\n");
        parser.ParseLine();
        EXPECT_TRUE(parser.ParseLine());
        EXPECT_EQ(parser.string(), "key");
        EXPECT_TRUE(parser.GetEqualsToken());
        EXPECT_EQ(parser.string(), "one\n\n\ntwo");
        EXPECT_TRUE(parser.ParseLine()); // one line, whatever lies in it by now
        EXPECT_TRUE(parser.ParseLine());
        EXPECT_EQ(parser.string(), "next") << count;
        EXPECT_TRUE(parser.GetEqualsToken());
        EXPECT_EQ(parser.string(), "y");
        EXPECT_FALSE(parser.ParseLine());
    }
}

TEST(EmptyLines, ACutLineThatIsReadAgainWholeEndsWhereItEndedBefore)
{
    TextParser parser(lineFeeds(2 + 4 + 4) +
                      "a b\ny\n"); // 8 characters: five empty lines and the line, then once more
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(parser.ParseLine());
        EXPECT_EQ(parser.token(), "a") << i;
    }
    EXPECT_EQ(restOfLines(parser), (Lines{"y"}));
}

TEST(EmptyLines, TheTailOfACommentIsALine)
{
    EXPECT_EQ(linesOf("x\n" + lineFeeds(6) + "//note\ny\n"), (Lines{"x", "", "note", "y"}));
    EXPECT_EQ(linesOf("x\n" + lineFeeds(8) + "//note\ny\n"), (Lines{"x", "", "", "y"})); // cut at its first slash
}

TEST(EmptyLines, TheTailOfATrimmedLineIsTheTrimmedPart)
{
    EXPECT_EQ(linesOf("x\n" + lineFeeds(3) + "abc\r\ny\r\n"), (Lines{"x", "abc", "", "y"}));
    EXPECT_EQ(linesOf("x\n" + lineFeeds(5) + "abc\r\ny\r\n"), (Lines{"x", "abc", "bc", "y"}));
    EXPECT_EQ(linesOf("x\n" + lineFeeds(4) + "   \ny\n"), (Lines{"x", "", "", "y"}));
}

TEST(EmptyLines, TheTailCountsAsALine)
{
    TextParser parser("x\n\n\n\nabc\ny\n");
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(parser.ParseLine());
    }
    int value;
    parser.GetInt(&value);
    EXPECT_EQ(takeMessages(), "3 Parser: expected 1 int on line 4.\f");
}

// ---- reset ----

TEST(Reset, GoesBackToTheFirstLineAndNumber)
{
    TextParser parser("x\ny\nz\n");
    parser.ParseLine();
    parser.ParseLine();
    parser.reset();
    EXPECT_TRUE(parser.ParseLine());
    int value;
    parser.GetInt(&value);
    EXPECT_EQ(takeMessages(), "3 Parser: expected 1 int on line 1.\f");
    EXPECT_EQ(parser.rest(), "x");
}

TEST(Reset, ReadsPlainLinesWithBareLineFeedsOnceMore)
{
    TextParser parser("one\ntwo\nthree");
    EXPECT_EQ(restOfLines(parser), (Lines{"one", "two", "three"}));
    parser.reset();
    EXPECT_EQ(restOfLines(parser), (Lines{"one", "two", "three"}));
}

TEST(Reset, ASecondPassEndsWhereACarriageReturnWasTakenOff)
{
    TextParser parser("one\r\ntwo\r\n");
    restOfLines(parser);
    parser.reset();
    EXPECT_EQ(restOfLines(parser), (Lines{"one"}));
}

TEST(Reset, ASecondPassEndsAtAComment)
{
    TextParser parser("one\n//note\ntwo\n");
    restOfLines(parser);
    parser.reset();
    EXPECT_EQ(restOfLines(parser), (Lines{"one"}));
}

TEST(Reset, ASecondPassReadsTokensAsLines)
{
    TextParser parser("a b\nc\n");
    parser.ParseLine();
    parser.GetToken(" ");
    parser.reset();
    EXPECT_EQ(restOfLines(parser), (Lines{"a", "b", "c"}));
}

TEST(Reset, ForgetsATailThatWasToBeRead)
{
    TextParser parser("\n\n\n\nabc\ny\n");
    parser.ParseLine();
    EXPECT_EQ(parser.rest(), "abc");
    parser.reset();
    EXPECT_EQ(restOfLines(parser), (Lines{"abc", "bc", "y"}));
}

TEST(Reset, ReadsACopyOfTheTextThatWasPutBack)
{
    TextParser parser("// a\r\nx\r\n");
    char* buffer = parser;
    EXPECT_EQ(restOfLines(parser), (Lines{"", "x"}));
    memcpy(buffer, "// b\r\ny\r\n", 9);
    parser.reset();
    EXPECT_EQ(restOfLines(parser), (Lines{"", "y"}));
}

TEST(Reset, ReadsALongerTextThatWasPutIntoTheBuffer)
{
    char buffer[64] = "short";
    Parser parser(buffer);
    EXPECT_TRUE(parser.ParseLine());
    EXPECT_FALSE(parser.ParseLine());
    strcpy(buffer, "a longer text\nthat has two lines");
    parser.reset();
    EXPECT_TRUE(parser.ParseLine());
    EXPECT_STREQ(parser.GetToken(""), "a longer text");
    EXPECT_TRUE(parser.ParseLine());
    EXPECT_STREQ(parser.GetToken(""), "that has two lines");
    EXPECT_FALSE(parser.ParseLine());
}

// The call that fails in the empty lines passes one of them. Two are left before the line, so the line is the last.
TEST(EmptyLines, AtTheEndOfATextThatIsLengthenedCountWithoutTheOneThatWasPassed)
{
    char buffer[64] = "a\n\n\n\n";
    Parser parser(buffer);
    EXPECT_TRUE(parser.ParseLine());
    EXPECT_FALSE(parser.ParseLine());
    strcpy(buffer + 5, "bcd\nef\n");
    EXPECT_TRUE(parser.ParseLine());
    EXPECT_STREQ(parser.GetToken(""), "bcd");
    EXPECT_FALSE(parser.ParseLine());
}

TEST(GetEqualsToken, TakesAMarkInATextThatWasLengthenedAfterIt)
{
    char buffer[16] = "=";
    Parser parser(buffer);
    EXPECT_TRUE(parser.ParseLine());
    strcpy(buffer + 1, " =");
    EXPECT_TRUE(parser.GetEqualsToken());
    EXPECT_FALSE(parser.GetEqualsToken()); // the line ends where the text ended
    EXPECT_STREQ(buffer + 2, "=");
}

TEST(Reset, ReadsAShorterTextThatWasPutIntoTheBuffer)
{
    char buffer[64] = "a long text that is one line\nand another one";
    Parser parser(buffer);
    EXPECT_TRUE(parser.ParseLine());
    strcpy(buffer, "shorter\nby far");
    parser.reset();
    EXPECT_TRUE(parser.ParseLine());
    EXPECT_STREQ(parser.GetToken(""), "shorter");
    EXPECT_TRUE(parser.ParseLine());
    EXPECT_STREQ(parser.GetToken(" "), "by");
    EXPECT_STREQ(parser.GetToken(" "), "far");
}

TEST(Reset, LeavesTheRestOfTheLineWhereItIs)
{
    TextParser parser("a b\r\n");
    parser.ParseLine();
    EXPECT_EQ(parser.token(), "a");
    parser.reset();
    EXPECT_EQ(parser.token(), "b");
}

// ---- tokens ----

TEST(GetToken, CutsTheLineAtItsDelimiter)
{
    TextParser parser("one  two \t three\r\n");
    parser.ParseLine();
    EXPECT_EQ(parser.token(), "one");
    EXPECT_EQ(parser.token(), "two");
    EXPECT_EQ(parser.token(), "three"); // blanks in front of it are skipped
    EXPECT_EQ(parser.token(), "(none)");
    EXPECT_EQ(parser.bytes(), std::string("one\0 two\0\t three\0\0", 18));
}

TEST(GetToken, EachCharacterOfTheDelimitersEndsAToken)
{
    TextParser parser("a,b c\n");
    parser.ParseLine();
    EXPECT_STREQ(parser.GetToken(" ,"), "a");
    EXPECT_STREQ(parser.GetToken(" ,"), "b");
    EXPECT_STREQ(parser.GetToken(" ,"), "c");
}

TEST(GetToken, KeepsATabInsideAToken)
{
    TextParser parser("one\ttwo three\r\n");
    parser.ParseLine();
    EXPECT_EQ(parser.token(), "one\ttwo");
    EXPECT_EQ(parser.token(), "three");
}

TEST(GetToken, ReturnsNullEachTimeAfterTheLastToken)
{
    TextParser parser("one two \r\nthree\r\n");
    parser.ParseLine();
    EXPECT_EQ(parser.token(), "one");
    EXPECT_EQ(parser.token(), "two");
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(parser.token(), "(none)");
    }
}

TEST(GetToken, ContinuesInTheNextLineAfterABareLineFeed)
{
    TextParser parser("a\nb c\nd e\n");
    parser.ParseLine();
    EXPECT_EQ(parser.token(), "a");
    EXPECT_EQ(parser.token(), "b");
    EXPECT_EQ(parser.token(), "c\nd"); // that line feed isn't cut yet
    EXPECT_EQ(parser.token(), "e\n");
    EXPECT_EQ(parser.token(), "(none)");
}

TEST(GetToken, ATokenOfTheNextLineIsReadAgainAsALine)
{
    TextParser parser("a\nb c\nd e\n");
    parser.ParseLine();
    EXPECT_EQ(parser.token(), "a");
    EXPECT_EQ(parser.token(), "b");
    EXPECT_EQ(restOfLines(parser), (Lines{"b", "c", "d e"}));
}

TEST(GetToken, StaysInALastLineWithoutALineFeed)
{
    TextParser parser("one two");
    parser.ParseLine();
    EXPECT_EQ(parser.token(), "one");
    EXPECT_EQ(parser.token(), "two");
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(parser.token(), "(none)");
    }
    EXPECT_FALSE(parser.ParseLine());
}

TEST(GetToken, StaysInATextThatEndsWithALineFeed)
{
    TextParser parser("one\n");
    parser.ParseLine();
    EXPECT_EQ(parser.token(), "one");
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(parser.token(), "(none)");
    }
    EXPECT_FALSE(parser.ParseLine());
}

TEST(GetToken, TakesAnySetOfDelimiters)
{
    TextParser parser("1,2;3\r\n");
    parser.ParseLine();
    EXPECT_EQ(parser.token(",;"), "1");
    EXPECT_EQ(parser.token(",;"), "2");
    EXPECT_EQ(parser.token(",;"), "3");
    EXPECT_EQ(parser.token(",;"), "(none)");
}

TEST(GetToken, WithNoDelimitersIsTheRestOfTheLine)
{
    TextParser parser("one two \r\n");
    parser.ParseLine();
    EXPECT_EQ(parser.token(), "one");
    EXPECT_EQ(parser.token(""), "two ");
}

TEST(GetToken, OfNothingButDelimitersIsNull)
{
    TextParser parser(",,,\r\n");
    parser.ParseLine();
    EXPECT_EQ(parser.token(","), "(none)");
    EXPECT_EQ(parser.token(" "), ",,,"); // still there
}

TEST(GetToken, MovesByTheTokensLengthCountedFromTheDelimitersBeforeIt)
{
    TextParser parser(",,,abcd efgh\r\n");
    parser.ParseLine();
    EXPECT_EQ(parser.token(", "), "abcd");
    EXPECT_EQ(parser.token(", "), "cd"); // 5 from the first comma
}

TEST(GetToken, WithNullIsNull)
{
    TextParser parser("one\r\n");
    parser.ParseLine();
    EXPECT_EQ(parser.GetToken(nullptr), nullptr);
    EXPECT_EQ(parser.token(), "one");
}

TEST(GetToken, HandsOutSlicesOfTheCallersText)
{
    TextParser parser("one two\r\n");
    char* buffer = parser;
    parser.ParseLine();
    EXPECT_EQ(parser.GetToken(" "), buffer);
    EXPECT_EQ(parser.GetToken(" "), buffer + 4);
}

TEST(Marks, AreTokensOfExactlyOneCharacter)
{
    struct Case {
        const char* line;
        bool equals, open, close;
    };
    const Case cases[] = {
        {"=", true, false, false},     {"= 5", true, false, false},
        {" \t= ", true, false, false}, {"==", false, false, false},
        {"=5", false, false, false},   {"=\t5", false, false, false}, // a tab doesn't end a token
        {"{", false, true, false},     {"{{", false, false, false},
        {"{}", false, false, false},   {"}", false, false, true},
        {"};", false, false, false},   {"x", false, false, false},
        {"", false, false, false},     {"   ", false, false, false},
        {"//", false, false, false},
    };
    for (const Case& mark : cases) {
        auto is = [&mark](bool (Parser::*reader)()) {
            TextParser parser(std::string(mark.line) + "\r\n");
            parser.ParseLine();
            return (parser.*reader)();
        };
        EXPECT_EQ(is(&Parser::GetEqualsToken), mark.equals) << mark.line;
        EXPECT_EQ(is(&Parser::GetOpenBrace), mark.open) << mark.line;
        EXPECT_EQ(is(&Parser::GetCloseBrace), mark.close) << mark.line;
    }
}

TEST(Marks, UseUpTheTokenEvenWhenItIsAnother)
{
    TextParser parser("a = {\r\n");
    parser.ParseLine();
    EXPECT_FALSE(parser.GetEqualsToken());
    EXPECT_TRUE(parser.GetEqualsToken());
    EXPECT_FALSE(parser.GetCloseBrace());
    EXPECT_FALSE(parser.GetOpenBrace());
}

// ---- strings ----

TEST(GetString, IsTheTextBetweenQuotes)
{
    TextParser parser("name = \"one two\" three\r\n");
    parser.ParseLine();
    EXPECT_EQ(parser.string(), "one two"); // whatever stands in front
    EXPECT_EQ(parser.token(), "three");
}

TEST(GetString, FindsOneStringAfterTheOther)
{
    TextParser parser("\"one\"\"two\" = \"three\"\r\n");
    parser.ParseLine();
    EXPECT_EQ(parser.string(), "one");
    EXPECT_EQ(parser.string(), "two");
    EXPECT_EQ(parser.string(), "three");
    EXPECT_EQ(parser.string(), "(none)");
}

TEST(GetString, CanBeEmpty)
{
    TextParser parser("\"\" \"x\"\r\n");
    parser.ParseLine();
    EXPECT_EQ(parser.string(), "");
    EXPECT_EQ(parser.string(), "x");
}

TEST(GetString, DecodesItsEscapes)
{
    TextParser parser("name = \"say \\\"hi\\\"\\n\"\r\n");
    parser.ParseLine();
    EXPECT_EQ(parser.string(), "say \"hi\"\n");
}

TEST(GetString, IgnoresAnInvalidEscape)
{
    TextParser parser("\"C:\\games\\core\" x\r\n");
    parser.ParseLine();
    EXPECT_EQ(parser.string(), "C:\\ames\\ore");
    EXPECT_EQ(parser.token(), "x");
}

TEST(GetString, AQuoteAfterAnEscapedBackslashCountsAsEscaped)
{
    TextParser parser("\"a\\\\\" b\" c\r\n");
    parser.ParseLine();
    EXPECT_EQ(parser.string(), "a\\\" b");
    EXPECT_EQ(parser.token(), "c");
}

TEST(GetString, WithoutAClosingQuoteIsNullAndUsesUpTheLine)
{
    for (const char* line : {"\"one two\r\n", "\"\r\n", "x \"one\\\"\r\n", "\"one\\\\\"\r\n"}) {
        TextParser parser(line);
        parser.ParseLine();
        EXPECT_EQ(parser.string(), "(none)") << line;
        EXPECT_EQ(parser.token(), "(none)") << line;
    }
}

TEST(GetString, WithoutAnyQuoteIsNullAndUsesUpTheLine)
{
    TextParser parser("one two\r\n");
    parser.ParseLine();
    EXPECT_EQ(parser.string(), "(none)");
    EXPECT_EQ(parser.token(), "(none)");
}

TEST(GetString, OnALineWithoutTokensIsNull)
{
    for (const char* text : {"   \r\n\"x\"\r\n", "//\"a\"\r\n\"x\"\r\n", "\r\n\"x\"\r\n"}) {
        TextParser parser(text);
        parser.ParseLine();
        EXPECT_EQ(parser.string(), "(none)");
        parser.ParseLine();
        EXPECT_EQ(parser.string(), "x");
    }
}

TEST(GetString, EndsAtTheLinesEnd)
{
    TextParser parser("\"one\ntwo\"\n");
    parser.ParseLine();
    EXPECT_EQ(parser.string(), "(none)");
    parser.ParseLine();
    EXPECT_EQ(parser.rest(), "two\"");
}

TEST(GetString, StaysInALastLineWithoutALineFeed)
{
    TextParser parser("\"one\"");
    parser.ParseLine();
    EXPECT_EQ(parser.string(), "one");
    EXPECT_EQ(parser.string(), "(none)");
    EXPECT_EQ(parser.token(), "(none)");
}

TEST(GetString, AfterTheLastTokenContinuesInTheNextLineAfterABareLineFeed)
{
    TextParser parser("a\nb \"c\nd\"\n");
    parser.ParseLine();
    EXPECT_EQ(parser.token(), "a");
    EXPECT_EQ(parser.string(), "c\nd");
}

// ---- long texts ----

TEST(LongTexts, OfFiveMegabytesAreReadInOnePass)
{
    std::string text;
    int lines = 0;
    for (; text.size() < 5u << 20; ++lines) {
        text += "name = " + std::to_string(lines) + "\r\n";
    }
    TextParser parser(text);
    int value = -1;
    for (int line = 0; line < lines; ++line) {
        ASSERT_TRUE(parser.ParseLine());
        ASSERT_TRUE(parser.ParamEqualsInt32(parser.GetToken(" "), "name", &value));
        ASSERT_EQ(value, line);
    }
    EXPECT_FALSE(parser.ParseLine());
}

TEST(LongTexts, OfEmptyLinesAreReadInOnePass)
{
    TextParser parser(lineFeeds(2 + 3 * 1000000) + "x"); // each time three empty lines fewer
    int lines = 0;
    while (parser.ParseLine()) {
        ++lines;
    }
    EXPECT_EQ(lines, 1000001);
}
