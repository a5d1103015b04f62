// The parser: lines, tokens, quoted strings and numbers of a text, cut out of the caller's own buffer.
//
//     Parser parser(text);                             // the whole file, writable, with a NUL behind it
//     while (parser.ParseLine()) {
//         const char* token = parser.GetToken(" ");    // null on an empty line and on a comment
//         if (!token) {
//             continue;
//         }
//         parser.ParamEqualsInt32(token, "width", &width) || parser.ParamEqualsFloat32(token, "scale", &scale) ||
//             parser.ParamEqualsString(token, "title", title, sizeof(title));
//     }
//
// The text is cut with NULs written into it, for good. What is handed out lies in it and lives as long as it does; the
// parser owns nothing and allocates nothing. A comment begins with "//" and is a line of its own.
//
// Config files have carriage return and line feed behind each line. With a bare line feed, tokens run on into the
// next line, and two empty lines in a row end the text: docs/surprises.md has the rules.
//
// One thread at a time. A parser made with `new` lies in bank 0.
#pragma once

#include "core/allocator.h"

#pragma GCC visibility push(default)

class Parser : public Allocator<0> {
public:
    explicit Parser(char* buffer); // the caller's, and has to outlive the parser
    virtual ~Parser();

    // Back to the first line. The cuts stay: a second pass meets them, and can end at one.
    void reset();

    // Goes to the next line, which also has no tokens when it is blank or a comment; false when there is none left.
    bool ParseLine();

    // The parts of the current line, each from where the one before ended; null when there is none.
    char* GetToken(const char* delimiters); // leading spaces and tabs are skipped, whatever the delimiters
    char* GetString();                      // between double quotes, with its escapes decoded

    // Take a token, and tell whether it is that one character.
    bool GetEqualsToken();
    bool GetOpenBrace();
    bool GetCloseBrace();

    // Numbers at the current place of the line, which stays: a second call reads the same ones. In all readers a number
    // has a point whatever the locale, may be inf, nan or hexadecimal when it is a float, and an integer that
    // doesn't fit leaves its low bits. False, and a message with the line's number, when there are fewer; those in
    // front are stored.
    bool GetFloat(float* value);
    bool GetFloat2(float* first, float* second);
    bool GetInt(int* value);
    bool GetInt2(int* first, int* second);
    bool GetInt3(int* first, int* second, int* third);

    // "true" or "false" in any case; everything else is false, with a message.
    bool GetBoolean();

    // Lines of bare values, one for each call, instead of ParseLine: for texts without blank lines, comments or
    // leading blanks, whose lines end in carriage return and line feed. When a line is not what was expected, the
    // result is false, a message gives its number, and the next call meets it again under the next number.
    bool ParseString(char* word);        // up to white space; there has to be room for the whole line
    bool ParseChar(char* letter);        // the first; a space counts, a tab doesn't
    bool ParseUTF8(unsigned char* word); // as ParseString, but " " for a line that begins with a space
    bool ParseInteger(int* value);
    bool ParseInteger2(int* first, int* second);
    bool ParseInteger2x(int* first, int* second); // without a second value, *second stays as it is
    bool ParseInteger3(int* first, int* second, int* third);
    bool ParseFloat(float* value);
    bool ParseFloat2(float* first, float* second);
    bool ParseFloat2x(float* first, float* second);

    // Lines of the form "name = value". token is the line's first word; the result tells whether it is this name,
    // in any case, even if the value then turns out to be no good: a message says so, and a value that was not read
    // stays as it is.
    bool ParamEqualsInt8(const char* token, const char* name, signed char* value); // the low bits, as of 300 here: 44
    bool ParamEqualsInt16(const char* token, const char* name, short* value);
    bool ParamEqualsInt32(const char* token, const char* name, int* value);
    bool ParamEqualsUInt32(const char* token, const char* name, unsigned int* value); // -1 is the largest
    bool ParamEqualsInt64(const char* token, const char* name, long long* value);
    bool ParamEqualsFloat32(const char* token, const char* name, float* value);
    bool ParamEqualsInt32_2(const char* token, const char* name, int* first, int* second);
    bool ParamEqualsInt32_2x(const char* token, const char* name, int* first, int* second); // second is optional
    bool ParamEqualsFloat32_2(const char* token, const char* name, float* first, float* second);
    bool ParamEqualsFloat32_2x(const char* token, const char* name, float* first, float* second);

    // Stores false for what GetBoolean can't read.
    bool ParamEqualsBoolean(const char* token, const char* name, bool* value);

    // A quoted string, cut to size - 1 characters, and NULs up to size. Where "=" has no whole string behind it the
    // result is false, alone among these. A size of 0 stores nothing.
    bool ParamEqualsString(const char* token, const char* name, char* text, unsigned int size);

    // Trim a line of the caller's as the readers do: the text behind leading blanks (tabs alone in the second),
    // without the line's end; empty for a comment, null when there is nothing.
    const char* _preparseLine(char* line);
    char* _preparseLineAllowSpaces(char* line);

private:
    // Not for other libraries: calls of these don't go through a table that another one could change.
#define CORE_INSIDE __attribute__((visibility("hidden")))
    CORE_INSIDE void _measure();
    CORE_INSIDE bool _parseLongerText();
    CORE_INSIDE char* _cutWord();
    CORE_INSIDE char* _cutToken(const char* delimiters);
    CORE_INSIDE bool _cutMark(char mark);
    CORE_INSIDE const char* _cutValueLine(bool keepSpaces);
    CORE_INSIDE bool _endValueLine(const char* line, bool complete, const char* complaint);
    CORE_INSIDE bool _expect(bool complete, const char* complaint) const;
    template <typename Value>
    CORE_INSIDE bool _cutNumber(Value* value);
    template <typename... Values>
    CORE_INSIDE __attribute__((noinline)) bool _readValues(const char* name, const char* complaint, int required,
                                                           Values*... values);
#undef CORE_INSIDE

    char* m_buffer;
    char* m_cursor;   // where the next line begins
    char* m_position; // in the current line, where the next token is sought; null when there is nothing left
    int m_lineNumber; // lines taken so far

    // What the cuts hide.
    struct {
        char* textEnd;   // the NUL that ends the whole text
        char* lineStart; // the line that ParseLine took last, as long as it was then
        char* lineEnd;
    } m_bounds;
};

#pragma GCC visibility pop
