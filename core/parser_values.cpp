// Typed values: value lines, numbers of the current line, and named parameters.
//
// 1. A value is stored as soon as it is read. If a later value of the line is missing, the values before it are
//    stored.
// 2. A number has the same value on every host. It is read in the C locale. An integer is read with 64 bits, and
//    the output gets its low bits. Of an incomplete number ("1e", "0x") the complete part is read: 1 and 0.
// 3. A reader examines only the text of its value. sscanf would first measure the rest of the text.
//
// The texts of the messages are frozen, also "expected 1 floats": docs/architecture.md, "Message texts".
#include "core/parser.h"

#include "core/equalnames.h"
#include "core/parser_numbers.h"
#include "logger/logger.h"

#include <string.h>
#include <type_traits>

static const char sc_whiteSpace[] = " \t\n\v\f\r";

// The type that ReadNumber reads for an output of type Value.
template <typename Value>
using Number = std::conditional_t<std::is_same_v<Value, float>, float,
                                  std::conditional_t<std::is_unsigned_v<Value>, unsigned long long, long long>>;

// Reads one number and moves *text to the end of the number. Returns false if there is no number.
template <typename Value>
static bool readNumber(const char** text, Value* value)
{
    Number<Value> number;
    const char* end = ReadNumber(*text, &number);
    if (!end) {
        return false;
    }
    *text = end;
    *value = static_cast<Value>(number);
    return true;
}

// Reads numbers until all values are stored or a number is missing. Returns how many were read; 0 for a null text.
template <typename... Values>
static int readNumbers(const char* text, Values*... values)
{
    int count = 0;
    if (text) {
        (void)(... && (readNumber(&text, values) && (++count, true)));
    }
    return count;
}

// Copies the next word to word, which must have room for it and a NUL. Returns false if there is no word.
static bool readWord(const char* text, char* word)
{
    if (!text) {
        return false;
    }
    text += strspn(text, sc_whiteSpace);
    const size_t length = strcspn(text, sc_whiteSpace);
    if (length == 0) {
        return false;
    }
    memcpy(word, text, length);
    word[length] = '\0';
    return true;
}

// If the value line is complete, moves the cursor by the trimmed length plus 2, for carriage return and line feed.
// Deliberate: with a bare line feed the step is one too long, and the next line loses its first character.
bool Parser::_endValueLine(const char* line, bool complete, const char* complaint)
{
    if (_expect(complete, complaint)) {
        const size_t left = static_cast<size_t>(m_bounds.textEnd - m_cursor);
        const size_t count = strlen(line) + 2;
        m_cursor += count < left ? count : left;
    }
    return complete;
}

bool Parser::_expect(bool complete, const char* complaint) const
{
    if (!complete) {
        owLogger::log(3, complaint, m_lineNumber);
    }
    return complete;
}

bool Parser::ParseString(char* word)
{
    const char* line = _cutValueLine(false);
    return _endValueLine(line, readWord(line, word), "Parser: expected string on line %d.\f");
}

bool Parser::ParseChar(char* letter)
{
    const char* line = _cutValueLine(true);
    const bool complete = line && *line;
    if (complete) {
        *letter = *line;
    }
    return _endValueLine(line, complete, "Parser: expected 1 char on line %d.\f");
}

bool Parser::ParseUTF8(unsigned char* word)
{
    const char* line = _cutValueLine(true);
    char* text = reinterpret_cast<char*>(word);
    const bool isSpace = line && *line == ' ';
    if (isSpace) {
        strcpy(text, " ");
    }
    return _endValueLine(line, isSpace || readWord(line, text), "Parser: expected utf8 string on line %d.\f");
}

bool Parser::ParseInteger(int* value)
{
    const char* line = _cutValueLine(false);
    return _endValueLine(line, readNumbers(line, value) == 1, "Parser: expected 1 integer on line %d.\f");
}

bool Parser::ParseInteger2(int* first, int* second)
{
    const char* line = _cutValueLine(false);
    return _endValueLine(line, readNumbers(line, first, second) == 2, "Parser: expected 2 integers on line %d.\f");
}

bool Parser::ParseInteger2x(int* first, int* second)
{
    const char* line = _cutValueLine(false);
    return _endValueLine(line, readNumbers(line, first, second) >= 1,
                         "Parser: expected 1 or 2 integers on line %d.\f");
}

bool Parser::ParseInteger3(int* first, int* second, int* third)
{
    const char* line = _cutValueLine(false);
    return _endValueLine(line, readNumbers(line, first, second, third) == 3,
                         "Parser: expected 3 integers on line %d.\f");
}

bool Parser::ParseFloat(float* value)
{
    const char* line = _cutValueLine(false);
    return _endValueLine(line, readNumbers(line, value) == 1, "Parser: expected 1 float on line %d.\f");
}

bool Parser::ParseFloat2(float* first, float* second)
{
    const char* line = _cutValueLine(false);
    return _endValueLine(line, readNumbers(line, first, second) == 2, "Parser: expected 2 floats on line %d.\f");
}

bool Parser::ParseFloat2x(float* first, float* second)
{
    const char* line = _cutValueLine(false);
    return _endValueLine(line, readNumbers(line, first, second) >= 1, "Parser: expected 1 or 2 floats on line %d.\f");
}

bool Parser::GetFloat(float* value)
{
    return _expect(readNumbers(m_position, value) == 1, "Parser: expected 1 floats on line %d.\f");
}

bool Parser::GetFloat2(float* first, float* second)
{
    return _expect(readNumbers(m_position, first, second) == 2, "Parser: expected 2 floats on line %d.\f");
}

bool Parser::GetInt(int* value)
{
    return _expect(readNumbers(m_position, value) == 1, "Parser: expected 1 int on line %d.\f");
}

bool Parser::GetInt2(int* first, int* second)
{
    return _expect(readNumbers(m_position, first, second) == 2, "Parser: expected 2 ints on line %d.\f");
}

bool Parser::GetInt3(int* first, int* second, int* third)
{
    return _expect(readNumbers(m_position, first, second, third) == 3, "Parser: expected 3 ints on line %d.\f");
}

bool Parser::GetBoolean()
{
    const char* token = _cutWord();
    const bool isTrue = token && EqualNames(token, "true");
    if (!isTrue && (!token || !EqualNames(token, "false"))) {
        owLogger::log(3, "...Expected: true or false\f");
    }
    return isTrue;
}

// Reads the first letter of token between the two tests: otherwise g++ combines the tests into one, which takes twice as
// many instructions.
static inline bool isOther(const char* token, const char* name)
{
    if (__builtin_expect(!token, 0)) {
        return true;
    }
    const char letter = *token;
    return __builtin_expect(!name, 0) || AreDifferent(letter, name);
}

// The message that a reader of named parameters logs; its argument is the parameter's name.
#define EXPECTED(form) "...expected: \"^C00FF00%s = " form "^c\"\f"

// Takes the next token and reads it as a number. Returns false when there is no token or no number.
//
// The fast path: the token begins at the line position, and the number is the whole token. Then the end of the
// number is the end of the token and need not be searched for. A token was taken before, so the line position is not null.
template <typename Value>
inline __attribute__((always_inline)) bool Parser::_cutNumber(Value* value)
{
    const char* text = m_position;
    if (*text > ' ' && readNumber(&text, value) && (*text == ' ' || *text == '\0')) {
        char* const end = m_position + (text - m_position);
        *end = '\0';
        m_position = end < m_bounds.textEnd ? end + 1 : m_bounds.textEnd;
        return true;
    }
    const char* token = _cutWord();
    return token && readNumber(&token, value);
}

// Returns false if the names differ. Otherwise reads the values after "=", logs the complaint if fewer than `required`
// values can be read, and returns true. This function is not inlined: most calls of a reader end after the comparison
// of the first letters, and so need not save registers for the work here.
template <typename... Values>
bool Parser::_readValues(const char* token, const char* name, const char* complaint, int required, Values*... values)
{
    if (!EqualNames(token, name)) {
        return false;
    }
    int count = 0;
    if (_cutMark('=')) {
        (void)(... && (_cutNumber(values) && (++count, true)));
    }
    if (count < required) {
        owLogger::log(3, complaint, name);
    }
    return true;
}

bool Parser::ParamEqualsInt8(const char* token, const char* name, signed char* value)
{
    return !isOther(token, name) && _readValues(token, name, EXPECTED("int8"), 1, value);
}

bool Parser::ParamEqualsInt16(const char* token, const char* name, short* value)
{
    return !isOther(token, name) && _readValues(token, name, EXPECTED("int16"), 1, value);
}

bool Parser::ParamEqualsInt32(const char* token, const char* name, int* value)
{
    return !isOther(token, name) && _readValues(token, name, EXPECTED("int32"), 1, value);
}

bool Parser::ParamEqualsUInt32(const char* token, const char* name, unsigned int* value)
{
    return !isOther(token, name) && _readValues(token, name, EXPECTED("uint32"), 1, value);
}

bool Parser::ParamEqualsInt64(const char* token, const char* name, long long* value)
{
    return !isOther(token, name) && _readValues(token, name, EXPECTED("int64"), 1, value);
}

bool Parser::ParamEqualsFloat32(const char* token, const char* name, float* value)
{
    return !isOther(token, name) && _readValues(token, name, EXPECTED("float32"), 1, value);
}

bool Parser::ParamEqualsInt32_2(const char* token, const char* name, int* first, int* second)
{
    return !isOther(token, name) && _readValues(token, name, EXPECTED("int32 int32"), 2, first, second);
}

// Deliberate: the readers of one or two values (_2x) complain with the message for one value.
bool Parser::ParamEqualsInt32_2x(const char* token, const char* name, int* first, int* second)
{
    return !isOther(token, name) && _readValues(token, name, EXPECTED("int32"), 1, first, second);
}

bool Parser::ParamEqualsFloat32_2(const char* token, const char* name, float* first, float* second)
{
    return !isOther(token, name) && _readValues(token, name, EXPECTED("float32 float32"), 2, first, second);
}

bool Parser::ParamEqualsFloat32_2x(const char* token, const char* name, float* first, float* second)
{
    return !isOther(token, name) && _readValues(token, name, EXPECTED("float32"), 1, first, second);
}

// _readBoolean and _readString are not inlined for the same reason as _readValues.
__attribute__((noinline)) bool Parser::_readBoolean(const char* token, const char* name, bool* value)
{
    if (!EqualNames(token, name)) {
        return false;
    }
    if (_cutMark('=')) {
        *value = GetBoolean();
    } else {
        owLogger::log(3, EXPECTED("bool"), name);
    }
    return true;
}

bool Parser::ParamEqualsBoolean(const char* token, const char* name, bool* value)
{
    return !isOther(token, name) && _readBoolean(token, name, value);
}

__attribute__((noinline)) bool Parser::_readString(const char* token, const char* name, char* text, unsigned int size)
{
    if (!EqualNames(token, name)) {
        return false;
    }
    const bool hasEquals = _cutMark('=');
    const char* string = hasEquals ? GetString() : nullptr;
    if (!string) {
        owLogger::log(3, EXPECTED("string"), name);
        return !hasEquals; // deliberate: false if "=" is there and no complete string follows it
    }
    if (size > 0) {
        strncpy(text, string, size);
        text[size - 1] = '\0';
    }
    return true;
}

bool Parser::ParamEqualsString(const char* token, const char* name, char* text, unsigned int size)
{
    return !isOther(token, name) && _readString(token, name, text, size);
}
