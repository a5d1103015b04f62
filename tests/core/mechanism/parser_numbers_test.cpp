// The parser's own reader of numbers must give the same value as the C library, to the last bit, and stop at the same
// character.
//
// core does not export the reader, so its source is compiled into this program.
#include "core/parser_numbers.h"

#include <gtest/gtest.h>

#include <locale.h>
#include <math.h>
#include <random>
#include <stdlib.h>
#include <string.h>
#include <string>

// What a number is and is worth, by the C library alone.
static locale_t cLocale()
{
    static const locale_t s_locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return s_locale;
}

static long long byLibrary(const char* text, char** end, long long)
{
    return strtoll_l(text, end, 10, cLocale());
}

static unsigned long long byLibrary(const char* text, char** end, unsigned long long)
{
    return strtoull_l(text, end, 10, cLocale());
}

static float byLibrary(const char* text, char** end, float)
{
    return strtof_l(text, end, cLocale());
}

static std::string s_report; // of the last difference

template <typename Value>
static bool readsAlike(const char* text)
{
    const Value untouched = static_cast<Value>(77);
    char* expectedEnd;
    Value expected = byLibrary(text, &expectedEnd, Value());
    if (expectedEnd == text) {
        expected = untouched;
    }
    Value value = untouched;
    const char* end = ReadNumber(text, &value);
    const bool sameEnd = end == (expectedEnd == text ? nullptr : expectedEnd);
    if (sameEnd && (memcmp(&value, &expected, sizeof(value)) == 0)) {
        return true;
    }
    s_report = std::string("\"") + text + "\": " + std::to_string(value) + " and not " + std::to_string(expected) +
               (sameEnd ? "" : ", and another end");
    return false;
}

static bool allReadAlike(const std::string& text)
{
    return readsAlike<long long>(text.c_str()) && readsAlike<unsigned long long>(text.c_str()) &&
           readsAlike<float>(text.c_str());
}

TEST(PlainNumbers, OfUpToFiveCharactersAreReadAsByTheLibrary)
{
    static const char sc_letters[] = "0179+-. eExp\tn";
    const size_t count = sizeof(sc_letters) - 1;
    for (size_t length = 0, spellings = 1; length <= 5; ++length, spellings *= count) {
        for (size_t spelling = 0; spelling < spellings; ++spelling) {
            std::string text;
            for (size_t left = spelling, at = 0; at < length; ++at, left /= count) {
                text += sc_letters[left % count];
            }
            ASSERT_TRUE(allReadAlike(text)) << s_report;
        }
    }
}

TEST(PlainNumbers, AnyByteAfterANumberEndsIt)
{
    for (const char* number : {"0", "12", "-3.5", "+.5", "7.", "999999999999999999"}) {
        for (int byte = 1; byte < 256; ++byte) {
            ASSERT_TRUE(allReadAlike(number + std::string(1, static_cast<char>(byte)) + "1")) << s_report;
            ASSERT_TRUE(allReadAlike(std::string(1, static_cast<char>(byte)) + number)) << s_report;
        }
    }
}

TEST(PlainNumbers, AtTheLimitsOf63And64BitsAreReadAsByTheLibrary)
{
    for (const char* number : {"99999999999999999",
                               "999999999999999999",   // 18 digits
                               "1000000000000000000",  // 19
                               "9223372036854775806",  // 2^63 - 2
                               "9223372036854775807",  // the largest of 63 bits
                               "9223372036854775808",  // fits 64 alone
                               "9223372036854775809",  // the smallest negative one, and one less
                               "9999999999999999999",  // the largest of 19 digits
                               "10000000000000000000", // the smallest of 20
                               "18446744073709551614", // 2^64 - 2
                               "18446744073709551615", // the largest of 64 bits
                               "18446744073709551616", // too large
                               "18446744073709551617", "99999999999999999999", "184467440737095516160",
                               "0000000000000000000000000000017", "00000000000000000000000000000"}) {
        for (const char* sign : {"", "-", "+", " -", "--"}) {
            ASSERT_TRUE(allReadAlike(std::string(sign) + number)) << s_report;
        }
    }
}

TEST(PlainNumbers, AtTheLimitsOfADoublesDigitsAreReadAsByTheLibrary)
{
    for (const char* digits :
         {"9007199254740991", // 2^53 - 1
          "9007199254740992", // 2^53
          "9007199254740993", // no double
          "9999999999999999", "1234567890123456789", "9999999999999999999", "99999999999999999999"}) {
        const std::string number = digits;
        for (size_t point = 0; point <= number.size(); ++point) {
            const std::string withPoint = number.substr(0, point) + "." + number.substr(point);
            ASSERT_TRUE(allReadAlike(withPoint)) << s_report;
            ASSERT_TRUE(allReadAlike("-" + withPoint)) << s_report;
            ASSERT_TRUE(allReadAlike("0." + std::string(point, '0') + number)) << s_report;
        }
    }
}

TEST(PlainNumbers, OfZeroKeepTheirSign)
{
    for (const char* number : {"0", "-0", "-0.0", "-.0", "0.0000000000000000000000", "-0.000000000000000000000000"}) {
        ASSERT_TRUE(allReadAlike(number)) << s_report;
    }
    float value;
    ReadNumber("-0.0", &value);
    EXPECT_TRUE(signbit(value));
}

// So many digits of number, with a point among them, and so many added in the last place.
static std::string spelled(double number, int digits, int more)
{
    char text[64];
    const int before = snprintf(text, sizeof(text), "%.0f", floor(number));
    const int decimals = digits - before;
    snprintf(text, sizeof(text), "%.*f", decimals, number);
    std::string all = text;
    all.erase(static_cast<size_t>(before), 1);
    std::string result = std::to_string(strtoull(all.c_str(), nullptr, 10) + static_cast<unsigned long long>(more));
    result.insert(0, all.size() > result.size() ? all.size() - result.size() : 0, '0');
    return result.insert(result.size() - static_cast<size_t>(decimals), ".");
}

// The hardest there are: half way between two floats, and so near to it that a double can't tell.
TEST(PlainNumbers, HalfWayBetweenTwoFloatsAndNextToThatAreRoundedAsByTheLibrary)
{
    std::mt19937 random(1);
    for (int number = 0; number < 20000; ++number) {
        const float low =
            ldexpf(static_cast<float>(0x800000u + random() % 0x800000u), static_cast<int>(random() % 36) - 33);
        const double half = (static_cast<double>(low) + static_cast<double>(nextafterf(low, INFINITY))) / 2;
        for (int digits = 14; digits <= 17; ++digits) {
            for (int more = -2; more <= 2; ++more) {
                const std::string text = spelled(half, digits, more);
                ASSERT_TRUE(readsAlike<float>(text.c_str())) << s_report;
            }
        }
    }
}

TEST(PlainNumbers, SpelledByAProgramAreReadAsByTheLibrary)
{
    std::mt19937 random(2);
    for (int number = 0; number < 50000; ++number) {
        const uint32_t bits = static_cast<uint32_t>(random());
        float value;
        memcpy(&value, &bits, sizeof(value));
        const double moderate = static_cast<double>(static_cast<int32_t>(bits)) / (1 + random() % 100000);
        char text[64];
        for (const char* format : {"%g", "%.9g", "%.1f", "%f", "%.10f", "%a", "%e"}) {
            snprintf(text, sizeof(text), format, moderate);
            ASSERT_TRUE(allReadAlike(text)) << s_report;
        }
        snprintf(text, sizeof(text), "%.9g", static_cast<double>(value));
        ASSERT_TRUE(allReadAlike(text)) << s_report;
    }
}

TEST(PlainNumbers, OfAnySpellingAreReadAsByTheLibrary)
{
    static const char* const sc_pieces[] = {"0",  "1", "2", "3",        "4",   "5",   "6", "7",
                                            "8",  "9", "0", "00",       ".",   ".",   "-", "+",
                                            "e1", "E", "x", "12345678", "inf", "nan", " ", "\t\v"};
    std::mt19937 random(3);
    for (int number = 0; number < 500000; ++number) {
        std::string text;
        for (unsigned int pieces = random() % 24; pieces > 0; --pieces) {
            text += sc_pieces[random() % (sizeof(sc_pieces) / sizeof(sc_pieces[0]))];
        }
        ASSERT_TRUE(allReadAlike(text)) << s_report;
    }
}

TEST(PlainNumbers, OfDigitsAndAPointAreReadAsByTheLibrary)
{
    std::mt19937 random(4);
    for (int number = 0; number < 500000; ++number) {
        std::string text = random() % 4 ? "" : "-";
        for (unsigned int digits = random() % 22; digits > 0; --digits) {
            text += static_cast<char>('0' + random() % 10);
        }
        const size_t sign = text[0] == '-';
        text.insert(sign + random() % (text.size() - sign + 1), random() % 4 ? "." : "");
        ASSERT_TRUE(allReadAlike(text)) << s_report;
    }
}
