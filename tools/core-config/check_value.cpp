// 1. The library reads the value (readValue). A value that it stores as another one is a fault.
// 2. The first fault of a value is the only one.
#include "tools/core-config/check_value.h"

#include "tools/core-config/library.h"
#include "tools/core-config/nearest.h"

#include <algorithm>
#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

namespace config {

static Fault faultOf(const Value& value, const std::string& what, const std::string& instead, const char* check)
{
    return {value.place, std::max<size_t>(value.text.size(), 1), true, what, instead, check, {}};
}

static std::string writeForm(const NameSchema& name)
{
    return "write " + name.name + (name.hasEquals ? " = " : " ") + formOf(name);
}

static bool isSameInteger(const std::string& written, const std::string& read)
{
    errno = 0;
    const long long number = strtoll(written.c_str(), nullptr, 10);
    return errno == 0 && number == strtoll(read.c_str(), nullptr, 10);
}

// Checks the number that a reader of integers or floats stores.
static bool checkNumberValue(const NameSchema& name, const Value& value, Faults* faults)
{
    const StoredValue stored = readValue(name.type, name.name, value.text);
    if (!stored.isRead) {
        faults->push_back(
            faultOf(value, "the game reads no number from " + quoted(value.text) + " and says: " + stored.message,
                    writeForm(name), "wrong-type"));
        return false;
    }
    const NumberFacts facts = numberFactsOf(value.text.c_str());
    const bool isFloat = name.type == TYPE_FLOAT32;
    const bool isWhole = (isFloat ? facts.length : facts.integerLength) == value.text.size();
    const double written = strtod(value.text.c_str(), nullptr);
    const double read = strtod(stored.text.c_str(), nullptr);
    const bool isSame = isFloat ? (written == 0) == (read == 0) &&
                                      (read - read == 0) == (written - written == 0) // not 0, not infinite
                                : isSameInteger(value.text, stored.text);
    if (!isWhole || !isSame) {
        faults->push_back(faultOf(value, "the game reads " + quoted(value.text) + " as " + stored.text,
                                  writeForm(name), "changed-value"));
    } else if (!name.range.has(read)) {
        faults->push_back(
            faultOf(value, stored.text + " is out of the range of " + quoted(name.name), writeForm(name), "range"));
    }
    return isWhole && isSame;
}

static void checkTruthValue(const NameSchema& name, const Value& value, Faults* faults)
{
    const StoredValue stored = readValue(TYPE_BOOL, name.name, value.text);
    if (!stored.isRead) {
        faults->push_back(faultOf(value,
                                  quoted(value.text) + " is neither true nor false; the game stores " + stored.text,
                                  "write " + name.name + " = true or " + name.name + " = false", "wrong-type"));
    }
}

// Checks the number of bytes of a text.
static void checkLength(const NameSchema& name, const Value& value, const std::string& text, Faults* faults)
{
    const double length = static_cast<double>(text.size());
    if (length > name.range.greatest) {
        const size_t most = static_cast<size_t>(std::max(0.0, name.range.greatest));
        faults->push_back(faultOf(value,
                                  "the text has " + std::to_string(text.size()) +
                                      " bytes, and the game keeps the first " + std::to_string(most) + ": " +
                                      quoted(text.substr(0, most)),
                                  "write a shorter text", "cut-text"));
    } else if (!name.range.has(length)) {
        faults->push_back(faultOf(value, "the text has " + counted(text.size(), "byte"),
                                  "write a text of at least " + name.range.low, "range"));
    }
}

static void checkChoice(const NameSchema& name, const Value& value, const std::string& text, Faults* faults)
{
    const auto isIt = [&](const std::string& choice) { return choice == text; };
    if (name.choices.empty() || std::any_of(name.choices.begin(), name.choices.end(), isIt)) {
        return;
    }
    const std::string likely = nearest(text, name.choices);
    std::string all;
    for (const std::string& choice : name.choices) {
        all += (all.empty() ? "write one of " : ", ") + quoted(choice);
    }
    faults->push_back(faultOf(value, quoted(text) + " is no value of " + quoted(name.name),
                              likely.empty() ? all : "did you mean " + quoted(likely) + '?', "unknown-value"));
}

// A number of a preferences file, which Preferences::read converts as atoi does.
static void checkIniNumber(const NameSchema& name, const Value& value, Faults* faults)
{
    char* end = nullptr;
    const long long read = std::clamp<long long>(strtoll(value.text.c_str(), &end, 10), INT_MIN, INT_MAX);
    const bool isEmpty = value.text.empty(); // the game uses its default
    const double written = strtod(value.text.c_str(), nullptr);
    const bool isWhole = end != value.text.c_str() && *end == '\0' && written >= INT_MIN && written <= INT_MAX;
    if (!isEmpty && !isWhole) {
        faults->push_back(faultOf(value, "the game reads " + quoted(value.text) + " as " + std::to_string(read),
                                  "write " + name.name + '=' + formOf(name), "changed-value"));
    } else if (!isEmpty && !name.range.has(static_cast<double>(read))) {
        faults->push_back(faultOf(value, std::to_string(read) + " is out of the range of " + quoted(name.name),
                                  "write " + name.name + '=' + formOf(name), "range"));
    }
}

static void checkTextValue(const NameSchema& name, const Value& value, Faults* faults)
{
    const bool isClosed = value.text.size() > 1 && value.text.front() == '"' && value.text.back() == '"';
    if (!isClosed) {
        if (value.text[0] != '"') { // else the check of the form says it
            faults->push_back(faultOf(value, "the game reads no text from " + quoted(value.text),
                                      "write " + name.name + (name.hasEquals ? " = " : " ") + "\"text\"",
                                      "wrong-type"));
        }
        return;
    }
    const std::string text = unescaped(value.text.substr(1, value.text.size() - 2));
    checkLength(name, value, text, faults);
    checkChoice(name, value, text, faults);
}

void checkValue(const NameSchema& name, const Value& value, Faults* faults)
{
    switch (name.type) {
    case TYPE_STRING:
        checkTextValue(name, value, faults);
        break;
    case TYPE_BOOL:
        checkTruthValue(name, value, faults);
        break;
    case TYPE_INT:
        checkIniNumber(name, value, faults);
        break;
    case TYPE_WORD:
        checkChoice(name, value, value.text, faults);
        break;
    case TYPE_TEXT:
        checkLength(name, value, value.text, faults);
        checkChoice(name, value, value.text, faults);
        break;
    default:
        if (checkNumberValue(name, value, faults)) {
            checkChoice(name, value, value.text, faults);
        }
    }
}

// ---- The usual case

// Reads up to `most` digits, perhaps with a sign and a point. Returns false for any other word.
static bool readPlainNumber(const char* bytes, size_t length, size_t most, bool hasPoint, double* number)
{
    size_t digits = 0;
    int whole = 0;
    int scale = 0; // 10 for each digit after the point; 0 before it
    const bool isSigned = length > 0 && (bytes[0] == '-' || bytes[0] == '+');
    for (size_t at = isSigned; at < length; ++at) {
        if (hasPoint && bytes[at] == '.' && scale == 0) {
            scale = 1;
        } else if (bytes[at] < '0' || bytes[at] > '9' || ++digits > most) {
            return false;
        } else {
            whole = whole * 10 + (bytes[at] - '0');
            scale *= 10;
        }
    }
    *number = (bytes[0] == '-' ? -whole : whole) / static_cast<double>(std::max(scale, 1));
    return digits > 0;
}

// All integers of nine digits have the same value for each reader of 32 bits or more.
static bool isPlainInteger(const NameSchema& name, const char* bytes, size_t length)
{
    double number = 0;
    const double limit = name.type == TYPE_INT8 ? 127 : name.type == TYPE_INT16 ? 32767 : 999999999;
    return readPlainNumber(bytes, length, 9, false, &number) && number <= limit &&
           number >= (name.type == TYPE_UINT32 ? 0 : -limit) && name.range.has(number);
}

// A float stores six digits as they are written.
static bool isPlainFloat(const NameSchema& name, const char* bytes, size_t length)
{
    double number = 0;
    return readPlainNumber(bytes, length, 6, true, &number) && name.range.has(number);
}

static bool isPlainString(const NameSchema& name, const char* bytes, size_t length)
{
    return length > 1 && bytes[0] == '"' && bytes[length - 1] == '"' && !memchr(bytes, '\\', length) &&
           name.range.has(static_cast<double>(length - 2));
}

bool isPlainlyRight(const NameSchema& name, const char* bytes, size_t length)
{
    if (!name.choices.empty()) {
        return false;
    }
    switch (name.type) {
    case TYPE_FLOAT32:
        return isPlainFloat(name, bytes, length);
    case TYPE_BOOL:
        return (length == 4 && strncasecmp(bytes, "true", 4) == 0) ||
               (length == 5 && strncasecmp(bytes, "false", 5) == 0);
    case TYPE_STRING:
        return isPlainString(name, bytes, length);
    case TYPE_WORD:
        return true;
    case TYPE_INT:
    case TYPE_TEXT:
        return false;
    default:
        return isPlainInteger(name, bytes, length);
    }
}

} // namespace config
