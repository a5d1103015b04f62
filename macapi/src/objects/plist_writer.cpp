// Writes property lists: one line for each tag, one tab for each level.
#include "macapi/src/objects/plist.h"

#include "macapi/src/objects/encoding.h"
#include "macapi/src/objects/plist_pictures.h"
#include "macapi/src/objects/values.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string.h>

namespace macapi {

// Returns true if each character stands for itself: ASCII without control characters, and none of <, >, & and \.
static bool isPlain(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), [](char byte) {
        return byte >= ' ' && byte <= '~' && byte != '<' && byte != '>' && byte != '&' && byte != '\\';
    });
}

// A carriage return is written by its number, because readers turn the character itself into a line feed.
static std::string escaped(const std::string& text)
{
    std::string result;
    size_t backslashes = 0; // just before the character
    for (size_t position = 0; position < text.size();) {
        const size_t start = position;
        const char32_t character = nextCharacter(text, &position);
        const char32_t picture = pictureOf(character);
        if (picture != 0) {
            result.append(backslashes + 1, '\\');
            appendCharacter(&result, picture);
        } else if (character == '<') {
            result += "&lt;";
        } else if (character == '>') {
            result += "&gt;";
        } else if (character == '&') {
            result += "&amp;";
        } else if (character == '\r') {
            result += "&#13;";
        } else {
            if (picturedBy(character) != 0) {
                result.append(backslashes, '\\');
            }
            result.append(text, start, position - start);
        }
        backslashes = character == '\\' ? backslashes + 1 : 0;
    }
    return result;
}

static std::string base64(const std::string& bytes)
{
    static const char sc_alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (size_t i = 0; i < bytes.size(); i += 3) {
        unsigned char three[3] = {};
        const size_t length = bytes.copy(reinterpret_cast<char*>(three), 3, i);
        const unsigned int bits = three[0] << 16 | three[1] << 8 | three[2];
        text += sc_alphabet[bits >> 18];
        text += sc_alphabet[bits >> 12 & 63];
        text += length > 1 ? sc_alphabet[bits >> 6 & 63] : '=';
        text += length > 2 ? sc_alphabet[bits & 63] : '=';
    }
    return text;
}

// Returns the shortest text that reads back as the same double.
static std::string realText(double value)
{
    if (std::isnan(value)) {
        return "nan";
    }
    if (std::isinf(value)) {
        return value > 0 ? "+infinity" : "-infinity";
    }
    char digits[32];
    return std::string(digits, std::to_chars(digits, digits + sizeof(digits), value).ptr);
}

static void appendElement(const char* name, const std::string& content, std::string* out)
{
    out->append("<").append(name).append(">").append(content).append("</").append(name).append(">\n");
}

// The fast path is for plain texts, as most are.
static void appendText(const char* name, const std::string& text, std::string* out)
{
    if (isPlain(text)) {
        appendElement(name, text, out);
    } else {
        appendElement(name, escaped(text), out);
    }
}

static bool append(const Object& value, int depth, int* values, std::string* out);

static bool appendItems(const __CFArray& array, int depth, int* values, std::string* out)
{
    *out += "<array>\n";
    for (const Ref<Object>& item : array.items) {
        out->append(depth, '\t');
        if (!append(*item, depth + 1, values, out)) {
            return false;
        }
    }
    out->append(depth - 1, '\t');
    *out += "</array>\n";
    return true;
}

static bool appendEntries(const __CFDictionary& dictionary, int depth, int* values, std::string* out)
{
    *out += "<dict>\n";
    for (const auto& [key, value] : dictionary.entries) {
        out->append(depth, '\t');
        appendText("key", key, out);
        out->append(depth, '\t');
        if (!append(*value, depth + 1, values, out)) {
            return false;
        }
    }
    out->append(depth - 1, '\t');
    *out += "</dict>\n";
    return true;
}

static void appendNumber(const __CFNumber& number, std::string* out)
{
    if (number.isReal) {
        appendElement("real", realText(number.real), out);
    } else {
        appendElement("integer", (number.negative ? "-" : "") + std::to_string(number.magnitude), out);
    }
}

// Appends the value. The caller has indented its first line. *values counts the values written.
static bool append(const Object& value, int depth, int* values, std::string* out)
{
    if (depth > sc_plistDepth || ++*values > sc_plistValues) {
        return false;
    }
    switch (value.kind) {
    case Kind::Array:
        return appendItems(static_cast<const __CFArray&>(value), depth, values, out);
    case Kind::Dictionary:
        return appendEntries(static_cast<const __CFDictionary&>(value), depth, values, out);
    case Kind::String:
        appendText("string", static_cast<const __CFString&>(value).text, out);
        return true;
    case Kind::Number:
        appendNumber(static_cast<const __CFNumber&>(value), out);
        return true;
    case Kind::Boolean:
        *out += static_cast<const __CFBoolean&>(value).value ? "<true/>\n" : "<false/>\n";
        return true;
    case Kind::Date:
        appendElement("date", static_cast<const __CFDate&>(value).text, out);
        return true;
    case Kind::Data:
        appendElement("data", base64(static_cast<const __CFData&>(value).bytes), out);
        return true;
    case Kind::Bundle:
    case Kind::URL:
        break;
    }
    return false;
}

bool writePlist(const Object& value, std::string* text)
{
    std::string written = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n";
    int values = 0;
    if (!append(value, 1, &values, &written)) {
        return false;
    }
    *text = std::move(written) + "</plist>\n";
    return true;
}

} // namespace macapi
