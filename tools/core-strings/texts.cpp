#include "tools/core-strings/texts.h"

#include <algorithm>
#include <string.h>

static const char sc_flags[] = "-+ #'0";
static const char sc_lengths[] = "hlLqjzt";
static const char sc_letters[] = "diouxXeEfFgGaAcCsSpn";
static const size_t sc_mostArguments = 99; // a number above counts as no conversion

namespace {
// One conversion: its place in the text, the number of its argument (0 if it names none) and the argument's type.
struct Conversion {
    size_t begin;
    size_t end;
    size_t argument;
    std::string type;    // empty for "%%"
    unsigned int widths; // how many '*' come before: each takes an argument
};
} // namespace

static size_t skipDigits(const std::string& text, size_t at, size_t* number)
{
    *number = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
        *number = std::min<size_t>(*number * 10 + static_cast<size_t>(text[at] - '0'), sc_mostArguments + 1);
    }
    return at;
}

static bool isIn(const std::string& text, size_t at, const char* set)
{
    return at < text.size() && text[at] != '\0' && strchr(set, text[at]);
}

// Signed types and unsigned types of a size are the same argument: "%d" may become "%i", but not "%s". "%u" stays
// apart from "%d", because a large number would be shown as a negative one.
static std::string typeOf(const std::string& length, char letter)
{
    const char* const classes[] = {"di", "ouxX", "eEfFgGaA", "c", "C", "s", "S", "p", "n"};
    for (const char* letters : classes) {
        if (strchr(letters, letter)) {
            return length + letters[0];
        }
    }
    return length + letter;
}

// Reads the conversion at a '%'. Returns false if the '%' begins no conversion.
static bool readConversion(const std::string& text, size_t percent, Conversion* conversion)
{
    *conversion = {percent, percent, 0, "", 0};
    size_t number;
    size_t at = skipDigits(text, percent + 1, &number);
    if (number > 0 && at < text.size() && text[at] == '$') {
        conversion->argument = number;
        ++at;
    } else {
        at = percent + 1;
    }
    const bool hasBlank = isIn(text, at, " ");
    while (isIn(text, at, sc_flags)) {
        ++at;
    }
    for (int part = 0; part < 2; ++part) { // width, then precision
        if (part == 1 && !isIn(text, at, ".")) {
            break;
        }
        at += part == 1;
        if (isIn(text, at, "*")) {
            conversion->widths += 1;
            ++at;
        } else {
            at = skipDigits(text, at, &number);
        }
    }
    const size_t length = at;
    while (isIn(text, at, sc_lengths)) {
        ++at;
    }
    if (text.compare(percent, 2, "%%") == 0) {
        conversion->end = percent + 2;
        return true;
    }
    if (!isIn(text, at, sc_letters) || hasBlank || conversion->argument > sc_mostArguments) {
        return false;
    }
    conversion->type = typeOf(text.substr(length, at - length), text[at]);
    conversion->end = at + 1;
    return true;
}

static std::vector<Conversion> allConversions(const std::string& text, bool* isValid)
{
    std::vector<Conversion> found;
    *isValid = true;
    for (size_t at = text.find('%'); at != std::string::npos; at = text.find('%', at)) {
        Conversion conversion;
        if (!readConversion(text, at, &conversion)) {
            *isValid = false;
            ++at;
            continue;
        }
        at = conversion.end;
        if (!conversion.type.empty()) {
            found.push_back(conversion);
        }
    }
    return found;
}

Conversions conversionsOf(const std::string& text)
{
    Conversions result;
    for (const Conversion& conversion : allConversions(text, &result.isValid)) {
        for (unsigned int width = 0; width < conversion.widths; ++width) {
            result.types.push_back("*");
        }
        if (conversion.argument == 0) {
            result.types.push_back(conversion.type);
            continue;
        }
        if (result.types.size() < conversion.argument) {
            result.types.resize(conversion.argument);
        }
        std::string& type = result.types[conversion.argument - 1];
        result.isValid = result.isValid && (type.empty() || type == conversion.type);
        type = conversion.type;
    }
    for (const std::string& type : result.types) {
        result.isValid = result.isValid && !type.empty();
    }
    return result;
}

bool haveSameConversions(const std::string& key, const std::string& translation)
{
    const Conversions left = conversionsOf(key);
    const Conversions right = conversionsOf(translation);
    return left.types == right.types && (left.types.empty() || right.isValid || !left.isValid);
}

std::string listConversions(const std::string& text)
{
    std::string list;
    bool isValid;
    for (const Conversion& conversion : allConversions(text, &isValid)) {
        list += (list.empty() ? "" : " ") + text.substr(conversion.begin, conversion.end - conversion.begin);
    }
    return list.empty() ? "none" : list;
}

static size_t countHexDigits(const std::string& text, size_t at)
{
    return strspn(text.c_str() + at, "0123456789ABCDEFabcdef");
}

std::vector<std::string> coloursOf(const std::string& text)
{
    std::vector<std::string> marks;
    for (size_t at = text.find('^'); at != std::string::npos; at = text.find('^', at + 1)) {
        if (const size_t length = lengthOfMark(text, at)) {
            marks.push_back(text.substr(at, length));
        }
    }
    std::sort(marks.begin(), marks.end());
    return marks;
}

size_t lengthOfMark(const std::string& text, size_t at)
{
    Conversion conversion;
    if (text[at] == '%') {
        return readConversion(text, at, &conversion) ? conversion.end - at : 0;
    }
    if (text.compare(at, 2, "^c") == 0) {
        return 2;
    }
    return text.compare(at, 2, "^C") == 0 ? 2 + std::min<size_t>(6, countHexDigits(text, at + 2)) : 0;
}

// Returns the number of bytes of the UTF-8 character at a byte; 0 if it is not valid.
static size_t lengthOfCharacter(const std::string& text, size_t at)
{
    const auto byte = [&](size_t index) {
        return index < text.size() ? static_cast<unsigned char>(text[index]) : 0u;
    };
    const unsigned int first = byte(at);
    if (first < 0x80) {
        return 1;
    }
    const size_t length = first >= 0xf5 ? 0 : first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : first >= 0xc2 ? 2 : 0;
    for (size_t index = 1; index < length; ++index) {
        if ((byte(at + index) & 0xc0) != 0x80) {
            return 0;
        }
    }
    const unsigned int second = byte(at + 1);
    const bool isTooLong = (first == 0xe0 && second < 0xa0) || (first == 0xf0 && second < 0x90);
    const bool isNoCharacter = (first == 0xed && second >= 0xa0) || (first == 0xf4 && second >= 0x90);
    return isTooLong || isNoCharacter ? 0 : length;
}

size_t findInvalidUtf8(const std::string& text)
{
    for (size_t at = 0; at < text.size();) {
        const size_t length = lengthOfCharacter(text, at);
        if (length == 0) {
            return at;
        }
        at += length;
    }
    return std::string::npos;
}

std::string foldCase(const std::string& text)
{
    std::string folded = text;
    for (char& letter : folded) {
        letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + ('a' - 'A')) : letter;
    }
    return folded;
}

static const char sc_blanks[] = " \t\n\r\v\f";

std::string leadingBlanks(const std::string& text)
{
    return text.substr(0, std::min(text.find_first_not_of(sc_blanks), text.size()));
}

std::string trailingBlanks(const std::string& text)
{
    const size_t last = text.find_last_not_of(sc_blanks);
    return last == std::string::npos ? "" : text.substr(last + 1);
}

// The length of the longest common subsequence of both texts, in relation to their lengths.
double similarity(const std::string& left, const std::string& right)
{
    const size_t most = 400;
    const std::string first = foldCase(left.substr(0, most));
    const std::string second = foldCase(right.substr(0, most));
    if (first == second) {
        return 1;
    }
    std::vector<size_t> row(second.size() + 1, 0);
    for (const char letter : first) {
        size_t diagonal = 0;
        for (size_t index = 0; index < second.size(); ++index) {
            const size_t above = row[index + 1];
            row[index + 1] = letter == second[index] ? diagonal + 1 : std::max(above, row[index]);
            diagonal = above;
        }
    }
    return 2.0 * static_cast<double>(row.back()) / static_cast<double>(first.size() + second.size());
}
