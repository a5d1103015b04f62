// Reading numbers.
//
// 1. The C library decides what a number is and which value it has: strtoll, strtoull and strtof in the C locale.
// 2. Plain numbers are read here, for speed, with the same value to the last bit. A plain number has at most 19
//    digits, an optional sign and an optional point.
// 3. The C library reads every other number, from its first character: numbers with an exponent, hexadecimal
//    numbers, inf and nan, numbers with more digits, and numbers for which toFloat cannot prove the rounding.
#include "core/parser_numbers.h"

#include <assert.h>
#include <float.h>
#include <locale.h>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#if __has_include(<xlocale.h>)
#include <xlocale.h> // the Mac declares strtof_l and the others here
#endif

// Returns the C locale. The user's locale may have a decimal comma; a game's files always have a decimal point.
static locale_t cLocale()
{
    static const locale_t s_locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return s_locale;
}

// Skips white space and a sign. Returns true when the sign is a minus.
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

// Appends the digits at text to the number *digits. Returns the end of the digits. Up to 19 digits cannot overflow;
// the caller ignores *digits if there were more.
static inline const char* readDigits(const char* text, uint64_t* digits)
{
    for (;; ++text) {
        const unsigned int digit = static_cast<unsigned char>(*text) - static_cast<unsigned int>('0');
        if (digit > 9) { // every byte but a digit gives a larger number
            return text;
        }
        *digits = *digits * 10 + digit;
    }
}

// Stores the number that the C library has read, and returns end. Returns null, and stores nothing, if end is text:
// then the C library has read no number.
template <typename Value>
static const char* taken(const char* text, const char* end, Value number, Value* value)
{
    if (end == text) {
        return nullptr;
    }
    *value = number;
    return end;
}

// Reads a plain integer of 1 to mostDigits digits. Returns its end; null for any other text.
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

// The calls of the C library are functions that are not inlined: otherwise ReadNumber would save registers for them at
// each plain number.
static __attribute__((noinline)) const char* readWithLibrary(const char* text, long long* value)
{
    char* end;
    const long long number = strtoll_l(text, &end, 10, cLocale());
    return taken(text, end, number, value);
}

static __attribute__((noinline)) const char* readWithLibrary(const char* text, unsigned long long* value)
{
    char* end;
    const unsigned long long number = strtoull_l(text, &end, 10, cLocale());
    return taken(text, end, number, value);
}

static __attribute__((noinline)) const char* readWithLibrary(const char* text, float* value)
{
    char* end;
    const float number = strtof_l(text, &end, cLocale());
    return taken(text, end, number, value);
}

const char* ReadNumber(const char* text, long long* value)
{
    uint64_t plain;
    if (const char* end = readPlain(text, 18, &plain)) {
        *value = static_cast<long long>(plain);
        return end;
    }
    return readWithLibrary(text, value);
}

const char* ReadNumber(const char* text, unsigned long long* value)
{
    uint64_t plain;
    if (const char* end = readPlain(text, 19, &plain)) {
        *value = plain;
        return end;
    }
    return readWithLibrary(text, value);
}

// Stores the float nearest to digits / 10^decimals and returns true. Returns false if the C library has to read the
// number.
//
// Why the result is right:
// - An integer below 2^53 and a power of ten up to 10^22 are exact doubles. So the division gives the double that
//   is nearest to the number.
// - The float that is nearest to this double is also the float that is nearest to the number. The one exception is
//   a double exactly half way between two floats: the division may have rounded to it from either side. Then the
//   function returns false.
// - A number other than 0 is at least 1e-19, so its float is not subnormal and has all its bits.
static inline bool toFloat(uint64_t digits, ptrdiff_t decimals, bool negative, float* value)
{
    static const double sc_powersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,
                                            1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19};
    if (FLT_EVAL_METHOD != 0 || digits >> 53 != 0) {
        return false; // FLT_EVAL_METHOD is not 0: the processor divides with more bits than a double and rounds twice
    }
    const double all = static_cast<double>(static_cast<int64_t>(digits)); // signed: x86-64 has an instruction for it
    const double number = (negative ? -all : all) / sc_powersOfTen[decimals];
    uint64_t bits;
    memcpy(&bits, &number, sizeof(bits));
    // A double has 29 bits more than a float. Half way between two floats, they are a one and 28 zeros.
    if ((bits & 0x1fffffff) == 0x10000000) {
        return false;
    }
    *value = static_cast<float>(number);
    return true;
}

// Reads a plain decimal number of 1 to 19 digits. Returns its end; null for any other text, and if toFloat returns
// false.
static inline const char* readPlain(const char* text, float* value)
{
    const bool negative = skipToDigits(&text);
    uint64_t digits = 0;
    const char* end = readDigits(text, &digits);
    ptrdiff_t count = end - text;
    ptrdiff_t decimals = 0;
    if (*end == '.') {
        const char* fraction = end + 1;
        end = readDigits(fraction, &digits);
        decimals = end - fraction;
        count += decimals;
    }
    const char last = *end;
    if (count == 0 || count > 19 || last == 'e' || last == 'E' || last == 'x' || last == 'X') {
        return nullptr;
    }
    return toFloat(digits, decimals, negative, value) ? end : nullptr;
}

// Returns true when the C library reads the same value, to the last bit, and ends at the same place.
[[maybe_unused]] static bool agreesWithLibrary(const char* text, const char* end, float value)
{
    char* libraryEnd;
    const float number = strtof_l(text, &libraryEnd, cLocale());
    uint32_t libraryBits;
    uint32_t bits;
    memcpy(&libraryBits, &number, sizeof(bits));
    memcpy(&bits, &value, sizeof(bits));
    return libraryEnd == end && libraryBits == bits;
}

const char* ReadNumber(const char* text, float* value)
{
    if (const char* end = readPlain(text, value)) {
        assert(agreesWithLibrary(text, end, *value) && "2: plain numbers have the same value to the last bit");
        return end;
    }
    return readWithLibrary(text, value);
}
