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

#include <string.h>

static const char sc_blanks[] = " \t";
static const char sc_tabs[] = "\t";

static bool isIn(char letter, const char* set)
{
    while (*set && *set != letter) {
        ++set;
    }
    return *set != '\0';
}

// Where what is in the set ends, and where what isn't does; the NUL at the latest. Sets have a character or two, and words
// and lines are short: with strspn and strcspn bench/parser_bench takes twice as long for its lines.
static char* skip(char* text, const char* set)
{
    while (*text && isIn(*text, set)) {
        ++text;
    }
    return text;
}

static char* find(char* text, const char* set)
{
    while (*text && !isIn(*text, set)) {
        ++text;
    }
    return text;
}

// Trims the line that ends at the NUL at end.
static char* trim(char* line, char* end, const char* blanks)
{
    char* text = skip(line, blanks);
    if (!*text) {
        return nullptr;
    }
    if (text[0] == '/' && text[1] == '/') {
        *text = '\0';
        return text;
    }
    while (end > text && (end[-1] == '\n' || end[-1] == '\r')) {
        *--end = '\0';
    }
    return text;
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
    return line ? trim(line, line + strlen(line), sc_blanks) : nullptr;
}

char* Parser::_preparseLineAllowSpaces(char* line)
{
    return line ? trim(line, line + strlen(line), sc_tabs) : nullptr;
}

// The next line at the cursor, which stays; null when there is none.
char* Parser::_cutLine(char** end)
{
    if (*m_bounds.textEnd) { // the first time, and when the caller has put a longer text in before a reset
        m_bounds.textEnd += strlen(m_bounds.textEnd);
    }
    char* line = skip(m_cursor, "\n");
    if (!*line) {
        return nullptr;
    }
    *end = find(line, "\n");
    **end = '\0';
    return line;
}

// Where the next line is: behind the last one, or once more in the bounds of that. False when there is none.
bool Parser::_findLine()
{
    if (m_cursor < m_bounds.lineEnd) {
        if (m_cursor < m_bounds.lineStart) {
            ++m_cursor; // a line feed of the run
        }
        return true;
    }
    if (*m_cursor == '\n') {
        ++m_cursor;
    }
    char* end;
    char* line = _cutLine(&end);
    if (!line) {
        return false;
    }
    m_bounds.lineStart = line;
    m_bounds.lineEnd = end;
    return true;
}

bool Parser::ParseLine()
{
    if (!_findLine()) {
        m_position = nullptr;
        return false;
    }
    char* line = m_cursor < m_bounds.lineStart ? m_bounds.lineStart : m_cursor;
    m_cursor = _advance(m_cursor, static_cast<size_t>(m_bounds.lineEnd - line) + 1);
    m_position = trim(line, m_bounds.lineEnd, sc_blanks);
    ++m_lineNumber;
    return true;
}

char* Parser::GetToken(const char* delimiters)
{
    if (!m_position || !delimiters) {
        return nullptr;
    }
    m_position = skip(m_position, sc_blanks);
    char* token = skip(m_position, delimiters);
    char* end = find(token, delimiters);
    if (end == token) {
        return nullptr;
    }
    *end = '\0';
    // Counted from the position, so delimiters in front of the token, which aren't blanks, are met once more. Behind a
    // line's last token lies the NUL that was its line feed, and behind that the next line.
    m_position = _advance(m_position, static_cast<size_t>(end - token) + 1);
    return token;
}

char* Parser::GetString()
{
    if (!m_position) {
        return nullptr;
    }
    m_position = find(m_position, "\"");
    if (!*m_position) {
        return nullptr;
    }
    char* string = ++m_position;
    // Only one backslash is looked at: the quote behind an escaped backslash is taken for an escaped quote.
    while (*m_position && (*m_position != '"' || m_position[-1] == '\\')) {
        ++m_position;
    }
    if (!*m_position) {
        return nullptr;
    }
    *m_position++ = '\0';
    str::unescape(string);
    return string;
}

bool Parser::_isToken(char mark)
{
    const char* token = GetToken(" ");
    return token && token[0] == mark && token[1] == '\0';
}

bool Parser::GetEqualsToken()
{
    return _isToken('=');
}

bool Parser::GetOpenBrace()
{
    return _isToken('{');
}

bool Parser::GetCloseBrace()
{
    return _isToken('}');
}
