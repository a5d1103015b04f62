// Writes property lists: one line for each tag, one tab for each level.
#include "macapi/src/objects/plist.h"

#include "macapi/src/objects/encoding.h"
#include "macapi/src/objects/plist_pictures.h"
#include "macapi/src/objects/values.h"

#include <charconv>
#include <cmath>
#include <string.h>

namespace macapi {

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

static std::string element(const char* name, const std::string& content)
{
    return std::string("<") + name + ">" + content + "</" + name + ">\n";
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
        *out += element("key", escaped(key));
        out->append(depth, '\t');
        if (!append(*value, depth + 1, values, out)) {
            return false;
        }
    }
    out->append(depth - 1, '\t');
    *out += "</dict>\n";
    return true;
}

static std::string numberText(const __CFNumber& number)
{
    if (number.isReal) {
        return element("real", realText(number.real));
    }
    return element("integer", (number.negative ? "-" : "") + std::to_string(number.magnitude));
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
        *out += element("string", escaped(static_cast<const __CFString&>(value).text));
        return true;
    case Kind::Number:
        *out += numberText(static_cast<const __CFNumber&>(value));
        return true;
    case Kind::Boolean:
        *out += static_cast<const __CFBoolean&>(value).value ? "<true/>\n" : "<false/>\n";
        return true;
    case Kind::Date:
        *out += element("date", static_cast<const __CFDate&>(value).text);
        return true;
    case Kind::Data:
        *out += element("data", base64(static_cast<const __CFData&>(value).bytes));
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
