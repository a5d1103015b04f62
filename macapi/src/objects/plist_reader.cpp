// Reads property lists.
//
// 1. m_rest is the text that is not read yet. Only functions named take... and skip... shorten it.
// 2. take(text) returns false, and does not shorten m_rest, if m_rest does not begin with the text. When any other
//    take... function returns false or null, reading ends. No function goes back to try another rule.
// 3. The only recursion is a value inside a value; its depth is counted. Values are counted too.
#include "macapi/src/objects/plist.h"

#include "macapi/src/objects/ascii.h"
#include "macapi/src/objects/encoding.h"
#include "macapi/src/objects/plist_pictures.h"
#include "macapi/src/objects/values.h"

#include <algorithm>
#include <charconv>
#include <new>
#include <strings.h>

namespace macapi {

static const char* const sc_space = " \t\r\n";

static bool isNameLetter(char letter)
{
    return isLetter(letter) || isDigit(letter) || letter == '-' || letter == '_' || letter == ':' || letter == '.';
}

// Returns true if XML allows all characters of the text to stand unescaped.
static bool isXmlText(std::string_view text)
{
    for (size_t position = 0; position < text.size();) {
        const char32_t character = nextCharacter(text, &position);
        const bool control = character < 0x20 && character != '\t' && character != '\n' && character != '\r';
        if (control || character == 0xfffe || character == 0xffff || character == sc_noCharacter) {
            return false;
        }
    }
    return true;
}

static std::string_view trimmed(std::string_view text)
{
    const size_t first = text.find_first_not_of(sc_space);
    return first == text.npos ? std::string_view() : text.substr(first, text.find_last_not_of(sc_space) + 1 - first);
}

// Returns the text that a string or key in the file means (see plist_pictures.h).
static std::string unpictured(std::string text)
{
    if (text.find('\\') == text.npos) {
        return text;
    }
    std::string result;
    size_t backslashes = 0; // just before the character
    for (size_t position = 0; position < text.size();) {
        const char32_t character = nextCharacter(text, &position);
        if (const char32_t pictured = picturedBy(character)) {
            result.resize(result.size() - (backslashes + 1) / 2);
            appendCharacter(&result, backslashes % 2 == 1 ? pictured : character);
        } else {
            appendCharacter(&result, character);
        }
        backslashes = character == '\\' ? backslashes + 1 : 0;
    }
    return result;
}

// Accepts a decimal number, or 0x and hexadecimal digits; a sign is optional.
static Ref<Object> integerFrom(std::string_view text)
{
    const bool negative = !text.empty() && text[0] == '-';
    if (negative || (!text.empty() && text[0] == '+')) {
        text.remove_prefix(1);
    }
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        text.remove_prefix(2);
        base = 16;
    }
    uint64_t magnitude = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, magnitude, base);
    if (error != std::errc() || stop != end) {
        return nullptr;
    }
    return make<__CFNumber>(magnitude, negative);
}

static Ref<Object> realFrom(std::string_view text)
{
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') {
        text.remove_prefix(1); // from_chars accepts no plus sign
    }
    double value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end) {
        return nullptr;
    }
    return make<__CFNumber>(value);
}

// Returns the number that the digits at position form; digits is their count.
static int numberAt(std::string_view text, size_t position, size_t digits)
{
    int number = 0;
    for (char digit : text.substr(position, digits)) {
        number = number * 10 + (digit - '0');
    }
    return number;
}

static Ref<Object> dateFrom(std::string_view text)
{
    static const std::string_view sc_form = "0000-00-00T00:00:00Z";
    bool fits = text.size() == sc_form.size();
    for (size_t i = 0; fits && i < text.size(); i++) {
        fits = sc_form[i] == '0' ? isDigit(text[i]) : text[i] == sc_form[i];
    }
    if (!fits) {
        return nullptr;
    }
    const int year = numberAt(text, 0, 4);
    const int month = numberAt(text, 5, 2);
    const int day = numberAt(text, 8, 2);
    const bool leapYear = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    static const int sc_days[] = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month < 1 || month > 12 || day < 1 || day > sc_days[month] + (month == 2 && leapYear ? 1 : 0)) {
        return nullptr;
    }
    if (numberAt(text, 11, 2) > 23 || numberAt(text, 14, 2) > 59 || numberAt(text, 17, 2) > 59) {
        return nullptr;
    }
    return make<__CFDate>(std::string(text));
}

static int base64Value(char letter)
{
    static const std::string_view sc_alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const size_t value = sc_alphabet.find(letter);
    return value == sc_alphabet.npos ? -1 : static_cast<int>(value);
}

static Ref<Object> dataFrom(std::string_view text)
{
    std::string bytes;
    unsigned int bits = 0;
    size_t letters = 0;
    size_t padding = 0;
    for (char letter : text) {
        if (letter == ' ' || letter == '\t' || letter == '\r' || letter == '\n') {
            continue;
        }
        const int value = base64Value(letter);
        if (letter == '=') {
            padding++;
        } else if (value < 0 || padding > 0) {
            return nullptr;
        }
        bits = bits << 6 | (letter == '=' ? 0u : static_cast<unsigned int>(value));
        if (++letters % 4 == 0) {
            bytes += {static_cast<char>(bits >> 16), static_cast<char>(bits >> 8), static_cast<char>(bits)};
            bits = 0;
        }
    }
    if (letters % 4 != 0 || padding > 2) {
        return nullptr;
    }
    bytes.resize(bytes.size() - padding);
    return make<__CFData>(std::move(bytes));
}

namespace {

struct Tag {
    std::string_view name;
    std::string_view encoding; // the attribute of that name
    bool empty;                // <name/>
};

class Reader {
public:
    explicit Reader(std::string_view text) : m_rest(text) {}

    Ref<Object> takeDocument();
    bool hasTooMany() const { return m_values > sc_plistValues; }

private:
    bool startsWith(std::string_view text) const { return m_rest.substr(0, text.size()) == text; }
    bool take(std::string_view text);
    bool skipBehind(std::string_view end);
    void skipBetween();
    std::string_view takeName();

    bool takeAttributes(Tag* tag);
    bool takeOpening(Tag* tag);
    bool takeClosing(std::string_view name);
    bool takeDeclaration();
    bool takeDocumentType();

    bool takeText(const Tag& tag, std::string* text);
    bool takeReference(std::string* text);
    Ref<Object> takeValue(int depth);
    Ref<Object> takeArray(const Tag& tag, int depth);
    Ref<Object> takeDictionary(const Tag& tag, int depth);

    std::string_view m_rest;
    int m_values = 0; // so far
};

bool Reader::take(std::string_view text)
{
    if (!startsWith(text)) {
        return false;
    }
    m_rest.remove_prefix(text.size());
    return true;
}

// Moves past the next occurrence of the text end. Returns false, and does not move, if there is none.
bool Reader::skipBehind(std::string_view end)
{
    const size_t position = m_rest.find(end);
    if (position == m_rest.npos) {
        return false;
    }
    m_rest.remove_prefix(position + end.size());
    return true;
}

// Skips white space, comments and processing instructions. Does not skip a comment or an instruction without an end;
// no take... function accepts its beginning, so reading ends.
void Reader::skipBetween()
{
    do {
        m_rest.remove_prefix(std::min(m_rest.find_first_not_of(sc_space), m_rest.size()));
    } while ((startsWith("<!--") && skipBehind("-->")) || (startsWith("<?") && skipBehind("?>")));
}

std::string_view Reader::takeName()
{
    size_t length = 0;
    while (length < m_rest.size() && isNameLetter(m_rest[length])) {
        length++;
    }
    const std::string_view name = m_rest.substr(0, length);
    m_rest.remove_prefix(length);
    return name;
}

// Reads the attributes, but not the end of the tag.
bool Reader::takeAttributes(Tag* tag)
{
    for (;;) {
        const size_t space = std::min(m_rest.find_first_not_of(sc_space), m_rest.size());
        m_rest.remove_prefix(space);
        if (m_rest.empty() || m_rest[0] == '>' || m_rest[0] == '/' || m_rest[0] == '?') {
            return !m_rest.empty();
        }
        const std::string_view name = takeName();
        if (space == 0 || name.empty() || !take("=") || !(startsWith("\"") || startsWith("'"))) {
            return false;
        }
        const char quote = m_rest[0];
        const size_t end = m_rest.find(quote, 1);
        if (end == m_rest.npos || m_rest.substr(0, end).find('<') != m_rest.npos) {
            return false;
        }
        if (name == "encoding") {
            tag->encoding = m_rest.substr(1, end - 1);
        }
        m_rest.remove_prefix(end + 1);
    }
}

bool Reader::takeOpening(Tag* tag)
{
    if (!take("<")) {
        return false;
    }
    *tag = {takeName(), {}, false};
    if (tag->name.empty() || !isLetter(tag->name[0]) || !takeAttributes(tag)) {
        return false;
    }
    tag->empty = take("/");
    return take(">");
}

bool Reader::takeClosing(std::string_view name)
{
    if (!take("</") || takeName() != name) {
        return false;
    }
    m_rest.remove_prefix(std::min(m_rest.find_first_not_of(sc_space), m_rest.size()));
    return take(">");
}

// <?xml version="1.0" encoding="UTF-8"?>. Only the encoding matters.
bool Reader::takeDeclaration()
{
    Tag tag = {};
    if (!take("<?xml") || !takeAttributes(&tag) || !take("?>")) {
        return false;
    }
    const std::string encoding(tag.encoding);
    return encoding.empty() || strcasecmp(encoding.c_str(), "utf-8") == 0 ||
           strcasecmp(encoding.c_str(), "us-ascii") == 0;
}

// Skips the rest of <!DOCTYPE ...>, with or without declarations in brackets. Entities that it declares are ignored:
// a reference to such an entity does not parse.
bool Reader::takeDocumentType()
{
    bool brackets = false;
    while (!m_rest.empty()) {
        if (startsWith("<!--") || startsWith("<?")) {
            if (!skipBehind(startsWith("<?") ? "?>" : "-->")) {
                return false;
            }
            continue;
        }
        const char letter = m_rest[0];
        m_rest.remove_prefix(1);
        if (letter == '>' && !brackets) {
            return true;
        }
        if (letter == '[' || letter == ']') {
            brackets = letter == '[';
        } else if ((letter == '"' || letter == '\'') && !skipBehind({&letter, 1})) {
            return false;
        }
    }
    return false;
}

Ref<Object> Reader::takeDocument()
{
    if (!isXmlText(m_rest)) {
        return nullptr;
    }
    take("\xef\xbb\xbf"); // a byte order mark, which some editors write
    if (startsWith("<?xml") && !takeDeclaration()) {
        return nullptr;
    }
    skipBetween();
    if (take("<!DOCTYPE") && !takeDocumentType()) {
        return nullptr;
    }
    skipBetween();
    Tag tag;
    if (!takeOpening(&tag) || tag.name != "plist" || tag.empty) {
        return nullptr;
    }
    Ref<Object> value = takeValue(1);
    if (!value) {
        return nullptr;
    }
    skipBetween();
    if (!takeClosing("plist")) {
        return nullptr;
    }
    skipBetween();
    return m_rest.empty() ? std::move(value) : nullptr;
}

// Reads one of the five named entities, or a character's number: &#60; or &#x3c;.
bool Reader::takeReference(std::string* text)
{
    static const struct {
        std::string_view reference;
        char letter;
    } sc_references[] = {{"&lt;", '<'}, {"&gt;", '>'}, {"&amp;", '&'}, {"&quot;", '"'}, {"&apos;", '\''}};
    for (const auto& known : sc_references) {
        if (take(known.reference)) {
            *text += known.letter;
            return true;
        }
    }
    if (!take("&#")) {
        return false;
    }
    const int base = take("x") ? 16 : 10;
    uint32_t character = 0;
    const char* end = m_rest.data() + m_rest.size();
    const auto [stop, error] = std::from_chars(m_rest.data(), end, character, base);
    const bool surrogate = character >= 0xd800 && character <= 0xdfff;
    if (error != std::errc() || character == 0 || character > 0x10ffff || surrogate) {
        return false;
    }
    m_rest.remove_prefix(stop - m_rest.data());
    appendCharacter(text, character);
    return take(";");
}

static void appendLines(std::string* text, std::string_view part)
{
    for (size_t i = 0; i < part.size(); i++) {
        if (part[i] != '\r') {
            *text += part[i];
        } else if (i + 1 == part.size() || part[i + 1] != '\n') {
            *text += '\n'; // XML turns every line end into a line feed
        }
    }
}

// Reads the text between a tag and its closing tag.
bool Reader::takeText(const Tag& tag, std::string* text)
{
    if (tag.empty) {
        return true;
    }
    for (;;) {
        const size_t length = m_rest.find_first_of("<&");
        if (length == m_rest.npos) {
            return false;
        }
        appendLines(text, m_rest.substr(0, length));
        m_rest.remove_prefix(length);
        if (m_rest[0] == '&') {
            if (!takeReference(text)) {
                return false;
            }
        } else if (take("<![CDATA[")) {
            const size_t end = m_rest.find("]]>");
            if (end == m_rest.npos) {
                return false;
            }
            appendLines(text, m_rest.substr(0, end));
            m_rest.remove_prefix(end + 3);
        } else if (startsWith("</")) {
            return takeClosing(tag.name);
        } else if (!(startsWith("<!--") && skipBehind("-->")) && !(startsWith("<?") && skipBehind("?>"))) {
            return false;
        }
    }
}

Ref<Object> Reader::takeArray(const Tag& tag, int depth)
{
    __CFArray::Items items;
    for (skipBetween(); !tag.empty && !startsWith("</"); skipBetween()) {
        Ref<Object> item = takeValue(depth + 1);
        if (!item) {
            return nullptr;
        }
        items.push_back(std::move(item));
    }
    if (!tag.empty && !takeClosing(tag.name)) {
        return nullptr;
    }
    return make<__CFArray>(std::move(items));
}

Ref<Object> Reader::takeDictionary(const Tag& tag, int depth)
{
    __CFDictionary::Entries entries;
    for (skipBetween(); !tag.empty && !startsWith("</"); skipBetween()) {
        Tag keyTag;
        std::string key;
        if (!takeOpening(&keyTag) || keyTag.name != "key" || !takeText(keyTag, &key)) {
            return nullptr;
        }
        Ref<Object> value = takeValue(depth + 1);
        if (!value) {
            return nullptr;
        }
        entries[unpictured(std::move(key))] = std::move(value); // if a key appears twice, the later value counts
    }
    if (!tag.empty && !takeClosing(tag.name)) {
        return nullptr;
    }
    return make<__CFDictionary>(std::move(entries));
}

Ref<Object> Reader::takeValue(int depth)
{
    skipBetween();
    Tag tag;
    if (depth > sc_plistDepth || ++m_values > sc_plistValues || !takeOpening(&tag)) {
        return nullptr;
    }
    if (tag.name == "dict") {
        return takeDictionary(tag, depth);
    }
    if (tag.name == "array") {
        return takeArray(tag, depth);
    }
    std::string text;
    if (!takeText(tag, &text)) {
        return nullptr;
    }
    if (tag.name == "string") {
        return make<__CFString>(unpictured(std::move(text)));
    }
    if (tag.name == "integer") {
        return integerFrom(trimmed(text));
    }
    if (tag.name == "real") {
        return realFrom(trimmed(text));
    }
    if (tag.name == "date") {
        return dateFrom(trimmed(text));
    }
    if (tag.name == "data") {
        return dataFrom(text);
    }
    if ((tag.name == "true" || tag.name == "false") && text.empty()) {
        return makeBoolean(tag.name == "true");
    }
    return nullptr;
}

} // namespace

Ref<Object> readPlist(std::string_view text, bool* isTooMuch)
{
    Reader reader(text);
    Ref<Object> value;
    bool isOutOfMemory = false;
    try {
        value = reader.takeDocument();
    } catch (const std::bad_alloc&) {
        isOutOfMemory = true;
    }
    if (isTooMuch) {
        *isTooMuch = isOutOfMemory || reader.hasTooMany();
    }
    return value;
}

} // namespace macapi
