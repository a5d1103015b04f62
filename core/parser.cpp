// Lines, tokens and strings.
//
// 1. To cut means to write a NUL into the caller's text. Each text that is returned is a part of the caller's text.
// 2. The cursor and the line position never pass the NUL that ends the text. The parser finds this NUL before it cuts
//    anything, because afterwards the text has other NULs as well.
// 3. The end of a line is searched for once. m_bounds holds it until ParseLine takes the next line.
//
// Empty lines in a text whose lines end with a line feed alone. Deliberate: ParseLine moves the cursor in two steps.
// - Before it takes the line: if the cursor is at a line feed, it moves the cursor by one character.
// - After it has taken the line: it moves the cursor by the line's length plus one. It does not first move the
//   cursor to the beginning of the line.
//
// So with more than one empty line before the line, the cursor does not reach the next line. An example with two
// empty lines; \n is a line feed, 0 is a NUL, | is the cursor:
//
//     a0|\n\nbcd\nef        after the line "a"
//     a0\n|\nbcd\nef        step 1: one character
//     a0\n\nbcd|0ef         step 2: 3 + 1 characters. The cursor is at the NUL of "bcd", so the text ends here.
//
// With n empty lines before a line of LENGTH characters:
//
// | n | The cursor after the line | What ParseLine takes next |
// |---|---|---|
// | 0 or 1 | the beginning of the next line | the next line |
// | 2 | the NUL at the end of the line | nothing: it returns false |
// | 3 to LENGTH + 2 | n - 2 characters before the end of the line | these last n - 2 characters, then the next line |
// | more than LENGTH + 2 | in the empty lines | the same line, as if n - 2 - LENGTH empty lines were before it |
//
// A line that is taken a second time may hold NULs that cut its tokens, and line feeds from the decoded escapes of
// its strings. m_bounds still has the right end of the line.
#include "core/parser.h"

#include "core/str.h"
#include "core/words.h"

#include <assert.h>
#include <string.h>

struct Slice {
    char* begin;
    char* end;
};

// Tells the compiler that a condition nearly always holds. Without these hints bench/parser_bench takes a sixth
// longer for its lines.
static bool usually(bool condition)
{
    return __builtin_expect(condition, 1);
}

// Puts a function at the start of a cache line of the processor. The functions that handle every line or token are a
// tenth faster there.
#define CACHE_LINE_BEGIN __attribute__((aligned(64)))

static char* skip(char* text, char letter)
{
    while (!usually(*text != letter)) {
        ++text;
    }
    return text;
}

static char* skipBlanks(char* text)
{
    while (*text == ' ' || *text == '\t') {
        ++text;
    }
    return text;
}

// Returns the next line feed or NUL, whichever comes first. Examines two machine words in each step, and so reads
// bytes after a NUL, but no byte at or after end in these steps.
static inline char* findLineFeed(char* text, const char* end)
{
    while (end - text >= static_cast<ptrdiff_t>(2 * sizeof(Word))) {
        const Word first = marksInWord(text, '\n');
        const Word second = marksInWord(text + sizeof(Word), '\n');
        if (first | second) {
            text += first ? 0 : sizeof(Word);
            text += placeOf(first ? first : second);
            if (usually(*text == '\n') || *text == '\0') {
                return text;
            }
            ++text;
        } else {
            text += 2 * sizeof(Word);
        }
    }
    while (*text && *text != '\n') {
        ++text;
    }
    return text;
}

// Returns the next space or NUL. Examines single bytes, four in each pass of the loop. Tokens are short, and the
// processor predicts these branches well. A search by words, as in findLineFeed, is slower here: it waits for the
// result of each word.
static inline char* findSpace(char* text)
{
    for (;; text += 4) {
        for (int place = 0; place < 4; ++place) {
            if ((text[place] & ~' ') == 0) { // true for the space and for NUL alone
                return text + place;
            }
        }
    }
}

static bool isIn(char letter, const char* set)
{
    while (*set && *set != letter) {
        ++set;
    }
    return *set != '\0';
}

// Returns the next double quote, or the NUL.
static char* findQuote(char* text)
{
    if (*text == '"') {
        return text;
    }
    char* quote = strchr(text, '"');
    return quote ? quote : text + strlen(text);
}

// Trims the end of a text whose leading blanks are already skipped. end is the NUL of the text. Returns the text;
// null if it is empty. A comment becomes an empty text.
static char* trim(char* text, char* end)
{
    if (!usually(*text)) {
        return nullptr;
    }
    if (!usually(text[0] != '/') && text[1] == '/') {
        *text = '\0';
        return text;
    }
    while (end > text && (end[-1] == '\r' || end[-1] == '\n')) {
        *--end = '\0';
    }
    return text;
}

// Cuts the next line at or after from, and returns it. Returns an empty slice, and cuts nothing, if there is no
// line left.
static inline Slice cutLine(char* from, const char* textEnd)
{
    char* line = skip(from, '\n');
    char* end = findLineFeed(line, textEnd);
    if (usually(end != line)) {
        *end = '\0';
    }
    return {line, end};
}

// Returns from + the length of the slice + 1, at most textEnd. The slice begins at from or after it. The fast path:
// it begins at from.
static inline char* stepFrom(char* from, Slice slice, char* textEnd)
{
    if (usually(slice.begin == from) && usually(slice.end < textEnd)) {
        return slice.end + 1;
    }
    const ptrdiff_t step = slice.end - slice.begin + 1;
    return step < textEnd - from ? from + step : textEnd;
}

Parser::Parser(char* buffer) : m_buffer(buffer), m_cursor(buffer), m_position(nullptr), m_lineNumber(0), m_bounds()
{
    static char s_noText[] = "";
    if (!buffer) {
        m_buffer = m_cursor = s_noText;
    }
    m_bounds.textEnd = m_bounds.lineStart = m_bounds.lineEnd = m_buffer;
}

Parser::~Parser()
{
}

void Parser::reset()
{
    m_cursor = m_buffer;
    m_lineNumber = 0;
    m_bounds.lineStart = m_bounds.lineEnd = m_buffer;
}

const char* Parser::_preparseLine(char* line)
{
    return line ? trim(skipBlanks(line), line + strlen(line)) : nullptr;
}

char* Parser::_preparseLineAllowSpaces(char* line)
{
    return line ? trim(skip(line, '\t'), line + strlen(line)) : nullptr;
}

// Finds the end of the text. Called before the first line is cut, and again if the caller has written a longer text
// into the buffer.
void Parser::_measure()
{
    m_bounds.textEnd += strlen(m_bounds.textEnd);
}

// ParseLine for a text whose end is not known. It is a separate function that is not inlined: otherwise each call
// of ParseLine would save registers for the calls here.
__attribute__((noinline)) bool Parser::_parseLongerText()
{
    _measure();
    return ParseLine();
}

CACHE_LINE_BEGIN bool Parser::ParseLine()
{
    char* const textEnd = m_bounds.textEnd;
    if (!usually(*textEnd == '\0')) {
        return _parseLongerText();
    }
    char* cursor = m_cursor;
    Slice line = {m_bounds.lineStart, m_bounds.lineEnd};
    if (usually(cursor >= line.end)) {
        line = cutLine(cursor, textEnd);
        if (!usually(line.begin == cursor)) {
            ++cursor; // step over exactly one line feed
        }
        if (!usually(line.begin != line.end)) {
            m_cursor = cursor;
            m_position = nullptr;
            return false;
        }
        m_bounds.lineStart = line.begin;
        m_bounds.lineEnd = line.end;
    } else if (cursor < line.begin) {
        ++cursor; // the cursor is still in the empty lines before the line: take the same line again
    } else {
        line.begin = cursor;
    }
    m_cursor = stepFrom(cursor, line, textEnd);
    m_position = trim(skipBlanks(line.begin), line.end);
    ++m_lineNumber;
    assert(m_cursor <= textEnd && m_position <= textEnd && "2: the cursor and the line position never pass the NUL");
    return true;
}

// Cuts the next value line and returns it trimmed; null if there is no line, and for a line of blanks. Increments
// the line number in each case. Does not move the cursor: _endValueLine does.
const char* Parser::_cutValueLine(bool keepSpaces)
{
    if (*m_bounds.textEnd) {
        _measure();
    }
    const Slice line = cutLine(m_cursor, m_bounds.textEnd);
    ++m_lineNumber;
    return trim(keepSpaces ? skip(line.begin, '\t') : skipBlanks(line.begin), line.end);
}

// Cuts the next word at *position, which is not null, and moves *position to the character after its NUL. Returns the
// word; null if only blanks are left on the line.
static inline __attribute__((always_inline)) char* cutWord(char** position, char* textEnd)
{
    char* word = *position;
    if (static_cast<unsigned char>(*word) <= ' ') {
        *position = word = skipBlanks(word);
        if (*word == '\0') {
            return nullptr;
        }
    }
    char* const end = findSpace(word + 1);
    *end = '\0';
    *position = end < textEnd ? end + 1 : textEnd;
    return word;
}

// GetToken(" "), the usual case.
CACHE_LINE_BEGIN char* Parser::_cutWord()
{
    return m_position ? cutWord(&m_position, m_bounds.textEnd) : nullptr;
}

CACHE_LINE_BEGIN char* Parser::GetToken(const char* delimiters)
{
    if (!m_position || !delimiters) {
        return nullptr;
    }
    if (delimiters[0] == ' ' && delimiters[1] == '\0') {
        return cutWord(&m_position, m_bounds.textEnd);
    }
    return _cutToken(delimiters);
}

char* Parser::_cutToken(const char* delimiters)
{
    m_position = skipBlanks(m_position);
    Slice token = {m_position, nullptr};
    while (*token.begin && isIn(*token.begin, delimiters)) {
        ++token.begin;
    }
    token.end = token.begin;
    while (*token.end && !isIn(*token.end, delimiters)) {
        ++token.end;
    }
    if (token.begin == token.end) {
        return nullptr;
    }
    *token.end = '\0';
    // Deliberate: the line position moves by the length of the token plus one, counted from the line position and
    // not from the token. With delimiters before the token it stops too early. After the last token of a line it
    // passes the NUL that replaced the line feed, so the next token comes from the next line.
    m_position = stepFrom(m_position, token, m_bounds.textEnd);
    return token.begin;
}

char* Parser::GetString()
{
    if (!m_position) {
        return nullptr;
    }
    m_position = findQuote(m_position);
    if (!*m_position) {
        return nullptr;
    }
    char* string = m_position + 1;
    // Deliberate: a quote after a backslash does not end the string, even if that backslash is itself escaped (\\").
    do {
        m_position = findQuote(m_position + 1);
    } while (*m_position && m_position[-1] == '\\');
    if (!*m_position) {
        return nullptr;
    }
    *m_position++ = '\0';
    str::unescape(string);
    return string;
}

// Takes the next token. Returns true if it is the mark and nothing else. The fast path: the mark is at the line
// position, and a space follows it.
bool Parser::_cutMark(char mark)
{
    if (m_position && m_position[0] == mark && m_position[1] == ' ' && m_position + 1 < m_bounds.textEnd) {
        m_position[1] = '\0';
        m_position += 2;
        return true;
    }
    const char* token = _cutWord();
    return token && token[0] == mark && token[1] == '\0';
}

bool Parser::GetEqualsToken()
{
    return _cutMark('=');
}

bool Parser::GetOpenBrace()
{
    return _cutMark('{');
}

bool Parser::GetCloseBrace()
{
    return _cutMark('}');
}
