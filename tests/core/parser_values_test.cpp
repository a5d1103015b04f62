// The readers of typed values, and their messages about text that holds no such value.
#include "core/parser.h"

#include "file/file.h"
#include "tests/support/parser_fixture.h"
#include "tests/support/parser_readers.h"
#include "tests/support/watched_log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cxxabi.h>
#include <dlfcn.h>
#include <functional>
#include <future>
#include <limits.h>
#include <locale.h>
#include <math.h>
#include <sched.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

static std::string said(const std::string& message)
{
    return "3 " + message + "\f";
}

static std::string saidOnLine(const std::string& message, int line)
{
    return said(message + " on line " + std::to_string(line) + ".");
}

// ---- the calls of the system that a test looks into ----

#define NEXT(function) reinterpret_cast<decltype(&function)>(dlsym(RTLD_NEXT, #function))

static std::function<void()> s_duringNewlocale; // called once
static thread_local bool s_isSecondReader;
static std::atomic<bool> s_hasSecondArrived(false); // where a thread waits until another has made a static object

extern "C" locale_t newlocale(int categories, const char* name, locale_t base) noexcept
{
    if (s_duringNewlocale) {
        std::exchange(s_duringNewlocale, nullptr)();
    }
    return NEXT(newlocale)(categories, name, base);
}

namespace __cxxabiv1 {
extern "C" int __cxa_guard_acquire(__guard* object)
{
    if (s_isSecondReader) {
        s_hasSecondArrived = true;
    }
    return NEXT(__cxa_guard_acquire)(object);
}
} // namespace __cxxabiv1

// What the C library reads wrongly.
enum Fault { FAULT_NONE, FAULT_VALUE, FAULT_END };
static Fault s_fault = FAULT_NONE;

extern "C" float strtof_l(const char* text, char** end, locale_t locale) noexcept
{
    const float value = NEXT(strtof_l)(text, end, locale);
    *end += s_fault == FAULT_END;
    return s_fault == FAULT_VALUE ? value + 1 : value;
}

// ---- lines of bare values ----

// Outputs for any reader of this family; as text what it stored, and "-" for what it left alone.
struct Outputs {
    int integers[3] = {-77, -77, -77};
    float floats[2] = {-77, -77};
    char text[32] = "-";

    std::string stored() const
    {
        std::string result;
        for (int integer : integers) {
            result += integer == -77 ? "- " : std::to_string(integer) + " ";
        }
        char number[32];
        for (float value : floats) {
            snprintf(number, sizeof(number), "%g ", static_cast<double>(value));
            result += value == -77 ? "- " : number;
        }
        return result + text;
    }
};

// Calls a reader of integers, floats or a text.
static bool read(const char* function, Parser& parser, Outputs& outputs)
{
    const ParserReader& reader = *readerNamed(function);
    void* values = reader.value == VALUE_INT32   ? static_cast<void*>(outputs.integers)
                   : reader.value == VALUE_FLOAT ? static_cast<void*>(outputs.floats)
                                                 : outputs.text;
    ReaderCall call = {parser, nullptr, nullptr, nullptr, values, 0, nullptr};
    return reader.read(call);
}

struct ValueLine {
    const char* reader;
    const char* line;
    const char* stored;  // three integers, two floats, one text
    const char* message; // of a failure; null for a success
};

static const ValueLine sc_valueLines[] = {
    {"ParseString", "hello", "- - - - - hello", nullptr},
    {"ParseString", "  \thello world", "- - - - - hello", nullptr}, // one word
    {"ParseString", "hello\tworld", "- - - - - hello", nullptr},
    {"ParseString", "\v\fx", "- - - - - x", nullptr},
    {"ParseString", "gr\xc3\xbc\xc3\x9f\x65", "- - - - - gr\xc3\xbc\xc3\x9f\x65", nullptr},
    {"ParseString", "", "- - - - - -", "Parser: expected string"},
    {"ParseString", "  ", "- - - - - -", "Parser: expected string"},
    {"ParseString", "// x", "- - - - - -", "Parser: expected string"},
    {"ParseString", "\v", "- - - - - -", "Parser: expected string"},

    {"ParseChar", "x", "- - - - - x", nullptr},
    {"ParseChar", "xyz", "- - - - - x", nullptr},
    {"ParseChar", " x", "- - - - -  ", nullptr}, // a space is a character
    {"ParseChar", "   ", "- - - - -  ", nullptr},
    {"ParseChar", "\t\tx", "- - - - - x", nullptr}, // a tab isn't
    {"ParseChar", "\t", "- - - - - -", "Parser: expected 1 char"},
    {"ParseChar", "", "- - - - - -", "Parser: expected 1 char"},
    {"ParseChar", "//", "- - - - - -", "Parser: expected 1 char"},
    {"ParseChar", "/", "- - - - - /", nullptr},

    {"ParseUTF8", "gr\xc3\xbc\xc3\x9f\x65 x", "- - - - - gr\xc3\xbc\xc3\x9f\x65", nullptr},
    {"ParseUTF8", "\tx", "- - - - - x", nullptr},
    {"ParseUTF8", " ", "- - - - -  ", nullptr}, // a space and a NUL
    {"ParseUTF8", " hello", "- - - - -  ", nullptr},
    {"ParseUTF8", "\t hello", "- - - - -  ", nullptr},
    {"ParseUTF8", " // x", "- - - - -  ", nullptr},
    {"ParseUTF8", "", "- - - - - -", "Parser: expected utf8 string"},
    {"ParseUTF8", "\t", "- - - - - -", "Parser: expected utf8 string"},
    {"ParseUTF8", "//", "- - - - - -", "Parser: expected utf8 string"},

    {"ParseInteger", "5", "5 - - - - -", nullptr},
    {"ParseInteger", "  -12abc", "-12 - - - - -", nullptr},
    {"ParseInteger", "+7 8", "7 - - - - -", nullptr},
    {"ParseInteger", "0x10", "0 - - - - -", nullptr}, // decimal, whatever it looks like
    {"ParseInteger", "010", "10 - - - - -", nullptr},
    {"ParseInteger", "x", "- - - - - -", "Parser: expected 1 integer"},
    {"ParseInteger", "-", "- - - - - -", "Parser: expected 1 integer"},
    {"ParseInteger", "- 5", "- - - - - -", "Parser: expected 1 integer"},
    {"ParseInteger", "", "- - - - - -", "Parser: expected 1 integer"},
    {"ParseInteger", " ", "- - - - - -", "Parser: expected 1 integer"},
    {"ParseInteger", "//5", "- - - - - -", "Parser: expected 1 integer"},

    {"ParseInteger2", "1 -2", "1 -2 - - - -", nullptr},
    {"ParseInteger2", "1\t \v2 3", "1 2 - - - -", nullptr},
    {"ParseInteger2", "1-2", "1 -2 - - - -", nullptr},
    {"ParseInteger2", "1", "1 - - - - -", "Parser: expected 2 integers"}, // the first one is stored
    {"ParseInteger2", "1,2", "1 - - - - -", "Parser: expected 2 integers"},
    {"ParseInteger2", "x 2", "- - - - - -", "Parser: expected 2 integers"},

    {"ParseInteger2x", "1 2", "1 2 - - - -", nullptr},
    {"ParseInteger2x", "1", "1 - - - - -", nullptr},
    {"ParseInteger2x", "1 x", "1 - - - - -", nullptr},
    {"ParseInteger2x", "x 2", "- - - - - -", "Parser: expected 1 or 2 integers"},
    {"ParseInteger2x", "", "- - - - - -", "Parser: expected 1 or 2 integers"},

    {"ParseInteger3", "1 2 3 4", "1 2 3 - - -", nullptr},
    {"ParseInteger3", "1 2", "1 2 - - - -", "Parser: expected 3 integers"},
    {"ParseInteger3", "1 x 3", "1 - - - - -", "Parser: expected 3 integers"},
    {"ParseInteger3", "x", "- - - - - -", "Parser: expected 3 integers"},

    {"ParseFloat", "1.5", "- - - 1.5 - -", nullptr},
    {"ParseFloat", " -2e3x", "- - - -2000 - -", nullptr},
    {"ParseFloat", ".5", "- - - 0.5 - -", nullptr},
    {"ParseFloat", "5.", "- - - 5 - -", nullptr},
    {"ParseFloat", "7", "- - - 7 - -", nullptr},
    {"ParseFloat", "1,5", "- - - 1 - -", nullptr},
    {"ParseFloat", "0x1.8p1", "- - - 3 - -", nullptr},
    {"ParseFloat", "inf", "- - - inf - -", nullptr},
    {"ParseFloat", "-INFINITY", "- - - -inf - -", nullptr},
    {"ParseFloat", "1e99", "- - - inf - -", nullptr}, // too large
    {"ParseFloat", "1e-99", "- - - 0 - -", nullptr},
    {"ParseFloat", "x", "- - - - - -", "Parser: expected 1 float"},
    {"ParseFloat", ".", "- - - - - -", "Parser: expected 1 float"},
    {"ParseFloat", "", "- - - - - -", "Parser: expected 1 float"},

    {"ParseFloat2", "1.5 2.5", "- - - 1.5 2.5 -", nullptr},
    {"ParseFloat2", "1.5.25", "- - - 1.5 0.25 -", nullptr},
    {"ParseFloat2", "1.5", "- - - 1.5 - -", "Parser: expected 2 floats"},
    {"ParseFloat2", "x 1", "- - - - - -", "Parser: expected 2 floats"},

    {"ParseFloat2x", "1.5 2.5", "- - - 1.5 2.5 -", nullptr},
    {"ParseFloat2x", "1.5", "- - - 1.5 - -", nullptr},
    {"ParseFloat2x", "1.5 x", "- - - 1.5 - -", nullptr},
    {"ParseFloat2x", "x", "- - - - - -", "Parser: expected 1 or 2 floats"},
};

TEST(ValueLines, StoreWhatTheyReadAndReportWhatIsMissing)
{
    for (const ValueLine& row : sc_valueLines) {
        for (const char* lineEnd : {"\r\n", "\n", ""}) {
            TextParser parser(row.line + std::string(lineEnd));
            Outputs outputs;
            EXPECT_EQ(read(row.reader, parser, outputs), !row.message) << row.line;
            EXPECT_EQ(outputs.stored(), row.stored) << row.line;
            EXPECT_EQ(takeMessages(), row.message ? saidOnLine(row.message, 1) : "") << row.line;
        }
    }
}

TEST(ValueLines, FailAtTheEndOfTheTextAgainAndAgain)
{
    for (const ValueLine& row : sc_valueLines) {
        if (!row.message) {
            continue;
        }
        for (const char* text : {"", "\n", "\n\n\n"}) {
            TextParser parser(text);
            Outputs outputs;
            EXPECT_FALSE(read(row.reader, parser, outputs));
            EXPECT_FALSE(read(row.reader, parser, outputs));
            EXPECT_EQ(outputs.stored(), "- - - - - -");
            EXPECT_EQ(takeMessages(), saidOnLine(row.message, 1) + saidOnLine(row.message, 2));
        }
    }
}

TEST(ValueLines, FollowEachOtherWhereLinesEndInCarriageReturnAndLineFeed)
{
    TextParser parser("hello\r\n1 2\r\n2.5\r\n \r\nx\r\nlast");
    char word[16];
    unsigned char utf8[16];
    char letter;
    int first, second;
    float value;
    EXPECT_TRUE(parser.ParseString(word));
    EXPECT_TRUE(parser.ParseInteger2(&first, &second));
    EXPECT_TRUE(parser.ParseFloat(&value));
    EXPECT_TRUE(parser.ParseUTF8(utf8));
    EXPECT_TRUE(parser.ParseChar(&letter));
    EXPECT_STREQ(word, "hello");
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 2);
    EXPECT_EQ(value, 2.5f);
    EXPECT_STREQ(reinterpret_cast<char*>(utf8), " ");
    EXPECT_EQ(letter, 'x');
    EXPECT_TRUE(parser.ParseString(word));
    EXPECT_STREQ(word, "last");
    EXPECT_FALSE(parser.ParseString(word)); // line 7
    EXPECT_EQ(takeMessages(), saidOnLine("Parser: expected string", 7));
}

TEST(ValueLines, ABareLineFeedCostsTheNextLineItsFirstCharacter)
{
    TextParser parser("10\n20\n30\n40");
    int value;
    EXPECT_TRUE(parser.ParseInteger(&value));
    EXPECT_EQ(value, 10);
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(parser.ParseInteger(&value));
        EXPECT_EQ(value, 0);
    }
    EXPECT_FALSE(parser.ParseInteger(&value));
}

TEST(ValueLines, AfterEmptyLinesTheCursorMovesTooFewCharacters)
{
    TextParser parser("\n\n10\r\n20\r\n");
    int value;
    EXPECT_TRUE(parser.ParseInteger(&value));
    EXPECT_EQ(value, 10);
    EXPECT_FALSE(parser.ParseInteger(&value)); // counted from the first line feed, that is where the line was cut
}

TEST(ValueLines, AfterLeadingBlanksTheCursorMovesTooFewCharacters)
{
    TextParser parser("   10\r\n20\r\n");
    int value;
    EXPECT_TRUE(parser.ParseInteger(&value));
    EXPECT_EQ(value, 10);
    EXPECT_TRUE(parser.ParseInteger(&value)); // four on: the line's last character
    EXPECT_EQ(value, 0);
}

TEST(ValueLines, ALineThatFailsIsReadAgainUnderTheNextLineNumber)
{
    TextParser parser("hello\r\n5\r\n");
    int value = 0;
    EXPECT_FALSE(parser.ParseInteger(&value));
    EXPECT_FALSE(parser.ParseInteger(&value));
    EXPECT_EQ(takeMessages(),
              saidOnLine("Parser: expected 1 integer", 1) + saidOnLine("Parser: expected 1 integer", 2));
    char word[8];
    EXPECT_TRUE(parser.ParseString(word));
    EXPECT_STREQ(word, "hello");
    EXPECT_TRUE(parser.ParseInteger(&value));
    EXPECT_EQ(value, 5);
}

TEST(ValueLines, DontSkipComments)
{
    TextParser parser("// units\r\n5\r\n");
    int value;
    EXPECT_FALSE(parser.ParseInteger(&value));
    EXPECT_FALSE(parser.ParseInteger(&value));
}

TEST(ValueLines, LeaveTheCurrentLineAlone)
{
    TextParser parser("one two\r\n5\r\n");
    parser.ParseLine();
    EXPECT_EQ(parser.token(), "one");
    int value;
    EXPECT_TRUE(parser.ParseInteger(&value));
    EXPECT_EQ(value, 5);
    EXPECT_EQ(parser.token(), "two");
}

TEST(ValueLines, TakeTurnsWithParseLine)
{
    TextParser parser("5\r\nname x\r\n6\r\n");
    int value;
    EXPECT_TRUE(parser.ParseInteger(&value));
    EXPECT_TRUE(parser.ParseLine());
    EXPECT_EQ(parser.rest(), "name x");
    EXPECT_TRUE(parser.ParseInteger(&value));
    EXPECT_EQ(value, 6);
    EXPECT_FALSE(parser.ParseLine());
}

TEST(ValueLines, StopAtTheEndOfATextWithoutALineFeed)
{
    for (const char* text : {"5", "5\r", "5\n"}) {
        TextParser parser(text);
        int value;
        EXPECT_TRUE(parser.ParseInteger(&value));
        EXPECT_FALSE(parser.ParseInteger(&value));
        EXPECT_FALSE(parser.ParseLine());
    }
}

// ---- numbers ----

TEST(Numbers, OfANumberTooLargeForAnIntegerTheLowBitsAreStored)
{
    struct Case {
        const char* text;
        int value;
    };
    const Case cases[] = {
        {"2147483647", INT_MAX},
        {"-2147483648", INT_MIN},
        {"2147483648", INT_MIN},
        {"4294967295", -1}, // a colour, say
        {"4294967301", 5},
        {"9223372036854775807", -1},
        {"99999999999999999999", -1}, // as the largest of 64 bits
        {"-99999999999999999999", 0}, // as the smallest
    };
    for (const Case& number : cases) {
        TextParser parser(number.text);
        int value;
        EXPECT_TRUE(parser.ParseInteger(&value));
        EXPECT_EQ(value, number.value) << number.text;
    }
}

TEST(Numbers, HaveAPointInEveryLocale)
{
    const char* locale = nullptr;
    for (const char* name : {"de_DE.UTF-8", "de_DE", "fr_FR.UTF-8", "fr_FR", "ru_RU.UTF-8", "pt_BR.UTF-8"}) {
        locale = locale ? locale : setlocale(LC_ALL, name);
    }
    if (!locale && system("localedef -i de_DE -f ISO-8859-1 ./de_DE >localedef.log 2>&1") == 0) {
        setenv("LOCPATH", ".", 1);
        locale = setlocale(LC_ALL, "de_DE");
    }
    if (!locale) {
        GTEST_SKIP() << "no locale with a decimal comma is installed, and none can be made";
    }
    ASSERT_STREQ(localeconv()->decimal_point, ",");
    // On the spot, and as the C library reads it.
    for (const char* text : {"1.5 2,5\r\n", "1.5e0 2,5\r\n", "1.5000000000000000000000000 2,5e1\r\n"}) {
        TextParser parser(text);
        float first, second = -77;
        parser.ParseLine();
        EXPECT_TRUE(parser.GetFloat2(&first, &second)) << text;
        EXPECT_EQ(first, 1.5f) << text;
        EXPECT_EQ(second, 2.0f) << text;
    }
}

static float parsed(const char* text)
{
    TextParser parser(text);
    float value = -77;
    EXPECT_TRUE(parser.ParseFloat(&value)) << text;
    return value;
}

// The C library reads these two numbers, in a locale that the first of them makes.
TEST(Numbers, TwoThreadsMayReadTheirFirstAtTheSameTime)
{
    std::future<float> second;
    s_duringNewlocale = [&second] {
        second = std::async(std::launch::async, [] {
            s_isSecondReader = true;
            return parsed("2.5e0");
        });
        while (!s_hasSecondArrived) {
            sched_yield();
        }
    };
    EXPECT_EQ(parsed("1.5e0"), 1.5f);
    if (!second.valid()) {
        GTEST_SKIP() << "another test of this process has read a number before";
    }
    EXPECT_EQ(second.get(), 2.5f);
}

#ifndef NDEBUG

// A build with assertions compares each plain number with what the C library reads.
TEST(Numbers, APlainOneThatTheLibraryReadsOtherwiseEndsTheProcess)
{
    for (const Fault fault : {FAULT_VALUE, FAULT_END}) {
        const auto read = [fault] {
            signal(SIGABRT, [](int) { _exit(3); });
            s_fault = fault;
            parsed("1.5");
        };
        EXPECT_EXIT(read(), testing::ExitedWithCode(3), "2: plain numbers have the same value to the last bit");
    }
}

#endif

TEST(Numbers, AnIncompleteNumberEndsBeforeItsIncompletePart)
{
    TextParser parser("1e x\r\n0x z\r\n");
    float value;
    parser.ParseLine();
    EXPECT_TRUE(parser.GetFloat(&value));
    EXPECT_EQ(value, 1.0f);
    parser.ParseLine();
    EXPECT_TRUE(parser.GetFloat(&value));
    EXPECT_EQ(value, 0.0f);
}

TEST(Numbers, NaNIsAFloat)
{
    TextParser parser("nan\r\n-NaN(1)\r\n");
    float value;
    EXPECT_TRUE(parser.ParseFloat(&value));
    EXPECT_TRUE(isnan(value));
    EXPECT_TRUE(parser.ParseFloat(&value));
    EXPECT_TRUE(isnan(value));
}

// ---- numbers of the current line ----

static const ValueLine sc_currentLines[] = {
    {"GetFloat", "x 1.5 2", "- - - 1.5 - -", nullptr},
    {"GetFloat", "x y", "- - - - - -", "Parser: expected 1 floats"},
    {"GetFloat", "x", "- - - - - -", "Parser: expected 1 floats"},
    {"GetFloat2", "x 1.5 -2", "- - - 1.5 -2 -", nullptr},
    {"GetFloat2", "x 1.5", "- - - 1.5 - -", "Parser: expected 2 floats"},
    {"GetFloat2", "x y 1.5", "- - - - - -", "Parser: expected 2 floats"},
    {"GetInt", "x 5 6", "5 - - - - -", nullptr},
    {"GetInt", "x 5.9", "5 - - - - -", nullptr},
    {"GetInt", "x y", "- - - - - -", "Parser: expected 1 int"},
    {"GetInt2", "x 5 6", "5 6 - - - -", nullptr},
    {"GetInt2", "x 5.9", "5 - - - - -", "Parser: expected 2 ints"},
    {"GetInt2", "x", "- - - - - -", "Parser: expected 2 ints"},
    {"GetInt3", "x 5 6 7 8", "5 6 7 - - -", nullptr},
    {"GetInt3", "x 5 6", "5 6 - - - -", "Parser: expected 3 ints"},
    {"GetInt3", "x 5 y 7", "5 - - - - -", "Parser: expected 3 ints"},
};

TEST(CurrentLine, ReadersStoreWhatTheyReadAndReportWhatIsMissing)
{
    for (const ValueLine& row : sc_currentLines) {
        TextParser parser(row.line + std::string("\r\n"));
        Outputs outputs;
        parser.ParseLine();
        EXPECT_EQ(parser.token(), "x");
        EXPECT_EQ(read(row.reader, parser, outputs), !row.message) << row.line;
        EXPECT_EQ(outputs.stored(), row.stored) << row.line;
        EXPECT_EQ(takeMessages(), row.message ? saidOnLine(row.message, 1) : "") << row.line;
    }
}

TEST(CurrentLine, ReadersDoNotMoveTheLinePosition)
{
    TextParser parser("x 5 6\r\n");
    parser.ParseLine();
    EXPECT_EQ(parser.token(), "x");
    int value = 0, second = 0;
    EXPECT_TRUE(parser.GetInt(&value));
    EXPECT_EQ(value, 5);
    EXPECT_TRUE(parser.GetInt(&value));
    EXPECT_EQ(value, 5);
    EXPECT_TRUE(parser.GetInt2(&value, &second));
    EXPECT_FALSE(parser.GetInt3(&value, &second, &value));
    EXPECT_EQ(parser.token(), "5");
    EXPECT_TRUE(parser.GetInt(&value));
    EXPECT_EQ(value, 6);
}

TEST(CurrentLine, ReadersFailWithoutACurrentLine)
{
    for (const char* text : {"", "  \r\n", "//5\r\n", "\r\n"}) {
        for (const ValueLine& row : sc_currentLines) {
            if (!row.message) {
                continue;
            }
            TextParser parser(text);
            Outputs outputs;
            EXPECT_FALSE(read(row.reader, parser, outputs));
            EXPECT_EQ(takeMessages(), saidOnLine(row.message, 0));
            const int line = parser.ParseLine() ? 1 : 0;
            EXPECT_FALSE(read(row.reader, parser, outputs));
            EXPECT_EQ(takeMessages(), saidOnLine(row.message, line));
            EXPECT_EQ(outputs.stored(), "- - - - - -");
        }
    }
}

TEST(CurrentLine, ReadersContinueInTheNextLineAfterABareLineFeed)
{
    TextParser parser("x\n\n5 6\n");
    parser.ParseLine();
    EXPECT_EQ(parser.token(), "x");
    int first, second;
    EXPECT_TRUE(parser.GetInt2(&first, &second));
    EXPECT_EQ(first, 5);
    EXPECT_EQ(second, 6);
}

// ---- numbers of named parameters ----

static double valueAt(e_ReaderValue type, const void* values, int index)
{
    switch (type) {
    case VALUE_INT8:
        return static_cast<const int8_t*>(values)[index];
    case VALUE_INT16:
        return static_cast<const int16_t*>(values)[index];
    case VALUE_INT64:
        return static_cast<double>(static_cast<const int64_t*>(values)[index]);
    case VALUE_FLOAT:
        return static_cast<double>(static_cast<const float*>(values)[index]);
    default:
        return static_cast<const int32_t*>(values)[index];
    }
}

// A line, and how many of the numbers 5 and 6 its parameter has.
struct NamedNumbers {
    const char* text;
    int count;
};

static const NamedNumbers sc_namedNumbers[] = {
    {"x = 5 6", 2},      {"x = 5 6\n", 2}, {"x = 5 6 \ny", 2}, {"x =  5  6", 2}, {"x = 5q 6q\n", 2},
    {"x = 5\t6 6\n", 2}, {"x = 5", 1},     {"x = 5 \n", 1},    {"x = 5 q", 1},   {"x = q 5", 0},
    {"x =", 0},          {"x = \n", 0},    {"x", 0},
};

TEST(NamedNumbers, AreReadBySpacesAndEndsOfTextsByEachReader)
{
    for (const ParserReader& reader : sc_parserReaders) {
        if (reader.group != READER_NAMED || reader.value == VALUE_BOOLEAN || reader.value == VALUE_TEXT) {
            continue;
        }
        for (const NamedNumbers& line : sc_namedNumbers) {
            const std::string what = std::string(reader.function) + ": " + line.text;
            TextParser parser(line.text);
            parser.ParseLine();
            int64_t values[2] = {0, 0};
            ReaderCall call = {parser, nullptr, parser.GetToken(" "), "x", values, 0, nullptr};
            EXPECT_TRUE(reader.read(call)) << what;
            const int count = std::min(line.count, reader.count);
            for (int i = 0; i < reader.count; ++i) {
                EXPECT_EQ(valueAt(reader.value, values, i), i < count ? 5 + i : 0) << what;
            }
            EXPECT_EQ(takeMessages() != "", count < reader.required) << what;
        }
    }
}

// ---- booleans ----

TEST(GetBoolean, ReadsTrueAndFalseInAnyCase)
{
    TextParser parser("true false TRUE False tRuE\r\n");
    parser.ParseLine();
    EXPECT_TRUE(parser.GetBoolean());
    EXPECT_FALSE(parser.GetBoolean());
    EXPECT_TRUE(parser.GetBoolean());
    EXPECT_FALSE(parser.GetBoolean());
    EXPECT_TRUE(parser.GetBoolean());
    EXPECT_EQ(takeMessages(), "");
}

TEST(GetBoolean, OfAnythingElseIsFalseWithAMessage)
{
    for (const char* line : {"yes\r\n", "1\r\n", "truer\r\n", "tru\r\n", "", "  \r\n", "//true\r\n", "=\r\n"}) {
        TextParser parser(line);
        parser.ParseLine();
        EXPECT_FALSE(parser.GetBoolean()) << line;
        EXPECT_EQ(takeMessages(), said("...Expected: true or false")) << line;
    }
}

// ---- name = value ----

// A named reader on a line whose first word is "Width", asked for "width".
template <typename... Outputs>
static bool readParameter(const std::string& line, bool (Parser::*reader)(const char*, const char*, Outputs...),
                          Outputs... outputs)
{
    TextParser parser(line + "\r\n");
    parser.ParseLine();
    const char* token = parser.GetToken(" ");
    return (parser.*reader)(token, "width", outputs...);
}

// The message of a reader, which names what was asked for.
static std::string expected(const std::string& form)
{
    return said("...expected: \"^C00FF00width = " + form + "^c\"");
}

struct Parameter {
    const char* line;
    long long first, second; // what is stored, in sixteenths for floats; -77 what was there
    bool complains;
};

template <typename Value>
static void expectOne(bool (Parser::*reader)(const char*, const char*, Value*), const char* form,
                      const std::vector<Parameter>& cases, Value scale = 1)
{
    for (const Parameter& parameter : cases) {
        Value value = static_cast<Value>(-77);
        EXPECT_TRUE(readParameter(parameter.line, reader, &value)) << parameter.line;
        EXPECT_EQ(value,
                  parameter.first == -77 ? static_cast<Value>(-77) : static_cast<Value>(parameter.first) / scale)
            << parameter.line;
        EXPECT_EQ(takeMessages(), parameter.complains ? expected(form) : "") << parameter.line;
    }
}

template <typename Value>
static void expectTwo(bool (Parser::*reader)(const char*, const char*, Value*, Value*), const char* form,
                      const std::vector<Parameter>& cases, Value scale = 1)
{
    for (const Parameter& parameter : cases) {
        Value first = -77, second = -77;
        EXPECT_TRUE(readParameter(parameter.line, reader, &first, &second)) << parameter.line;
        EXPECT_EQ(first, parameter.first == -77 ? -77 : static_cast<Value>(parameter.first) / scale)
            << parameter.line;
        EXPECT_EQ(second, parameter.second == -77 ? -77 : static_cast<Value>(parameter.second) / scale)
            << parameter.line;
        EXPECT_EQ(takeMessages(), parameter.complains ? expected(form) : "") << parameter.line;
    }
}

TEST(ParamEquals, Int8StoresTheLowBits)
{
    expectOne(&Parser::ParamEqualsInt8, "int8",
              {{"Width = 5", 5, 0, false},
               {"Width = 300", 44, 0, false},
               {"Width = -1", -1, 0, false},
               {"Width = 128", -128, 0, false},
               {"Width = abc", -77, 0, true},
               {"Width =", -77, 0, true},
               {"Width 5", -77, 0, true},
               {"Width", -77, 0, true}});
}

TEST(ParamEquals, Int16StoresTheLowBits)
{
    expectOne(&Parser::ParamEqualsInt16, "int16",
              {{"Width = 5", 5, 0, false},
               {"Width = 65537", 1, 0, false},
               {"Width = -40000", 25536, 0, false},
               {"Width = x5", -77, 0, true},
               {"Width = ", -77, 0, true},
               {"Width == 5", -77, 0, true}});
}

TEST(ParamEquals, Int32StoresTheNumber)
{
    expectOne(&Parser::ParamEqualsInt32, "int32",
              {{"Width = 640", 640, 0, false},
               {"\t WIDTH  = \t640 px", 640, 0, false},
               {"width = -2147483648", INT_MIN, 0, false},
               {"width = 12abc", 12, 0, false},
               {"width = \"12\"", -77, 0, true},
               {"width = abc", -77, 0, true},
               {"width =640", -77, 0, true}, // the equals sign stands alone
               {"width =", -77, 0, true},
               {"width", -77, 0, true}});
}

TEST(ParamEquals, UInt32StoresTheNumberAndWrapsANegativeOne)
{
    expectOne(&Parser::ParamEqualsUInt32, "uint32",
              {{"width = 4294967295", 4294967295u, 0, false},
               {"width = -1", 4294967295u, 0, false},
               {"width = -2", 4294967294u, 0, false},
               {"width = +7", 7, 0, false},
               {"width = 9223372036854775808", 0, 0, false}, // the low bits
               {"width = 18446744073709551616", 4294967295u, 0, false},
               {"width = x", -77, 0, true},
               {"width =", -77, 0, true},
               {"width", -77, 0, true}});
}

TEST(ParamEquals, Int64StoresTheNumber)
{
    expectOne(&Parser::ParamEqualsInt64, "int64",
              {{"width = 9223372036854775807", LLONG_MAX, 0, false},
               {"width = -9223372036854775808", LLONG_MIN, 0, false},
               {"width = 9223372036854775808", LLONG_MAX, 0, false}, // there is no larger one
               {"width = 5000000000", 5000000000, 0, false},
               {"width = x", -77, 0, true},
               {"width =", -77, 0, true},
               {"width", -77, 0, true}});
}

TEST(ParamEquals, Float32StoresTheNumber)
{
    expectOne(&Parser::ParamEqualsFloat32, "float32",
              {{"width = 1.5", 24, 0, false},
               {"width = -2", -32, 0, false},
               {"width = 1e1", 160, 0, false},
               {"width = x", -77, 0, true},
               {"width =", -77, 0, true},
               {"width", -77, 0, true}},
              16.0f);
}

TEST(ParamEquals, Int32_2StoresTheFirstAsSoonAsItIsRead)
{
    expectTwo(&Parser::ParamEqualsInt32_2, "int32 int32",
              {{"width = 1 2", 1, 2, false},
               {"width = 1 2 3", 1, 2, false},
               {"width = 1", 1, -77, true},
               {"width = 1 x", 1, -77, true},
               {"width = x 2", -77, -77, true},
               {"width = 1,2", 1, -77, true},
               {"width =", -77, -77, true},
               {"width 1 2", -77, -77, true}});
}

TEST(ParamEquals, Int32_2xLeavesTheSecondAloneWhenThereIsNone)
{
    expectTwo(&Parser::ParamEqualsInt32_2x, "int32",
              {{"width = 1 2", 1, 2, false},
               {"width = 1", 1, -77, false},
               {"width = 1 x", 1, -77, false},
               {"width = x 2", -77, -77, true},
               {"width =", -77, -77, true},
               {"width 1 2", -77, -77, true}});
}

TEST(ParamEquals, Float32_2StoresTheFirstAsSoonAsItIsRead)
{
    expectTwo(&Parser::ParamEqualsFloat32_2, "float32 float32",
              {{"width = 1.5 2", 24, 32, false},
               {"width = 1.5", 24, -77, true},
               {"width = 1.5 x", 24, -77, true},
               {"width = x 2", -77, -77, true},
               {"width =", -77, -77, true},
               {"width", -77, -77, true}},
              16.0f);
}

TEST(ParamEquals, Float32_2xLeavesTheSecondAloneWhenThereIsNone)
{
    expectTwo(&Parser::ParamEqualsFloat32_2x, "float32",
              {{"width = 1.5 2", 24, 32, false},
               {"width = 1.5", 24, -77, false},
               {"width = 1.5 x", 24, -77, false},
               {"width = x 2", -77, -77, true},
               {"width =", -77, -77, true},
               {"width", -77, -77, true}},
              16.0f);
}

TEST(ParamEquals, BooleanStoresWhatGetBooleanReads)
{
    bool value = false;
    EXPECT_TRUE(readParameter("width = TRUE", &Parser::ParamEqualsBoolean, &value));
    EXPECT_TRUE(value);
    EXPECT_TRUE(readParameter("width = false", &Parser::ParamEqualsBoolean, &value));
    EXPECT_FALSE(value);
    EXPECT_EQ(takeMessages(), "");
}

TEST(ParamEquals, BooleanStoresFalseForAValueThatIsNeither)
{
    for (const char* line : {"width = yes", "width = 1", "width ="}) {
        bool value = true;
        EXPECT_TRUE(readParameter(line, &Parser::ParamEqualsBoolean, &value));
        EXPECT_FALSE(value) << line;
        EXPECT_EQ(takeMessages(), said("...Expected: true or false")) << line;
    }
}

TEST(ParamEquals, BooleanWithoutAnEqualsSignStoresNothing)
{
    bool value = true;
    EXPECT_TRUE(readParameter("width true", &Parser::ParamEqualsBoolean, &value));
    EXPECT_TRUE(value);
    EXPECT_EQ(takeMessages(), expected("bool"));
}

TEST(ParamEquals, StringStoresTheDecodedString)
{
    char text[32];
    EXPECT_TRUE(
        readParameter("width = \"say \\\"hi\\\"\"", &Parser::ParamEqualsString, static_cast<char*>(text), 32u));
    EXPECT_STREQ(text, "say \"hi\"");
    EXPECT_TRUE(readParameter("width = \"\"", &Parser::ParamEqualsString, static_cast<char*>(text), 32u));
    EXPECT_STREQ(text, "");
    EXPECT_EQ(takeMessages(), "");
}

TEST(ParamEquals, StringIsTruncatedToItsSizeAndFilledWithNULs)
{
    struct Case {
        unsigned int size;
        std::string bytes;
    };
    const Case cases[] = {
        {0, "----------"}, // no room, not even for a NUL
        {1, std::string("\0---------", 10)},
        {4, std::string("abc\0------", 10)},
        {6, std::string("abcde\0----", 10)},
        {7, std::string("abcdef\0---", 10)},
        {10, std::string("abcdef\0\0\0\0", 10)},
    };
    for (const Case& row : cases) {
        char text[] = "----------";
        EXPECT_TRUE(
            readParameter("width = \"abcdef\"", &Parser::ParamEqualsString, static_cast<char*>(text), row.size));
        EXPECT_EQ(std::string(text, 10), row.bytes) << row.size;
    }
    EXPECT_EQ(takeMessages(), "");
}

TEST(ParamEquals, StringWithoutAnEqualsSignIsTrueAndWithoutAStringFalse)
{
    char text[] = "-";
    for (const char* line : {"width \"abc\"", "width", "width == \"abc\""}) {
        EXPECT_TRUE(readParameter(line, &Parser::ParamEqualsString, static_cast<char*>(text), 2u)) << line;
        EXPECT_EQ(takeMessages(), expected("string")) << line;
    }
    for (const char* line : {"width = abc", "width =", "width = \"abc"}) {
        EXPECT_FALSE(readParameter(line, &Parser::ParamEqualsString, static_cast<char*>(text), 2u)) << line;
        EXPECT_EQ(takeMessages(), expected("string")) << line;
    }
    EXPECT_STREQ(text, "-");
}

TEST(ParamEquals, OfAnotherParametersLineIsFalseAndReadsNothing)
{
    TextParser parser("height = 5 6\r\n");
    parser.ParseLine();
    const char* token = parser.GetToken(" ");
    signed char int8 = -77;
    short int16 = -77;
    int int32 = -77, second = -77;
    unsigned int uint32 = 77;
    long long int64 = -77;
    float float32 = -77, float2 = -77;
    bool boolean = true;
    char text[] = "-";
    EXPECT_FALSE(parser.ParamEqualsInt8(token, "width", &int8));
    EXPECT_FALSE(parser.ParamEqualsInt16(token, "heigh", &int16));
    EXPECT_FALSE(parser.ParamEqualsInt32(token, "heights", &int32));
    EXPECT_FALSE(parser.ParamEqualsUInt32(token, "", &uint32));
    EXPECT_FALSE(parser.ParamEqualsInt64(token, "width", &int64));
    EXPECT_FALSE(parser.ParamEqualsFloat32(token, "width", &float32));
    EXPECT_FALSE(parser.ParamEqualsString(token, "width", text, 2));
    EXPECT_FALSE(parser.ParamEqualsInt32_2(token, "width", &int32, &second));
    EXPECT_FALSE(parser.ParamEqualsInt32_2x(token, "width", &int32, &second));
    EXPECT_FALSE(parser.ParamEqualsFloat32_2(token, "width", &float32, &float2));
    EXPECT_FALSE(parser.ParamEqualsFloat32_2x(token, "width", &float32, &float2));
    EXPECT_FALSE(parser.ParamEqualsBoolean(token, "width", &boolean));
    EXPECT_EQ(int8, -77);
    EXPECT_EQ(int16, -77);
    EXPECT_EQ(int32, -77);
    EXPECT_EQ(second, -77);
    EXPECT_EQ(uint32, 77u);
    EXPECT_EQ(int64, -77);
    EXPECT_EQ(float32, -77.0f);
    EXPECT_EQ(float2, -77.0f);
    EXPECT_TRUE(boolean);
    EXPECT_STREQ(text, "-");
    EXPECT_EQ(takeMessages(), "");
    EXPECT_TRUE(parser.ParamEqualsInt32(token, "HEIGHT", &int32)); // all of it is still there
    EXPECT_EQ(int32, 5);
}

TEST(ParamEquals, OfNoTokenOrNoNameIsFalse)
{
    TextParser parser("= 5\r\n");
    parser.ParseLine();
    int value = -77;
    bool boolean;
    char text[2];
    EXPECT_FALSE(parser.ParamEqualsInt32(nullptr, "width", &value));
    EXPECT_FALSE(parser.ParamEqualsInt32("width", nullptr, &value));
    EXPECT_FALSE(parser.ParamEqualsInt32(nullptr, nullptr, &value));
    EXPECT_FALSE(parser.ParamEqualsBoolean(nullptr, "width", &boolean));
    EXPECT_FALSE(parser.ParamEqualsString(nullptr, "width", text, 2));
    EXPECT_EQ(value, -77);
    EXPECT_EQ(takeMessages(), "");
}

TEST(ParamEquals, UsesUpItsValues)
{
    TextParser parser("width = 1 2 3\r\n");
    parser.ParseLine();
    int first, second;
    EXPECT_TRUE(parser.ParamEqualsInt32_2(parser.GetToken(" "), "width", &first, &second));
    EXPECT_EQ(parser.token(), "3");
}

TEST(ParamEquals, StaysInALastLineWithoutALineFeed)
{
    char text[] = "size = 1\0 2"; // what lies behind the text is none of it
    Parser parser(text);
    parser.ParseLine();
    int first = -77, second = -78;
    EXPECT_TRUE(parser.ParamEqualsInt32_2(parser.GetToken(" "), "size", &first, &second));
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, -78);
    EXPECT_EQ(takeMessages(), said("...expected: \"^C00FF00size = int32 int32^c\""));
    EXPECT_EQ(parser.GetToken(" "), nullptr);
}

TEST(ParamEquals, TheMessageSpellsTheNameAsTheCallerDid)
{
    TextParser parser("WIDTH = x\r\n");
    parser.ParseLine();
    int value;
    EXPECT_TRUE(parser.ParamEqualsInt32(parser.GetToken(" "), "Width", &value));
    EXPECT_EQ(takeMessages(), said("...expected: \"^C00FF00Width = int32^c\""));
}

TEST(ParamEquals, AfterABareLineFeedTheNextLinesFirstWordIsTheValue)
{
    TextParser parser("width =\n640 480\n");
    parser.ParseLine();
    int value;
    EXPECT_TRUE(parser.ParamEqualsInt32(parser.GetToken(" "), "width", &value));
    EXPECT_EQ(value, 640);
    EXPECT_EQ(takeMessages(), "");
}

// The parser compares names itself when stricmp is the file library's.
TEST(ParserNames, AreEqualExactlyWhenTheFileLibrarysComparisonSaysSo)
{
    for (const size_t before : {0, 2}) { // how many letters come before the letter that the test changes
        char token[] = "wI??";
        char name[] = "Wi??";
        int count = 0; // of the pairs that are equal
        TextParser other("= 5\r\n");
        other.ParseLine();
        for (int pair = 0; pair < 256 * 256; ++pair) {
            token[before] = static_cast<char>(pair / 256);
            name[before] = static_cast<char>(pair % 256);
            token[before + 1] = name[before + 1] = '\0';
            int value = -77;
            if (stricmp(token, name) != 0) {
                ASSERT_FALSE(other.ParamEqualsInt32(token, name, &value)) << pair;
                continue;
            }
            TextParser parser("= 5\r\n");
            parser.ParseLine();
            ASSERT_TRUE(parser.ParamEqualsInt32(token, name, &value)) << pair;
            ASSERT_EQ(value, 5) << pair;
            ++count;
        }
        EXPECT_EQ(count, 256 + 2 * 26);
        EXPECT_EQ(other.rest(), "= 5"); // no reader took anything
    }
    EXPECT_EQ(takeMessages(), "");
}

TEST(ParserNames, OfDifferentLengthsDiffer)
{
    TextParser parser("= 5\r\n");
    parser.ParseLine();
    int value = -77;
    EXPECT_FALSE(parser.ParamEqualsInt32("width", "widths", &value));
    EXPECT_FALSE(parser.ParamEqualsInt32("widths", "width", &value));
    EXPECT_FALSE(parser.ParamEqualsInt32("", "width", &value));
    EXPECT_FALSE(parser.ParamEqualsInt32("width", "", &value));
    EXPECT_TRUE(parser.ParamEqualsInt32("WIDTH", "width", &value));
    EXPECT_EQ(value, 5);
}
