// The parser reads a text line by line: tokens, marks (the tokens "=", "{" and "}"), quoted strings and typed values.
//
//     Parser parser(text);                             // a writable text with a NUL at its end
//     while (parser.ParseLine()) {
//         const char* token = parser.GetToken(" ");    // null on a line of blanks and on a comment
//         if (!token) {
//             continue;
//         }
//         parser.ParamEqualsInt32(token, "width", &width) || parser.ParamEqualsFloat32(token, "scale", &scale) ||
//             parser.ParamEqualsString(token, "title", title, sizeof(title));
//     }
//
// - Memory: the parser cuts the caller's text: it writes a NUL at the end of each line, token and string. It never
//   removes these NULs. A text that a function returns is a part of the caller's text: it is valid as long as the
//   caller's text exists. The parser itself allocates nothing; `new Parser(text)` allocates the parser from bank 0.
// - Comments: a comment begins with "//", after leading blanks, and its whole line is ignored.
// - Line ends: config files end each line with a carriage return and a line feed. In a text whose lines end with a
//   line feed alone, GetToken after the last token of a line returns the first token of the next line, not null. In
//   such a text exactly two empty lines together end the text; docs/surprises.md lists the results for other
//   numbers of empty lines.
// - Threads: one thread at a time may use a parser.
// - The texts of the messages are frozen: docs/architecture.md, "Message texts".
#pragma once

#include "core/allocator.h"

#pragma GCC visibility push(default)

class Parser : public Allocator<0> {
public:
    // buffer belongs to the caller and must outlive the parser. Null counts as an empty text.
    explicit Parser(char* buffer);
    virtual ~Parser();

    // Moves the cursor back to the first line. The NULs of the first pass stay in the text, so a second pass can
    // end early. To read a text twice, keep a copy of it.
    void reset();

    // Moves to the next line. Returns false if there is no line left. A line of blanks and a comment are lines
    // without tokens.
    bool ParseLine();

    // ---- The parts of the current line. Each call begins at the line position, where the last call ended.

    // Returns the next token; null if the line has no further token (for bare line feeds see "Line ends" above).
    // First skips blanks, also if they are not in delimiters, then characters of delimiters. The token ends before
    // the next character of delimiters, or at the end of the line. Writes a NUL over that character.
    char* GetToken(const char* delimiters);

    // Returns the next text between double quotes, with its escapes decoded (core/str.h); null if the line has no
    // such text.
    char* GetString();

    // Each of these functions takes the next token. GetEqualsToken returns true if the token is "=", GetOpenBrace
    // if it is "{", GetCloseBrace if it is "}". They also take a token that does not match: the next call of any
    // function begins after that token.
    //
    // A sample for a text of these three lines:
    //
    //   unit "Footman" {
    //   hitPoints = 60
    //   }
    //
    //     Parser parser(text);
    //     while (parser.ParseLine()) {
    //         const char* token = parser.GetToken(" ");
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

    // ---- Numbers at the line position
    //
    // These calls do not move the line position: a second call reads the same numbers.
    //
    // Each call returns true if the line has all the numbers. Otherwise it returns false, logs a message with the
    // line number, and stores the numbers before the missing number. For all readers of this class:
    // - the decimal separator is a point, in every locale;
    // - a float may also be inf, nan or hexadecimal;
    // - an integer is read with 64 bits; the low bits are stored if the type of the output is smaller.
    bool GetFloat(float* value);
    bool GetFloat2(float* first, float* second);
    bool GetInt(int* value);
    bool GetInt2(int* first, int* second);
    bool GetInt3(int* first, int* second, int* third);

    // Takes the next token. Returns true if it is "true", in upper or lower case. Otherwise returns false, and logs
    // a message unless the token is "false".
    bool GetBoolean();

    // ---- Value lines: each call reads one whole line that holds only values
    //
    // Call these functions instead of ParseLine.
    //
    // The text must have no empty lines, no comments and no leading blanks, and its lines must end with a carriage
    // return and a line feed.
    //
    // A call that reads all its values returns true and moves the cursor to the next line. If a value is missing, the
    // call returns false, logs a message with the line number, and stores the values before the missing value. The
    // cursor does not move, but the line number grows by 1: the next call reads the same line, and its message has
    // the next line number.
    bool ParseString(char* word);        // the line's first word; word needs room for the whole line and a NUL
    bool ParseChar(char* letter);        // the first character after leading tabs; it may be a space
    bool ParseUTF8(unsigned char* word); // like ParseString; if a space follows the leading tabs, stores " "
    bool ParseInteger(int* value);
    bool ParseInteger2(int* first, int* second);
    bool ParseInteger2x(int* first, int* second); // one or two values; *second is unchanged if there is only one
    bool ParseInteger3(int* first, int* second, int* third);
    bool ParseFloat(float* value);
    bool ParseFloat2(float* first, float* second);
    bool ParseFloat2x(float* first, float* second); // one or two values; *second is unchanged if there is only one

    // ---- Named parameters: lines of the form "name = value".
    //
    // token is the first token of the line, which the caller has taken. If token and name differ, these functions
    // return false and read nothing; upper and lower case are equal. If token and name are equal, they read the
    // value and return true. If a value cannot be read, they log a message, do not store it, and still return true;
    // a value before it is stored. ParamEqualsBoolean and ParamEqualsString have other rules for a bad value.
    bool ParamEqualsInt8(const char* token, const char* name, signed char* value); // stores the low 8 bits: 300 is 44
    bool ParamEqualsInt16(const char* token, const char* name, short* value);      // stores the low 16 bits
    bool ParamEqualsInt32(const char* token, const char* name, int* value);
    bool ParamEqualsUInt32(const char* token, const char* name, unsigned int* value); // -1 is stored as 4294967295
    bool ParamEqualsInt64(const char* token, const char* name, long long* value);
    bool ParamEqualsFloat32(const char* token, const char* name, float* value);
    bool ParamEqualsInt32_2(const char* token, const char* name, int* first, int* second);
    bool ParamEqualsInt32_2x(const char* token, const char* name, int* first, int* second); // one or two values
    bool ParamEqualsFloat32_2(const char* token, const char* name, float* first, float* second);
    bool ParamEqualsFloat32_2x(const char* token, const char* name, float* first, float* second); // one or two values

    // Stores true if the value is "true", otherwise false; logs a message for a value that is neither "true" nor
    // "false". Without "=" it stores nothing and logs a message.
    bool ParamEqualsBoolean(const char* token, const char* name, bool* value);

    // Stores a quoted string, truncated to size - 1 bytes, and fills the rest of the size bytes with NULs. Stores
    // nothing for a size of 0. Deliberate, and unlike the other readers: if "=" is there and no complete quoted
    // string follows it, logs a message and returns false.
    bool ParamEqualsString(const char* token, const char* name, char* text, unsigned int size);

    // ---- The trimming that all readers use, for a line that the caller supplies.
    //
    // Both return the part of line after its leading blanks; an empty text for a comment; null if line is null or
    // has only blanks. They write NULs over carriage returns and line feeds at the end of line, and over the first
    // "/" of a comment. _preparseLineAllowSpaces skips leading tabs only.
    const char* _preparseLine(char* line);
    char* _preparseLineAllowSpaces(char* line);

private:
    // Hidden visibility: the library calls these functions directly, which is faster than through the dynamic linker.
#define CORE_INSIDE __attribute__((visibility("hidden")))
    CORE_INSIDE void _measure();
    CORE_INSIDE bool _parseLongerText();
    CORE_INSIDE char* _cutWord();
    CORE_INSIDE char* _cutToken(const char* delimiters);
    CORE_INSIDE bool _cutMark(char mark);
    CORE_INSIDE const char* _cutValueLine(bool keepSpaces);
    CORE_INSIDE bool _endValueLine(const char* line, bool complete, const char* complaint);
    CORE_INSIDE bool _expect(bool complete, const char* complaint) const;
    CORE_INSIDE bool _readBoolean(const char* token, const char* name, bool* value);
    CORE_INSIDE bool _readString(const char* token, const char* name, char* text, unsigned int size);
    template <typename Value>
    CORE_INSIDE bool _cutNumber(Value* value);
    template <typename... Values>
    CORE_INSIDE __attribute__((noinline)) bool _readValues(const char* token, const char* name, const char* complaint,
                                                           int required, Values*... values);
#undef CORE_INSIDE

    // The first four fields are frozen: docs/architecture.md, "Record layouts and virtual tables".
    char* m_buffer;
    char* m_cursor;   // where the parser looks for the next line
    char* m_position; // the line position: where the parser looks for the next token; null on a line of blanks
    int m_lineNumber; // the number of lines that ParseLine took, plus the number of calls for value lines

    // A NUL in the text can be one that the parser wrote. So these pointers remember where the text and the line end.
    struct {
        char* textEnd;   // the NUL that ends the whole text
        char* lineStart; // the beginning of the line that ParseLine took last
        char* lineEnd;   // the end of that line: its line feed before the line was cut
    } m_bounds;
};

#pragma GCC visibility pop
