// The parser reads a text line by line: tokens, marks, quoted strings and typed values.
//
//     Parser parser(text);                             // a writable text with a NUL at its end
//     while (parser.ParseLine()) {
//         const char* token = parser.GetToken(" ");    // null on an empty line and on a comment
//         if (!token) {
//             continue;
//         }
//         parser.ParamEqualsInt32(token, "width", &width) || parser.ParamEqualsFloat32(token, "scale", &scale) ||
//             parser.ParamEqualsString(token, "title", title, sizeof(title));
//     }
//
// The parser writes NULs into the caller's text to cut it. The cuts are permanent. Every text that a reader returns
// lies in the caller's text and lives as long as that. The parser owns nothing and allocates nothing.
//
// A comment begins with "//" and takes a whole line. Config files end each line with carriage return and line feed.
// Where lines end with a bare line feed, a token behind the last one of a line comes from the next line, and two
// empty lines in a row end the text: docs/surprises.md has the rules.
//
// One thread at a time uses a parser. `new Parser(text)` allocates from bank 0.
#pragma once

#include "core/allocator.h"

#pragma GCC visibility push(default)

class Parser : public Allocator<0> {
public:
    // buffer belongs to the caller and must outlive the parser. Null counts as an empty text.
    explicit Parser(char* buffer);
    virtual ~Parser();

    // Returns to the first line. The cuts stay, so a second pass can end early; keep a copy of a text to read it twice.
    void reset();

    // Moves to the next line. Returns false when there is no line left. A line of blanks and a comment count as lines
    // without tokens.
    bool ParseLine();

    // ---- The parts of the current line. Each call continues where the call before it ended.

    // Returns the next token, which ends at one of the delimiters; null when the line has no more. Spaces and tabs in
    // front of the token are always skipped.
    char* GetToken(const char* delimiters);

    // Returns the next text between double quotes, with its escapes decoded; null when there is none.
    char* GetString();

    // Take the next token. Return true when that token is exactly "=", "{" or "}".
    //
    //     Parser parser(text);                         // unit "Footman" {
    //     while (parser.ParseLine()) {                 //     hitPoints = 60
    //         const char* token = parser.GetToken(" "); // }
    //         if (token && strcmp(token, "unit") == 0) {
    //             name = parser.GetString();
    //             inUnit = parser.GetOpenBrace();
    //         } else if (token && strcmp(token, "}") == 0) {
    //             inUnit = false;
    //         } else if (token && inUnit) {
    //             parser.ParamEqualsInt32(token, "hitPoints", &hitPoints);
    //         }
    //     }
    bool GetEqualsToken();
    bool GetOpenBrace();
    bool GetCloseBrace();

    // ---- Numbers at the line position. The line position stays, so a second call reads the same numbers.
    //
    // Return false, and log a message with the line number, when the line has fewer numbers; the numbers in front of the
    // missing one are stored all the same. All readers of this class agree on what a number is:
    // - the decimal point is a point in every locale;
    // - a float may be inf, nan or hexadecimal;
    // - of an integer that does not fit, the low bits are stored.
    bool GetFloat(float* value);
    bool GetFloat2(float* first, float* second);
    bool GetInt(int* value);
    bool GetInt2(int* first, int* second);
    bool GetInt3(int* first, int* second, int* third);

    // Takes the next token. Returns true for "true" and false for "false", in upper or lower case. Returns false and
    // logs a message for any other token.
    bool GetBoolean();

    // ---- Value lines: each call takes one whole line that holds only values. These readers replace ParseLine.
    //
    // They are for texts without empty lines, comments or leading blanks, whose lines end with carriage return and line
    // feed. On failure they return false and log a message with the line number. The cursor then stays at that line,
    // while the line number grows: the next call reads the same line under the next number.
    bool ParseString(char* word);        // up to the first blank; word needs room for the whole line
    bool ParseChar(char* letter);        // the first letter; leading tabs are skipped, a space is a letter
    bool ParseUTF8(unsigned char* word); // as ParseString, but stores " " for a line that begins with a space
    bool ParseInteger(int* value);
    bool ParseInteger2(int* first, int* second);
    bool ParseInteger2x(int* first, int* second); // one or two; without a second value, *second stays
    bool ParseInteger3(int* first, int* second, int* third);
    bool ParseFloat(float* value);
    bool ParseFloat2(float* first, float* second);
    bool ParseFloat2x(float* first, float* second); // one or two; without a second value, *second stays

    // ---- Named parameters: lines of the form "name = value".
    //
    // token is the first word of the line, which the caller has read. Return true when token equals name, in upper or
    // lower case, even when the value cannot be read: a message then tells so, and the output stays.
    bool ParamEqualsInt8(const char* token, const char* name, signed char* value); // stores the low 8 bits: 300 is 44
    bool ParamEqualsInt16(const char* token, const char* name, short* value);      // stores the low 16 bits
    bool ParamEqualsInt32(const char* token, const char* name, int* value);
    bool ParamEqualsUInt32(const char* token, const char* name, unsigned int* value); // -1 is stored as 4294967295
    bool ParamEqualsInt64(const char* token, const char* name, long long* value);
    bool ParamEqualsFloat32(const char* token, const char* name, float* value);
    bool ParamEqualsInt32_2(const char* token, const char* name, int* first, int* second);
    bool ParamEqualsInt32_2x(const char* token, const char* name, int* first, int* second); // second is optional
    bool ParamEqualsFloat32_2(const char* token, const char* name, float* first, float* second);
    bool ParamEqualsFloat32_2x(const char* token, const char* name, float* first, float* second); // the same

    // Stores false when the value is neither "true" nor "false".
    bool ParamEqualsBoolean(const char* token, const char* name, bool* value);

    // Stores a quoted string: at most size - 1 bytes, and NULs up to size. Unlike the other readers it returns false
    // when the name fits and "=" has no whole string behind it. A size of 0 stores nothing.
    bool ParamEqualsString(const char* token, const char* name, char* text, unsigned int size);

    // ---- The trimming that all readers use, for a line of the caller's.
    //
    // Return the text behind the leading blanks, without carriage returns and line feeds at its end; an empty text for
    // a comment; null when there are only blanks. The second function skips leading tabs but keeps leading spaces.
    const char* _preparseLine(char* line);
    char* _preparseLineAllowSpaces(char* line);

private:
    // Hidden: calls inside the library go straight to these functions, not through the dynamic linker.
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

    // The first four fields are frozen: docs/architecture.md, "Record layouts and virtual tables".
    char* m_buffer;
    char* m_cursor;   // where the next line begins
    char* m_position; // the line position: where the next token begins; null when the line has nothing left
    int m_lineNumber; // lines taken so far

    // After the first cut, a NUL no longer tells where the text or a line ends. These three places do.
    struct {
        char* textEnd;   // the NUL that ends the whole text
        char* lineStart; // the line that ParseLine took last
        char* lineEnd;   // where that line ended when it was cut
    } m_bounds;
};

#pragma GCC visibility pop
