// Lines, tokens and strings.
//
// 1. A cut is a NUL in the caller's text. Every text that is returned is a slice of the caller's text; nothing is copied.
// 2. The cursor and the line position never pass the NUL that ends the text. The parser finds that NUL before its first
//    cut, because later nothing distinguishes it from a cut.
// 3. The end of a line is searched once and kept in m_bounds until the next line.
//
// Empty lines between lines that end with a bare line feed, deliberately: ParseLine steps over one line feed at the
// cursor, and then takes the next line wherever it begins. It then moves the cursor by the length of that line plus one,
// counted from where the cursor stood, not from where the line begins. Each further line feed in front of the line
// therefore leaves the cursor one character farther to the left. Two empty lines, with \n for a line feed, 0 for a NUL and
// | for the cursor:
//
//     a\n|\n\nbcd\nef        behind the line "a"
//     a\n\n|\nbcd\nef        one line feed is stepped over
//     a\n\n\nbcd|0ef         the line "bcd" is cut: 4 characters from the cursor lies its NUL, which ends the text
//
// | Empty lines | Where the cursor comes to stand | What ParseLine returns next |
// |---|---|---|
// | 1 | behind the line | the line behind it |
// | 2 | on the NUL that ends the line | false: the text has ended |
// | n, 3 or more | n - 2 characters in front of the line's end | those characters as a line, then normal lines |
// | n, and n - 2 is more than the line's length | in the empty lines | the same line again, after n - 2 - length of them |
//
// A line that is returned twice may have been cut meanwhile: it holds the NULs of its tokens, and its strings hold the
// line feeds of their decoded escapes. m_bounds still knows where it ends.
#include "core/parser.h"

#include "core/str.h"
#include "core/words.h"

#include <string.h>

struct Slice {
    char* begin;
    char* end;
};

// Tells the compiler that a condition nearly always holds. Without these hints bench/parser_bench takes a sixth longer
// for its lines.
static bool usually(bool condition)
{
    return __builtin_expect(condition, 1);
}

// Puts a function at the start of a cache line of the processor. The functions that handle every line or token are a
// tenth faster there.
#define CACHE_LINE_BEGIN __attribute__((aligned(64)))

static char* skip(char* text, char letter)
{
    while (*text == letter) {
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

// Returns the next line feed, or the next NUL when that comes first. Looks at two words of text in each step. end: the
// memory up to there may be read.
static inline char* findLineFeed(char* text, const char* end)
{
    while (end - text >= static_cast<ptrdiff_t>(2 * sizeof(Word))) {
        const Word first = marksInWord(text, '\n');
        const Word second = marksInWord(text + sizeof(Word), '\n');
        if (first | second) {
            text += first ? 0 : sizeof(Word);
            text += placeOf(first ? first : second);
            if (usually(*text == '\n' || *text == '\0')) {
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

// Returns the next space or NUL. Looks at single letters, four in each step: tokens are short, and the processor
// predicts these branches well, while a search by words would have to wait for each word's marks.
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

// Trims a text without leading blanks; end is its NUL. Returns the text; null when it is empty. Makes a comment empty.
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

// Cuts the next line at from. Returns an empty slice, and cuts nothing, when there is no line left.
static inline Slice cutLine(char* from, const char* textEnd)
{
    char* line = skip(from, '\n');
    char* end = findLineFeed(line, textEnd);
    if (usually(end != line)) {
        *end = '\0';
    }
    return {line, end};
}

// Returns the place as far behind from as the slice is long, plus one; at most textEnd.
static inline char* behind(Slice slice, char* from, char* textEnd)
{
    if (usually(slice.begin == from && slice.end < textEnd)) {
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

// Finds the end of the text: before the first cut, and again after the caller has put a longer text into the buffer.
void Parser::_measure()
{
    m_bounds.textEnd += strlen(m_bounds.textEnd);
}

// ParseLine for a text whose end is not known. A function of its own, because otherwise ParseLine would save registers
// for these calls each time.
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
        ++cursor; // still inside the empty lines: the same line comes again
    } else {
        line.begin = cursor;
    }
    m_cursor = behind(line, cursor, textEnd);
    m_position = trim(skipBlanks(line.begin), line.end);
    ++m_lineNumber;
    return true;
}

// Takes the next value line. Returns it trimmed; null when there is no line or only blanks. Always counts a line.
const char* Parser::_cutValueLine(bool keepSpaces)
{
    if (*m_bounds.textEnd) {
        _measure();
    }
    const Slice line = cutLine(m_cursor, m_bounds.textEnd);
    ++m_lineNumber;
    return trim(keepSpaces ? skip(line.begin, '\t') : skipBlanks(line.begin), line.end);
}

// Cuts the next word at *position and moves *position behind it. Returns the word; null when there is none.
static inline __attribute__((always_inline)) char* cutWord(char** position, char* textEnd)
{
    char* word = *position;
    if (!word) {
        return nullptr;
    }
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
    return cutWord(&m_position, m_bounds.textEnd);
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
    // Deliberate: the step counts from the line position, not from the token, so delimiters in front of the token make
    // it too short. Behind the last token of a line, the step passes the NUL that replaced the line feed: the next token
    // then comes from the next line.
    m_position = behind(token, m_position, m_bounds.textEnd);
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
    // Deliberate: only the one byte in front of a quote is examined, so a quote behind an escaped backslash (\\")
    // does not end the string.
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

// Takes the next token. Returns true when it is exactly the character mark. Fast path: the mark stands at the line
// position with a space behind it.
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
