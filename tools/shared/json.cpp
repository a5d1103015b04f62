#include "tools/shared/json.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdio.h>

struct Json::Parts {
    std::string text;
    std::vector<Json> items;
    std::vector<JsonMember> members;
};

// ---- Making values

Json::Json() = default;

Json::Json(Kind kind) : m_kind(kind), m_parts(std::make_unique<Parts>())
{
}

Json::Json(bool value) : m_kind(Kind::Bool), m_integer(value)
{
}

Json::Json(Integer integer) : m_kind(integer.isSigned ? Kind::Signed : Kind::Unsigned), m_integer(integer.bits)
{
}

Json::Json(double value) : m_kind(Kind::Double), m_double(value)
{
}

Json::Json(const char* text) : Json(std::string(text))
{
}

Json::Json(const std::string& text) : Json(Kind::Text)
{
    m_parts->text = text;
}

Json::Json(const std::vector<std::string>& texts) : Json(Kind::Array)
{
    m_parts->items.assign(texts.begin(), texts.end());
}

Json::Json(const Json& other)
    : m_kind(other.m_kind), m_integer(other.m_integer), m_double(other.m_double),
      m_parts(other.m_parts ? std::make_unique<Parts>(*other.m_parts) : nullptr)
{
}

Json& Json::operator=(const Json& other)
{
    return *this = Json(other);
}

Json::Json(Json&&) noexcept = default;
Json& Json::operator=(Json&&) noexcept = default;
Json::~Json() = default;

Json Json::array(std::initializer_list<Json> items)
{
    Json json(Kind::Array);
    json.m_parts->items = items;
    return json;
}

Json Json::object(std::initializer_list<JsonMember> members)
{
    Json json(Kind::Object);
    json.m_parts->members = members;
    return json;
}

void Json::add(Json item)
{
    m_parts->items.push_back(std::move(item));
}

Json& Json::operator[](const std::string& name)
{
    if (isNull()) {
        *this = Json(Kind::Object);
    }
    std::vector<JsonMember>& members = m_parts->members;
    const auto known =
        std::find_if(members.begin(), members.end(), [&](const JsonMember& member) { return member.name == name; });
    return known == members.end() ? members.emplace_back(JsonMember{name, Json()}).value : known->value;
}

// ---- Reading values

const std::string& Json::asText() const
{
    return m_parts->text;
}

int64_t Json::asInteger() const
{
    return static_cast<int64_t>(m_integer);
}

double Json::asDouble() const
{
    return m_kind == Kind::Double   ? m_double
           : m_kind == Kind::Signed ? static_cast<double>(asInteger())
                                    : static_cast<double>(m_integer);
}

// ---- Strings

// Returns the length of the character of UTF-8 at `at`. When the bytes there are no character, stores false in isWhole
// and returns the count of bytes that could begin one, at least 1.
static size_t characterAt(const std::string& text, size_t at, bool* isWhole)
{
    const auto byteAt = [&](size_t place) {
        return place < text.size() ? static_cast<unsigned char>(text[place]) : 0u;
    };
    const unsigned int first = byteAt(at);
    *isWhole = first < 0x80;
    if (first < 0xc2 || first > 0xf4) {
        return 1;
    }
    // The second byte has narrower limits where the character would be too long, a surrogate, or above U+10FFFF.
    const size_t length = first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
    unsigned int least = first == 0xe0 ? 0xa0 : first == 0xf0 ? 0x90 : 0x80;
    unsigned int most = first == 0xed ? 0x9f : first == 0xf4 ? 0x8f : 0xbf;
    for (size_t count = 1; count < length; ++count) {
        const unsigned int byte = byteAt(at + count);
        if (byte < least || byte > most) {
            return count;
        }
        least = 0x80;
        most = 0xbf;
    }
    *isWhole = true;
    return length;
}

static std::string escaped(char letter)
{
    switch (letter) {
    case '"':
        return "\\\"";
    case '\\':
        return "\\\\";
    case '\b':
        return "\\b";
    case '\f':
        return "\\f";
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    }
    char code[8];
    snprintf(code, sizeof(code), "\\u%04x", static_cast<unsigned int>(letter));
    return static_cast<unsigned char>(letter) < 0x20 ? code : std::string(1, letter);
}

std::string quotedForJson(const std::string& text)
{
    std::string result = "\"";
    for (size_t at = 0; at < text.size();) {
        bool isWhole = false;
        const size_t length = characterAt(text, at, &isWhole);
        if (!isWhole) {
            result += "\xef\xbf\xbd"; // U+FFFD, the replacement character
        } else if (length == 1) {
            result += escaped(text[at]);
        } else {
            result.append(text, at, length);
        }
        at += length;
    }
    return result + '"';
}

// ---- The whole text

// Returns the shortest decimal number that reads back as the same value. It has a point or an exponent, because some
// readers distinguish 1.0 from 1. JSON has no other numbers, so they become null.
static std::string numberText(double value)
{
    if (!std::isfinite(value)) {
        return "null";
    }
    const bool isPlain = value == 0 || (std::fabs(value) >= 1e-4 && std::fabs(value) < 1e15);
    char digits[32];
    const std::to_chars_result end = std::to_chars(
        digits, digits + sizeof(digits), value, isPlain ? std::chars_format::fixed : std::chars_format::scientific);
    const std::string text(digits, end.ptr);
    return text.find_first_of(".e") == std::string::npos ? text + ".0" : text;
}

static void appendBreak(std::string* text, int indent, int depth)
{
    if (indent >= 0) {
        text->append(1, '\n').append(static_cast<size_t>(indent * depth), ' ');
    }
}

// Returns the text of a value without items and members.
std::string Json::_scalar() const
{
    switch (m_kind) {
    case Kind::Bool:
        return m_integer ? "true" : "false";
    case Kind::Signed:
        return std::to_string(asInteger());
    case Kind::Unsigned:
        return std::to_string(m_integer);
    case Kind::Double:
        return numberText(m_double);
    case Kind::Text:
        return quotedForJson(asText());
    default:
        return "null";
    }
}

void Json::_append(std::string* text, int indent, int depth) const
{
    if (m_kind != Kind::Array && m_kind != Kind::Object) {
        *text += _scalar();
        return;
    }
    const size_t first = text->size();
    *text += m_kind == Kind::Array ? '[' : '{';
    const auto begin = [&] {
        *text += text->size() == first + 1 ? "" : ",";
        appendBreak(text, indent, depth + 1);
    };
    for (const Json& item : m_parts->items) {
        begin();
        item._append(text, indent, depth + 1);
    }
    for (const JsonMember& member : m_parts->members) {
        begin();
        *text += quotedForJson(member.name) + (indent >= 0 ? ": " : ":");
        member.value._append(text, indent, depth + 1);
    }
    if (text->size() != first + 1) {
        appendBreak(text, indent, depth);
    }
    *text += m_kind == Kind::Array ? ']' : '}';
}

std::string Json::text(int indent) const
{
    std::string text;
    _append(&text, indent, 0);
    return text;
}
