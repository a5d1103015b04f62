// What the parser's tests share: texts that end where their block ends, and their lines.
#pragma once

#include "core/parser.h"

#include <memory>
#include <string.h>
#include <string>
#include <vector>

// A writable text in a block of exactly its size: the address sanitizer sees a step too far on either side.
class Text {
public:
    Text(const std::string& text) : m_size(text.size()), m_block(new char[text.size() + 1])
    {
        memcpy(m_block.get(), text.c_str(), text.size() + 1);
    }

    char* begin() const { return m_block.get(); }
    operator char*() const { return begin(); }
    size_t size() const { return m_size; }
    std::string bytes() const { return std::string(m_block.get(), m_size); } // with the NUL of each cut

private:
    size_t m_size;
    std::unique_ptr<char[]> m_block;
};

// A text and a parser on it.
class TextParser : public Text, public Parser {
public:
    TextParser(const std::string& text) : Text(text), Parser(begin()) {}

    // What is left of the current line, but for leading blanks, "" when that is nothing. Uses it up.
    std::string rest()
    {
        const char* text = GetToken("");
        return text ? text : "";
    }

    std::string token(const char* delimiters = " ") { return orNone(GetToken(delimiters)); }
    std::string string() { return orNone(GetString()); }

private:
    static std::string orNone(const char* text) { return text ? text : "(none)"; }
};

// The lines from here to the end. No text has more of them than characters.
inline std::vector<std::string> restOfLines(TextParser& parser)
{
    std::vector<std::string> result;
    while (result.size() <= parser.size() && parser.ParseLine()) {
        result.push_back(parser.rest());
    }
    return result;
}

inline std::vector<std::string> linesOf(const std::string& text)
{
    TextParser parser(text);
    return restOfLines(parser);
}
