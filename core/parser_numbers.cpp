// Reading numbers.
//
// 1. strtoll, strtoull and strtof in the C locale decide what a number is and what it is worth.
// 2. The plain spellings, which nearly all are, don't go there: up to 19 digits that may have a sign in front and a point
//    among them. These are read right here, to the same bit.
// 3. Whatever isn't plain (an exponent, hexadecimal, inf, more digits) or can't be proved to be rounded right is left to
//    the C library, from its first character.
#include "core/parser_numbers.h"

#include <float.h>
#include <locale.h>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#if __has_include(<xlocale.h>)
#include <xlocale.h> // where the Mac has them
#endif

// A decimal comma of the user's doesn't make one in a game's files.
static locale_t cLocale()
{
    static const locale_t s_locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return s_locale;
}

static bool isDigit(char letter)
{
    return letter >= '0' && letter <= '9';
}

// Steps over white space and a sign; whether that is a minus.
static inline bool skipToDigits(const char** text)
{
    while (**text == ' ' || (**text >= '\t' && **text <= '\r')) {
        ++*text;
    }
    const bool negative = **text == '-';
    if (negative || **text == '+') {
        ++*text;
    }
    return negative;
}

// Adds the digits at text to those in front of them, and steps over them. 19 always fit.
static inline const char* readDigits(const char* text, uint64_t* digits)
{
    for (; isDigit(*text); ++text) {
        *digits = *digits * 10 + static_cast<uint64_t>(*text - '0');
    }
    return text;
}

// What the C library has read: nothing, when it ends where it began.
template <typename Value>
static const char* taken(const char* text, const char* end, Value number, Value* value)
{
    if (end == text) {
        return nullptr;
    }
    *value = number;
    return end;
}

// An integer of 1 to so many digits; null for any other.
static inline const char* readPlain(const char* text, int mostDigits, uint64_t* number)
{
    const bool negative = skipToDigits(&text);
    uint64_t digits = 0;
    const char* end = readDigits(text, &digits);
    if (end == text || end - text > mostDigits) {
        return nullptr;
    }
    *number = negative ? 0 - digits : digits;
    return end;
}

const char* ReadNumber(const char* text, long long* value)
{
    uint64_t plain;
    if (const char* end = readPlain(text, 18, &plain)) {
        *value = static_cast<long long>(plain);
        return end;
    }
    char* end;
    const long long number = strtoll_l(text, &end, 10, cLocale());
    return taken(text, end, number, value);
}

const char* ReadNumber(const char* text, unsigned long long* value)
{
    uint64_t plain;
    if (const char* end = readPlain(text, 19, &plain)) {
        *value = plain;
        return end;
    }
    char* end;
    const unsigned long long number = strtoull_l(text, &end, 10, cLocale());
    return taken(text, end, number, value);
}

// What a plain number is worth; false where the C library has to tell.
//
// Digits below 2^53 and powers of ten up to 10^22 are doubles to the last bit, so their quotient is the right double: the
// one next to the number. The float next to that double is also the one next to the number, unless the double lies just
// half way between two floats: then it may have come there by rounding, and doesn't know from which side. Zero apart, the
// number is at least 1e-19, so its float has all 24 bits.
static inline bool toFloat(uint64_t digits, ptrdiff_t decimals, bool negative, float* value)
{
    static const double sc_powersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,
                                            1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19};
    if (FLT_EVAL_METHOD != 0 || digits >> 53 != 0) {
        return false; // the first: a processor that divides with more bits rounds twice
    }
    const double all = static_cast<double>(static_cast<int64_t>(digits)); // signed, for which there is an instruction
    const double number = (negative ? -all : all) / sc_powersOfTen[decimals];
    uint64_t bits;
    memcpy(&bits, &number, sizeof(bits));
    if ((bits & 0x1fffffff) == 0x10000000) { // of the 29 bits that a float lacks
        return false;
    }
    *value = static_cast<float>(number);
    return true;
}

static inline const char* readPlain(const char* text, float* value)
{
    const bool negative = skipToDigits(&text);
    uint64_t digits = 0;
    const char* end = readDigits(text, &digits);
    ptrdiff_t count = end - text;
    ptrdiff_t decimals = 0;
    if (*end == '.') {
        const char* behindPoint = end + 1;
        end = readDigits(behindPoint, &digits);
        decimals = end - behindPoint;
        count += decimals;
    }
    const char last = *end;
    if (count == 0 || count > 19 || last == 'e' || last == 'E' || last == 'x' || last == 'X') {
        return nullptr;
    }
    return toFloat(digits, decimals, negative, value) ? end : nullptr;
}

const char* ReadNumber(const char* text, float* value)
{
    if (const char* end = readPlain(text, value)) {
        return end;
    }
    char* end;
    const float number = strtof_l(text, &end, cLocale());
    return taken(text, end, number, value);
}
