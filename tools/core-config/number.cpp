#include "tools/core-config/number.h"

#include "tools/core-config/library.h"

#include <math.h>
#include <string.h>

namespace config {

static bool isDigit(char letter)
{
    return letter >= '0' && letter <= '9';
}

bool isLikeNumber(const ConfigText& text, const Word& word)
{
    const char* first = &text.bytes()[word.begin];
    const char* const end = first + (word.end - word.begin);
    first += *first == '+' || *first == '-';
    first += first < end && *first == '.';
    return first < end && isDigit(*first);
}

// The usual case, for speed: at most nine digits, perhaps with a sign and a point.
static bool isPlain(const char* word, size_t length)
{
    if (length > 9) {
        return false;
    }
    size_t points = 0;
    for (size_t at = *word == '+' || *word == '-'; at < length; ++at) {
        points += word[at] == '.';
        if (!isDigit(word[at]) && word[at] != '.') {
            return false;
        }
    }
    return points <= 1;
}

bool isNumber(const ConfigText& text, const Word& word)
{
    const char* bytes = &text.bytes()[word.begin];
    const size_t length = word.end - word.begin;
    return isLikeNumber(text, word) && (isPlain(bytes, length) || numberFactsOf(bytes).length == length);
}

// Returns what the author meant: "9.81" for "9,81", "640" for "64O"; an empty text if that is not known.
static std::string likelyNumber(const std::string& word, const std::string& tail)
{
    std::string number = word;
    if (tail[0] == ',' || tail[0] == ';') {
        number[word.size() - tail.size()] = '.';
        number.erase(tail.size() == 1 ? number.size() - 1 : number.size());
    }
    for (char& letter : number) {
        letter = letter == 'O' || letter == 'o' ? '0' : letter == 'l' || letter == 'I' ? '1' : letter;
    }
    const NumberFacts facts = numberFactsOf(number.c_str());
    const bool isWhole = facts.length == number.size() && number != word;
    return isWhole && number.find_first_of("xXpP") == std::string::npos ? number : "";
}

static bool isIncomplete(const std::string& tail)
{
    return tail == "e" || tail == "E" || tail == "e+" || tail == "e-" || tail == "E+" || tail == "E-" ||
           tail == "x" || tail == "X";
}

static Fault tailFault(const Word& at, const std::string& word, size_t length)
{
    std::string number = word.substr(0, length);
    number.resize(number.size() - (number.size() > 1 && number.back() == '.'));
    const std::string tail = word.substr(length);
    const std::string likely = likelyNumber(word, tail);
    const std::string instead = !likely.empty()      ? "write " + likely
                                : isIncomplete(tail) ? "complete the number, or write " + number
                                                     : "write " + number + " alone, or a text between quotes";
    const bool isError = !likely.empty() || isIncomplete(tail);
    return {at.begin, word.size(),   isError, "a game that reads " + quoted(word) + " as a number gets " + number,
            instead,  "number-tail", {}};
}

static bool hasOtherDigitThan0(const std::string& word)
{
    return word.substr(0, word.find_first_of("eE")).find_first_of("123456789") != std::string::npos;
}

static bool isInteger(const std::string& word)
{
    return word.find_first_not_of("+-0123456789") == std::string::npos;
}

// Adds a fault for an integer that not all readers of integers can store.
static void checkInteger(const Word& at, const std::string& word, Faults* faults)
{
    const double number = strtod(word.c_str(), nullptr);
    if (number >= -2147483648.0 && number <= 4294967295.0) {
        return;
    }
    const bool isTooLarge = number < -9223372036854775808.0 || number >= 18446744073709551616.0;
    const std::string what = isTooLarge
                                 ? word + " needs more than 64 bits, and no reader stores it"
                                 : word + " needs more than 32 bits; a reader of int32 stores " + asInt32(word);
    faults->push_back({at.begin,
                       word.size(),
                       isTooLarge,
                       what,
                       isTooLarge ? "write a smaller number" : "write a smaller number unless the game reads int64",
                       "large-number",
                       {}});
}

void checkNumber(const ConfigText& text, const Word& at, bool isValue, Faults* faults)
{
    const char* bytes = &text.bytes()[at.begin];
    if (isPlain(bytes, at.end - at.begin)) {
        return;
    }
    const std::string word = text.text(at);
    const NumberFacts facts = numberFactsOf(word.c_str());
    if (facts.length < word.size()) {
        const Fault fault = tailFault(at, word, facts.length);
        if (isValue || fault.isError) {
            faults->push_back(fault);
        }
    } else if (isInteger(word)) {
        checkInteger(at, word, faults);
    } else if (isinf(facts.value)) {
        faults->push_back({at.begin,
                           word.size(),
                           true,
                           "a reader of float32 stores infinity for " + quoted(word),
                           "write a number below 3.4e38",
                           "large-number",
                           {}});
    } else if (facts.value == 0 && word.find_first_of("xX") == std::string::npos && hasOtherDigitThan0(word)) {
        faults->push_back({at.begin,
                           word.size(),
                           false,
                           "a reader of float32 stores 0 for " + quoted(word),
                           "write 0, or a number above 1.4e-45",
                           "small-number",
                           {}});
    } else if (word.find_first_of("xX") != std::string::npos) {
        faults->push_back({at.begin,
                           word.size(),
                           false,
                           "a reader of integers stores 0 for " + quoted(word),
                           "write the number in decimal digits",
                           "hexadecimal-number",
                           {}});
    }
}

} // namespace config
