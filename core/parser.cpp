// Lines, tokens and strings.
//
// 1. A cut is a NUL in the caller's text; what is handed out is a slice of it. Nothing is copied.
// 2. Cursor and position never pass the NUL that ends the text. It is found before the first cut is made, because
//    nothing tells it from a cut later on.
// 3. A line's end is looked for once. What is known about it is kept until the next line.
//
// Empty lines, where line feeds are bare. ParseLine steps over one line feed at the cursor and takes the next line,
// wherever it begins; but it moves the cursor by the line's length plus one from where it stood, not from where the line
// was. So each further line feed in front of the line leaves the cursor one character short of the next one. A run of
//
// - one empty line has no further line feed, and all is well;
// - two leaves the cursor on the NUL behind the line. That is the end of the text, whatever comes behind;
// - n, three or more, leaves it in front of the line's last n - 2 characters. They are the next line, and as the count now
//   starts where the line does, reading goes on normally behind it;
// - n with n - 2 above the line's length leaves it in the run itself, with n - 2 - length empty lines ahead and then the
//   same line, and all of this holds once more.
//
// A line that is read again may be in pieces by then: NULs where its tokens and strings were cut, and line feeds out of
// its strings' escapes. It ends where it did the first time, whatever lies in it.
#include "core/parser.h"

#include "core/str.h"
#include "core/words.h"

#include <string.h>

struct Slice {
    char* begin;
    char* end;
};

// What holds for nearly every line and token. Left to itself the compiler lays the code out for the others, too, and
// bench/parser_bench takes a sixth longer for its lines.
static bool usually(bool condition)
{
    return __builtin_expect(condition, 1);
}

// For functions that every line or token goes through: at the beginning of a line of the processor's cache they are a
// tenth faster than in the middle of one.
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

// The next line feed, or the NUL in front of it; two words of the text are looked at in a step. The text goes on to end
// at least.
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

// The next space or the NUL. A token is so short that letters one by one are quicker than words: the processor guesses
// where it ends and goes on, and needn't wait for what a word's marks come to. Four letters make a step.
static inline char* findSpace(char* text)
{
    for (;; text += 4) {
        for (int place = 0; place < 4; ++place) {
            if ((text[place] & ~' ') == 0) { // of all letters the space alone has no other bits
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

// The next quote or the NUL.
static char* findQuote(char* text)
{
    if (*text == '"') {
        return text;
    }
    char* quote = strchr(text, '"');
    return quote ? quote : text + strlen(text);
}

// Trims the text that ends at the NUL at end.
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

// Cuts the next line at from. It is empty when there is none, and then nothing is written.
static inline Slice cutLine(char* from, const char* textEnd)
{
    char* line = skip(from, '\n');
    char* end = findLineFeed(line, textEnd);
    if (usually(end != line)) {
        *end = '\0';
    }
    return {line, end};
}

// As far behind from as the slice is long, and one more, but in the text.
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

// Looks for the text's end: the first time, and when the caller has put a longer text in.
void Parser::_measure()
{
    m_bounds.textEnd += strlen(m_bounds.textEnd);
}

// The next line of such a text; apart from ParseLine, which would put registers aside for these calls every time.
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
            ++cursor; // the one line feed that is stepped over
        }
        if (!usually(line.begin != line.end)) {
            m_cursor = cursor;
            m_position = nullptr;
            return false;
        }
        m_bounds.lineStart = line.begin;
        m_bounds.lineEnd = line.end;
    } else if (cursor < line.begin) {
        ++cursor; // a line feed of the run, with the same line behind it
    } else {
        line.begin = cursor;
    }
    m_cursor = behind(line, cursor, textEnd);
    m_position = trim(skipBlanks(line.begin), line.end);
    ++m_lineNumber;
    return true;
}

// The next line of bare values, trimmed; null when there is none, or nothing in it. It counts in either case.
const char* Parser::_cutValueLine(bool keepSpaces)
{
    if (*m_bounds.textEnd) {
        _measure();
    }
    const Slice line = cutLine(m_cursor, m_bounds.textEnd);
    ++m_lineNumber;
    return trim(keepSpaces ? skip(line.begin, '\t') : skipBlanks(line.begin), line.end);
}

// Cuts the next word from *position on, and moves that behind it.
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

// GetToken(" "), which nearly all tokens are.
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
    // Counted from the position, so delimiters in front of the token, which aren't blanks, are met once more. Behind a
    // line's last token lies the NUL that was its line feed, and behind that the next line.
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
    // Only one backslash is looked at: the quote behind an escaped backslash is taken for an escaped quote.
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

// Takes a token, and tells whether it is that one character. Nearly always it stands right there with a space behind it.
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
