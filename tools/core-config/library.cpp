#include "tools/core-config/library.h"

#include "core/parser.h"
#include "core/parser_numbers.h"
#include "core/str.h"
#include "logger/logger.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

static std::vector<std::string> s_messages;

// In the place of the logger library's function.
void owLogger::log(int, const char* format, ...)
{
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    s_messages.push_back(text);
}

namespace config {

static void removeAll(std::string* text, const std::string& part)
{
    for (size_t at = text->find(part); at != std::string::npos; at = text->find(part, at)) {
        text->erase(at, part.size());
    }
}

std::vector<std::string> takeMessages()
{
    std::vector<std::string> messages;
    messages.swap(s_messages);
    for (std::string& message : messages) {
        removeAll(&message, "^C00FF00");
        removeAll(&message, "^c");
        removeAll(&message, "\f");
    }
    return messages;
}

// Moves *line to the line with this place. The places of a text come nearly in order.
static void moveTo(size_t place, const std::vector<Line>& lines, size_t* line)
{
    while (place >= lines[*line].next && *line + 1 < lines.size()) {
        ++*line;
    }
    while (place < lines[*line].begin) {
        --*line;
    }
}

Reading readAsGame(const ConfigText& text, std::vector<LineFacts>* facts)
{
    Reading reading;
    std::string copy = text.bytes().substr(0, text.size()); // the parser cuts it
    Parser parser(&copy[0]);
    size_t line = 0;
    while (parser.ParseLine()) {
        const char* token = parser.GetToken(" ");
        if (!token) {
            continue;
        }
        const size_t place = static_cast<size_t>(token - copy.data());
        moveTo(place, text.lines(), &line);
        LineFacts& fact = (*facts)[line];
        if (place != fact.firstWord) {
            reading.pieces.push_back({line, place, token});
            continue;
        }
        ++fact.taken;
        if (fact.lacksValue && fact.taken == 1) {
            parser.GetEqualsToken();
            const char* value = parser.GetToken(" ");
            const size_t from = value ? static_cast<size_t>(value - copy.data()) : NO_WORD;
            reading.swallows.push_back({line, from, value ? value : ""});
        }
    }
    return reading;
}

NumberFacts numberFactsOf(const char* word)
{
    NumberFacts facts = {false, 0, 0, 0};
    long long integer;
    const char* end = ReadNumber(word, &integer);
    facts.integerLength = end ? static_cast<size_t>(end - word) : 0;
    end = ReadNumber(word, &facts.value);
    facts.length = end ? static_cast<size_t>(end - word) : 0;
    facts.isNumber = facts.integerLength > 0 || facts.length > 0;
    return facts;
}

std::string asInt32(const std::string& word)
{
    std::string line = "x = " + word;
    Parser parser(&line[0]);
    int value = 0;
    parser.ParseLine();
    parser.ParamEqualsInt32(parser.GetToken(" "), "x", &value);
    return std::to_string(value);
}

// Calls a reader of named parameters on the line "name = word". name may have blanks, so it is no word of the line.
template <typename Value>
static StoredValue callReader(bool (Parser::*reader)(const char*, const char*, Value*), const std::string& name,
                              const std::string& word, Value* value)
{
    std::string line = "x = " + word;
    Parser parser(&line[0]);
    takeMessages();
    parser.ParseLine();
    parser.GetToken(" ");
    (parser.*reader)(name.c_str(), name.c_str(), value);
    const std::vector<std::string> messages = takeMessages();
    return {messages.empty(), "",
            messages.empty() ? "" : messages.back().substr(messages.back().find_first_not_of('.'))};
}

template <typename Value>
static StoredValue readInteger(bool (Parser::*reader)(const char*, const char*, Value*), const std::string& name,
                               const std::string& word)
{
    Value value = 0;
    StoredValue stored = callReader(reader, name, word, &value);
    stored.text = std::to_string(value);
    return stored;
}

StoredValue readValue(e_ValueType type, const std::string& name, const std::string& word)
{
    float number = 0;
    bool truth = false;
    StoredValue stored;
    switch (type) {
    case TYPE_INT8:
        return readInteger(&Parser::ParamEqualsInt8, name, word);
    case TYPE_INT16:
        return readInteger(&Parser::ParamEqualsInt16, name, word);
    case TYPE_UINT32:
        return readInteger(&Parser::ParamEqualsUInt32, name, word);
    case TYPE_INT64:
        return readInteger(&Parser::ParamEqualsInt64, name, word);
    case TYPE_FLOAT32:
        stored = callReader(&Parser::ParamEqualsFloat32, name, word, &number);
        stored.text = shown(number);
        return stored;
    case TYPE_BOOL:
        stored = callReader(&Parser::ParamEqualsBoolean, name, word, &truth);
        stored.text = truth ? "true" : "false";
        return stored;
    default:
        return readInteger(&Parser::ParamEqualsInt32, name, word);
    }
}

// Calls a reader that the game has called for a named parameter.
static void callNamed(watch::e_Read reader, const char* name, Parser* parser)
{
    signed char small = 0;
    short middle = 0;
    int integers[2] = {0, 0};
    unsigned int word = 0;
    long long large = 0;
    float floats[2] = {0, 0};
    bool truth = false;
    char text[2] = "";
    switch (reader) {
    case watch::READ_INT8:
        parser->ParamEqualsInt8(name, name, &small);
        break;
    case watch::READ_INT16:
        parser->ParamEqualsInt16(name, name, &middle);
        break;
    case watch::READ_INT32:
        parser->ParamEqualsInt32(name, name, &integers[0]);
        break;
    case watch::READ_UINT32:
        parser->ParamEqualsUInt32(name, name, &word);
        break;
    case watch::READ_INT64:
        parser->ParamEqualsInt64(name, name, &large);
        break;
    case watch::READ_FLOAT32:
        parser->ParamEqualsFloat32(name, name, &floats[0]);
        break;
    case watch::READ_BOOL:
        parser->ParamEqualsBoolean(name, name, &truth);
        break;
    case watch::READ_TEXTVALUE:
        parser->ParamEqualsString(name, name, text, sizeof(text));
        break;
    case watch::READ_INT32_2:
        parser->ParamEqualsInt32_2(name, name, &integers[0], &integers[1]);
        break;
    case watch::READ_INT32_2X:
        parser->ParamEqualsInt32_2x(name, name, &integers[0], &integers[1]);
        break;
    case watch::READ_FLOAT32_2:
        parser->ParamEqualsFloat32_2(name, name, &floats[0], &floats[1]);
        break;
    default:
        parser->ParamEqualsFloat32_2x(name, name, &floats[0], &floats[1]);
    }
}

// Calls a reader of numbers at the line position.
static void callAtPosition(watch::e_Read reader, Parser* parser)
{
    int integers[3];
    float floats[2];
    switch (reader) {
    case watch::READ_GET_INT:
        parser->GetInt(&integers[0]);
        break;
    case watch::READ_GET_INT2:
        parser->GetInt2(&integers[0], &integers[1]);
        break;
    case watch::READ_GET_INT3:
        parser->GetInt3(&integers[0], &integers[1], &integers[2]);
        break;
    case watch::READ_GET_FLOAT:
        parser->GetFloat(&floats[0]);
        break;
    case watch::READ_GET_FLOAT2:
        parser->GetFloat2(&floats[0], &floats[1]);
        break;
    default:
        parser->GetBoolean();
    }
}

// Calls a reader of value lines. word has room for the line.
static void callForLine(watch::e_Read reader, char* word, Parser* parser)
{
    int integers[3];
    float floats[2];
    switch (reader) {
    case watch::READ_LINE_STRING:
        parser->ParseString(word);
        break;
    case watch::READ_LINE_CHAR:
        parser->ParseChar(word);
        break;
    case watch::READ_LINE_UTF8:
        parser->ParseUTF8(reinterpret_cast<unsigned char*>(word));
        break;
    case watch::READ_LINE_INT:
        parser->ParseInteger(&integers[0]);
        break;
    case watch::READ_LINE_INT2:
        parser->ParseInteger2(&integers[0], &integers[1]);
        break;
    case watch::READ_LINE_INT2X:
        parser->ParseInteger2x(&integers[0], &integers[1]);
        break;
    case watch::READ_LINE_INT3:
        parser->ParseInteger3(&integers[0], &integers[1], &integers[2]);
        break;
    case watch::READ_LINE_FLOAT:
        parser->ParseFloat(&floats[0]);
        break;
    case watch::READ_LINE_FLOAT2:
        parser->ParseFloat2(&floats[0], &floats[1]);
        break;
    default:
        parser->ParseFloat2x(&floats[0], &floats[1]);
    }
}

std::string complaintOf(watch::e_Read reader, const std::string& name, const std::string& rest)
{
    const bool isLine = reader >= watch::READ_LINE_STRING;
    std::string text = isLine ? rest : "x " + rest; // the name can have blanks, so it is no word of the line
    std::vector<char> word(text.size() + 2);
    Parser parser(&text[0]);
    takeMessages();
    if (isLine) {
        callForLine(reader, word.data(), &parser);
    } else if (parser.ParseLine() && parser.GetToken(" ")) {
        reader < watch::READ_GET_INT ? callNamed(reader, name.c_str(), &parser) : callAtPosition(reader, &parser);
    }
    const std::vector<std::string> messages = takeMessages();
    const std::string message = messages.empty() ? "" : messages.back();
    const size_t begin =
        message.compare(0, 8, "Parser: ") == 0 ? 8 : std::min(message.find_first_not_of('.'), message.size());
    return message.substr(begin, message.rfind(" on line ") - begin);
}

std::string shown(float value)
{
    char text[64];
    for (int digits = 6; digits <= 9; ++digits) {
        snprintf(text, sizeof(text), "%.*g", digits, static_cast<double>(value));
        if (strtof(text, nullptr) == value) {
            break;
        }
    }
    return text;
}

std::string lineAfterValueLine(const std::string& first, const std::string& second)
{
    std::string text = first + "\r\n" + second + "\r\n";
    std::vector<char> word(text.size() + 1);
    Parser parser(&text[0]);
    if (!parser.ParseString(word.data()) || !parser.ParseString(word.data())) {
        return "";
    }
    return word.data();
}

std::string unescaped(const std::string& inside)
{
    std::string text = inside;
    str::unescape(&text[0]);
    return text.c_str();
}

} // namespace config
