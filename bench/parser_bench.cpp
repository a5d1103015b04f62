// The time to read a config file, with core's parser and with its peers: code that uses strtok and sscanf of the C
// library, an INI reader, and memchr, which only finds the line feeds and so is the limit.
//
//     parser_bench [PART OF A SUBJECT]
#include "core/parser.h"

#include "file/file.h"
#include "peers.h"

#ifdef PEER_INIH
#include <ini.h>
#endif
#include <algorithm>
#include <charconv>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <string_view>
#include <strings.h>
#include <vector>

static const size_t sc_textSize = 5 << 20; // bytes; the text ends after the unit that reaches this size

// Returns a game's data file: a list of units, each with one value of each of eight types.
static std::string makeText()
{
    std::string text;
    for (unsigned int unit = 1; text.size() < sc_textSize; ++unit) {
        char block[512];
        snprintf(block, sizeof(block),
                 "// unit %u\r\nunit\r\n{\r\n"
                 "\tlevel = %u\r\n\tarmour = -%u\r\n\twidth = %u\r\n\tcolour = %u\r\n\tcost = %u%06u\r\n"
                 "\tscale = %u.%u\r\n\tvisible = %s\r\n\ttitle = \"Harbour crane %u\"\r\n"
                 "}\r\n\r\n",
                 unit, unit % 100, unit * 7 % 4096, unit * 13 % 1920, unit * 2654435761u, unit, unit * 31 % 1000000,
                 unit % 10, unit * 377 % 1000, unit % 3 ? "true" : "false", unit);
        text += block;
    }
    return text;
}

// Returns the lines with values alone, as an INI reader needs them: without braces, comments and indentation.
static std::string withoutBraces(const std::string& text)
{
    std::string result;
    for (size_t at = 0; at < text.size();) {
        const size_t end = text.find('\n', at) + 1;
        const std::string line = text.substr(at, end - at);
        result += line[0] == '\t' ? line.substr(1) : "";
        at = end;
    }
    return result;
}

struct Unit {
    signed char level;
    short armour;
    int width;
    unsigned int colour;
    long long cost;
    float scale;
    bool visible;
    char title[32];

    // A checksum of all fields.
    unsigned long long sum() const
    {
        unsigned int bits;
        memcpy(&bits, &scale, sizeof(bits));
        unsigned long long result = bits + static_cast<unsigned long long>(cost) * 31 + colour;
        result += static_cast<unsigned long long>(level + armour * 7 + width * 13) + visible;
        return result * 33 + strlen(title) + static_cast<unsigned char>(title[strlen(title) / 2]);
    }
};

// ---- The parser

static unsigned long long readWithParser(char* buffer)
{
    unsigned long long sum = 0;
    Unit unit = {};
    Parser parser(buffer);
    while (parser.ParseLine()) {
        const char* token = parser.GetToken(" ");
        if (!token) {
            continue;
        }
        if (parser.ParamEqualsInt8(token, "level", &unit.level) ||
            parser.ParamEqualsInt16(token, "armour", &unit.armour) ||
            parser.ParamEqualsInt32(token, "width", &unit.width) ||
            parser.ParamEqualsUInt32(token, "colour", &unit.colour) ||
            parser.ParamEqualsInt64(token, "cost", &unit.cost) ||
            parser.ParamEqualsFloat32(token, "scale", &unit.scale) ||
            parser.ParamEqualsBoolean(token, "visible", &unit.visible)) {
            continue;
        }
        if (parser.ParamEqualsString(token, "title", unit.title, sizeof(unit.title))) {
            sum += unit.sum(); // title is the last value of a unit
        }
    }
    return sum;
}

static unsigned long long countLinesWithParser(char* buffer)
{
    unsigned long long lines = 0;
    Parser parser(buffer);
    while (parser.ParseLine()) {
        ++lines;
    }
    return lines;
}

static unsigned long long countTokensWithParser(char* buffer)
{
    unsigned long long tokens = 0;
    Parser parser(buffer);
    while (parser.ParseLine()) {
        while (parser.GetToken(" ")) {
            ++tokens;
        }
    }
    return tokens;
}

// ---- The C library: strtok cuts lines and tokens, stricmp compares names, sscanf reads values

template <typename Value>
static bool scanValue(const char* token, const char* name, const char* format, Value* value)
{
    if (stricmp(token, name) != 0) {
        return false;
    }
    const char* equals = strtok(nullptr, " ");
    const char* number = strtok(nullptr, " ");
    return equals && number && strcmp(equals, "=") == 0 && sscanf(number, format, value) == 1;
}

static bool scanBoolean(const char* token, const char* name, bool* value)
{
    char word[8];
    if (!scanValue(token, name, "%7s", &word)) {
        return false;
    }
    *value = stricmp(word, "true") == 0;
    return true;
}

static bool scanString(const char* token, const char* name, char* text)
{
    if (stricmp(token, name) != 0) {
        return false;
    }
    const char* equals = strtok(nullptr, " ");
    const char* string = strtok(nullptr, "\"");
    return equals && string && strcmp(equals, "=") == 0 && sscanf(string, "%31[^\"]", text) == 1;
}

static unsigned long long readWithSscanf(char* buffer)
{
    unsigned long long sum = 0;
    Unit unit = {};
    int level = 0;
    char* rest;
    for (char* line = strtok_r(buffer, "\r\n", &rest); line; line = strtok_r(nullptr, "\r\n", &rest)) {
        const char* token = strtok(line, " \t");
        if (!token || strncmp(token, "//", 2) == 0) {
            continue;
        }
        if (scanValue(token, "level", "%d", &level)) {
            unit.level = static_cast<signed char>(level);
            continue;
        }
        if (scanValue(token, "armour", "%hd", &unit.armour) || scanValue(token, "width", "%d", &unit.width) ||
            scanValue(token, "colour", "%u", &unit.colour) || scanValue(token, "cost", "%lld", &unit.cost) ||
            scanValue(token, "scale", "%f", &unit.scale) || scanBoolean(token, "visible", &unit.visible)) {
            continue;
        }
        if (scanString(token, "title", unit.title)) {
            sum += unit.sum();
        }
    }
    return sum;
}

static unsigned long long countLinesWithStrtok(char* buffer)
{
    unsigned long long lines = 0;
    char* rest;
    for (char* line = strtok_r(buffer, "\n", &rest); line; line = strtok_r(nullptr, "\n", &rest)) {
        ++lines;
    }
    return lines;
}

static unsigned long long countTokensWithStrtok(char* buffer)
{
    unsigned long long tokens = 0;
    char* rest;
    for (char* line = strtok_r(buffer, "\r\n", &rest); line; line = strtok_r(nullptr, "\r\n", &rest)) {
        char* more;
        const bool isComment = line[0] == '/' && line[1] == '/';
        for (char* token = isComment ? nullptr : strtok_r(line, " \t", &more); token;
             token = strtok_r(nullptr, " \t", &more)) {
            ++tokens;
        }
    }
    return tokens;
}

static unsigned long long countLinesWithMemchr(const char* text, size_t size)
{
    unsigned long long lines = 0;
    const char* end = text + size;
    for (const char* line = text; (line = static_cast<const char*>(memchr(line, '\n', size_t(end - line)))); ++line) {
        ++lines;
    }
    return lines;
}

// ---- A reader written by hand for this one file: memchr finds the lines, from_chars reads the numbers. It accepts only
// lines of the form "name = value" with single spaces, reports no bad value, and decodes no escapes.

template <typename Value>
static void readInteger(std::string_view text, Value* value)
{
    long long number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    *value = static_cast<Value>(number);
}

static bool isName(std::string_view text, std::string_view name)
{
    return text.size() == name.size() && strncasecmp(text.data(), name.data(), name.size()) == 0;
}

// Reads the value of one name. Returns true if it was the last value of a unit.
static bool takeValue(Unit& unit, std::string_view name, std::string_view value)
{
    if (isName(name, "level")) {
        readInteger(value, &unit.level);
    } else if (isName(name, "armour")) {
        readInteger(value, &unit.armour);
    } else if (isName(name, "width")) {
        readInteger(value, &unit.width);
    } else if (isName(name, "colour")) {
        readInteger(value, &unit.colour);
    } else if (isName(name, "cost")) {
        readInteger(value, &unit.cost);
    } else if (isName(name, "scale")) {
        std::from_chars(value.data(), value.data() + value.size(), unit.scale);
    } else if (isName(name, "visible")) {
        unit.visible = isName(value, "true");
    } else if (isName(name, "title") && value.size() >= 2) {
        const size_t length = std::min(value.size() - 2, sizeof(unit.title) - 1);
        memcpy(unit.title, value.data() + 1, length);
        unit.title[length] = '\0';
        return true;
    }
    return false;
}

static unsigned long long readByHand(const char* text, size_t size)
{
    unsigned long long sum = 0;
    Unit unit = {};
    const char* const end = text + size;
    for (const char* line = text; line < end;) {
        const char* const feed = static_cast<const char*>(memchr(line, '\n', static_cast<size_t>(end - line)));
        const char* const next = feed ? feed + 1 : end;
        const char* const last = feed && feed > line && feed[-1] == '\r' ? feed - 1 : feed ? feed : end;
        while (line < last && (*line == ' ' || *line == '\t')) {
            ++line;
        }
        const char* nameEnd = line;
        while (nameEnd < last && *nameEnd != ' ') {
            ++nameEnd;
        }
        if (last - nameEnd > 3 && nameEnd[1] == '=' && nameEnd[2] == ' ' && *line != '/' &&
            takeValue(unit, std::string_view(line, static_cast<size_t>(nameEnd - line)),
                      std::string_view(nameEnd + 3, static_cast<size_t>(last - nameEnd - 3)))) {
            sum += unit.sum();
        }
        line = next;
    }
    return sum;
}

// ---- An INI reader. It gives values as texts; strtol, strtof and others convert them

#ifdef PEER_INIH
struct IniUnit : Unit {
    unsigned long long total;
};

static int takeIniValue(void* user, const char*, const char* name, const char* value)
{
    IniUnit& unit = *static_cast<IniUnit*>(user);
    if (strcasecmp(name, "level") == 0) {
        unit.level = static_cast<signed char>(strtol(value, nullptr, 10));
    } else if (strcasecmp(name, "armour") == 0) {
        unit.armour = static_cast<short>(strtol(value, nullptr, 10));
    } else if (strcasecmp(name, "width") == 0) {
        unit.width = static_cast<int>(strtol(value, nullptr, 10));
    } else if (strcasecmp(name, "colour") == 0) {
        unit.colour = static_cast<unsigned int>(strtoul(value, nullptr, 10));
    } else if (strcasecmp(name, "cost") == 0) {
        unit.cost = strtoll(value, nullptr, 10);
    } else if (strcasecmp(name, "scale") == 0) {
        unit.scale = strtof(value, nullptr);
    } else if (strcasecmp(name, "visible") == 0) {
        unit.visible = strcasecmp(value, "true") == 0;
    } else if (strcasecmp(name, "title") == 0) {
        snprintf(unit.title, sizeof(unit.title), "%.*s", static_cast<int>(strlen(value) - 2), value + 1);
        unit.total += unit.sum();
    }
    return 1;
}

static unsigned long long readWithIni(const char* text)
{
    IniUnit unit = {};
    ini_parse_string(text, takeIniValue, &unit);
    return unit.total;
}
#endif

// ---- The subjects

int main(int argc, char** argv)
{
    const std::string text = makeText();
    const std::string values = withoutBraces(text);
    const double lines = static_cast<double>(countLinesWithMemchr(text.c_str(), text.size()));
    const double valueLines = static_cast<double>(countLinesWithMemchr(values.c_str(), values.size()));
    std::vector<char> buffer;
    const auto fresh = [&] { buffer.assign(text.c_str(), text.c_str() + text.size() + 1); };
    const auto freshValues = [&] { buffer.assign(values.c_str(), values.c_str() + values.size() + 1); };

    Bench bench(argc, argv);
    bench.compare(
        "config file, cut into lines", "line", lines,
        {{"core", [&] { return countLinesWithParser(buffer.data()); }, fresh},
         {"strtok_r", [&] { return countLinesWithStrtok(buffer.data()); }, fresh},
         {"memchr, the line feeds alone", [&] { return countLinesWithMemchr(buffer.data(), text.size()); }, fresh}});
    bench.compare("config file, cut into tokens", "line", lines,
                  {{"core", [&] { return countTokensWithParser(buffer.data()); }, fresh},
                   {"strtok_r", [&] { return countTokensWithStrtok(buffer.data()); }, fresh}});
    bench.compare("config file, values of eight kinds", "line", lines,
                  {{"core", [&] { return readWithParser(buffer.data()); }, fresh},
                   {"strtok, stricmp, sscanf", [&] { return readWithSscanf(buffer.data()); }, fresh},
                   {"memchr, from_chars, by hand", [&] { return readByHand(buffer.data(), text.size()); }, fresh}});

    std::vector<Side> readers = {
        {"core", [&] { return readWithParser(buffer.data()); }, freshValues},
        {"strtok, stricmp, sscanf", [&] { return readWithSscanf(buffer.data()); }, freshValues}};
#ifdef PEER_INIH
    readers.push_back({"inih, strtol", [&] { return readWithIni(buffer.data()); }, freshValues});
#endif
    bench.compare("settings file, values of eight kinds", "line", valueLines, readers);
    return bench.result();
}
