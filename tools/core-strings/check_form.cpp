// The form of each line. A line has at most one finding that makes it no entry: the first cause from its left.
#include "tools/core-strings/check_report.h"
#include "tools/core-strings/document.h"

#include <algorithm>
#include <string.h>
#include <string_view>

static const char* const sc_form = "write `\"key\" = \"translation\"`";

// Blanks, but not line feeds.
static size_t skipBlanks(const std::string& text, size_t at, size_t end)
{
    while (at < end && (text[at] == ' ' || text[at] == '\t')) {
        ++at;
    }
    return at;
}

// Returns the length of the typographic quote at a byte, or 0.
static size_t typographicQuoteAt(const std::string& text, size_t at)
{
    for (const char* quote : {"\u201c", "\u201d", "\u201e", "\u201f", "\u00ab", "\u00bb", "\u2033"}) {
        if (startsWith(text, at, quote)) {
            return strlen(quote);
        }
    }
    return 0;
}

namespace {
class FormCheck {
public:
    FormCheck(const GamesView& view, Report* report) : m_view(view), m_text(view.text), m_report(report) {}

    void run()
    {
        for (const TakenLine& line : m_view.lines) {
            if (!line.isRepeated && line.begin >= m_swallowedTo) {
                _checkLine(line);
            }
        }
    }

private:
    void _checkLine(const TakenLine& line);
    void _checkNoEntry(const TakenLine& line, size_t first, size_t end);
    void _checkNoString(size_t first, size_t end);
    void _checkAfterKey(const TakenLine& line, size_t end);
    void _checkAfterEquals(size_t equals, size_t end);
    bool _reportBackslash(size_t begin, size_t end);
    bool _reportTypographic(size_t begin, size_t end);
    void _checkEntry(const TakenLine& line, size_t first, size_t end);
    void _checkRest(size_t begin, size_t end);
    void _checkEscapes(const QuotedText& text);

    // Returns the offset of the first such letter from begin on; end or more if no such letter is before end. Does not
    // search the text after end, which is the rest of the file.
    size_t _find(char letter, size_t begin, size_t end) const
    {
        return std::string_view(m_text).substr(0, end).find(letter, begin);
    }

    const GamesView& m_view;
    const std::string& m_text;
    Report* m_report;
    size_t m_swallowedTo = 0; // the lines before this offset are a part of an entry above them
};
} // namespace

void FormCheck::_checkLine(const TakenLine& line)
{
    size_t end = line.end;
    while (end > line.begin && m_text[end - 1] == '\r') {
        --end;
    }
    const size_t first = skipBlanks(m_text, line.begin, end);
    if (first == end || startsWith(m_text, first, "//") || m_text.substr(first, end - first) == sc_charsetLine ||
        _find('\r', first, end) < end) {
        return; // carriage returns inside of a line: _checkBytes reports them
    }
    if (!line.value.isPresent) {
        _checkNoEntry(line, first, end);
    } else if (line.value.begin > end) {
        const size_t equals = m_text.rfind('=', end);
        m_swallowedTo = std::min(m_text.find('\n', line.value.end), m_text.size());
        m_report->add(true, equals,
                      "no translation after the equals sign: the game takes " + shown(line.value.text) +
                          " of the next line instead, and loses that line",
                      sc_form, "missing-translation");
    } else {
        _checkEntry(line, first, end);
    }
}

// Reports a quote that does not end its text because of the backslash before it, which is itself escaped.
bool FormCheck::_reportBackslash(size_t begin, size_t end)
{
    for (size_t quote = _find('"', begin, end); quote < end; quote = _find('"', quote + 1, end)) {
        size_t backslashes = 0;
        while (quote - backslashes > begin && m_text[quote - backslashes - 1] == '\\') {
            ++backslashes;
        }
        if (backslashes >= 2 && backslashes % 2 == 0) {
            m_report->add(true, quote,
                          "a text can't end in a backslash: for the game, this quote belongs to the text",
                          "write another character, such as a space, between the backslashes and the quote",
                          "backslash-at-end");
            return true;
        }
    }
    return false;
}

bool FormCheck::_reportTypographic(size_t begin, size_t end)
{
    for (size_t at = begin; at < end; ++at) {
        if (const size_t length = typographicQuoteAt(m_text, at)) {
            m_report->add(true, at, "the game knows no typographic quotes (" + m_text.substr(at, length) + ")",
                          "write \" around keys and translations", "typographic-quotes");
            return true;
        }
    }
    return false;
}

void FormCheck::_checkNoEntry(const TakenLine& line, size_t first, size_t end)
{
    const size_t quote = _find('"', first, end);
    if (_reportBackslash(first, end)) {
        return;
    }
    size_t quotes = 0;
    for (size_t at = quote; at < end; at = _find('"', at + 1, end)) {
        quotes += m_text[at - (at > 0)] != '\\';
    }
    if (quotes < 4 && _reportTypographic(first, end)) {
        return;
    }
    if (quote >= end) {
        _checkNoString(first, end);
    } else if (!line.key.isPresent) {
        m_report->add(true, quote, "the key has no closing quote", sc_form, "unclosed-quote");
    } else {
        _checkAfterKey(line, end);
    }
}

void FormCheck::_checkNoString(size_t first, size_t end)
{
    const bool isComment = startsWith(m_text, first, "#") || startsWith(m_text, first, "/*") ||
                           startsWith(m_text, first, "*") || startsWith(m_text, first, ";");
    if (isComment) {
        m_report->add(false, first, "only // begins a comment: the game skips this line because it is no entry",
                      "write // before the comment", "not-a-comment");
    } else if (_find('=', first, end) < end) {
        m_report->add(true, first, "the key and the translation are not in quotes, so this line is no entry", sc_form,
                      "not-an-entry");
    } else {
        m_report->add(false, first, "text outside quotes: the game skips this line", "write // before a comment",
                      "not-an-entry");
    }
}

void FormCheck::_checkAfterKey(const TakenLine& line, size_t end)
{
    const size_t after = skipBlanks(m_text, line.key.end + 1, end);
    if (after >= end) {
        m_report->add(true, end, "no equals sign and no translation after the key", sc_form, "missing-equals");
    } else if (m_text[after] != '=') {
        // With an equals sign and one more text on the line, the key was not meant to end here.
        const size_t equals = std::string_view(m_text).substr(0, end).find("\" =", after);
        if (equals < end && after == line.key.end + 1) {
            m_report->add(true, line.key.end, "this quote ends the key, so the line is no entry",
                          "write \\\" for a quote inside a text", "unescaped-quote");
        } else {
            m_report->add(true, after, "no equals sign after the key, so the line is no entry", sc_form,
                          "missing-equals");
        }
    } else {
        _checkAfterEquals(after, end);
    }
}

void FormCheck::_checkAfterEquals(size_t equals, size_t end)
{
    const size_t next = equals + 1;
    const size_t quote = _find('"', next, end);
    if (next < end && m_text[next] == '\t') {
        m_report->add(true, next, "a tab after the equals sign: the line is no entry", "write one space there",
                      "tab-after-equals");
    } else if (next < end && m_text[next] == '=') {
        m_report->add(true, equals, "more than one equals sign: the line is no entry", sc_form, "missing-equals");
    } else if (next < end && m_text[next] != ' ') {
        m_report->add(true, next, "no space after the equals sign: the line is no entry", "write one space there",
                      "no-space-after-equals");
    } else if (quote < end) {
        m_report->add(true, quote, "the translation has no closing quote", sc_form, "unclosed-quote");
    } else {
        m_report->add(true, equals, "no translation in quotes after the equals sign", sc_form, "missing-translation");
    }
}

void FormCheck::_checkEntry(const TakenLine& line, size_t first, size_t end)
{
    if (_reportBackslash(line.key.begin, line.key.end) || _reportBackslash(line.value.begin, line.value.end)) {
        return;
    }
    const size_t quote = line.key.begin - 1;
    if (startsWith(m_text, first, "/*") || startsWith(m_text, first, "#")) {
        m_report->add(true, first, "only // begins a comment: the game reads the entry of this line",
                      "write // before the comment", "not-a-comment");
        return;
    }
    if (startsWith(m_text, first, "\xEF\xBB\xBF")) {
        m_report->add(false, first, "a byte-order mark inside of the file: the game skips it", "remove it",
                      "outside-quotes");
    } else if (first < quote) {
        m_report->add(false, first, "text before the key: the game skips it",
                      "write // before a comment, on a line of its own", "outside-quotes");
    }
    const size_t equals = m_text.find('=', line.key.end);
    const size_t between = skipBlanks(m_text, equals + 1, end);
    if (between < line.value.begin - 1) {
        m_report->add(true, between, "text between the equals sign and the translation: the game skips it", sc_form,
                      "outside-quotes");
    }
    _checkRest(line.value.end + 1, end);
    _checkEscapes(line.key);
    _checkEscapes(line.value);
}

// What follows the translation: a semicolon and a comment do no harm.
void FormCheck::_checkRest(size_t begin, size_t end)
{
    size_t at = skipBlanks(m_text, begin, end);
    at = at < end && m_text[at] == ';' ? skipBlanks(m_text, at + 1, end) : at;
    if (at >= end || startsWith(m_text, at, "//")) {
        return;
    }
    if (_find('"', at, end) < end) {
        m_report->add(true, begin - 1, "this quote ends the translation: the game skips the rest of the line",
                      "write \\\" for a quote inside a text", "unescaped-quote");
    } else {
        m_report->add(false, at, "text after the translation: the game skips it", "write // before a comment",
                      "outside-quotes");
    }
}

void FormCheck::_checkEscapes(const QuotedText& text)
{
    for (size_t at = text.begin; at + 1 < text.end; ++at) {
        if (m_text[at] != '\\') {
            continue;
        }
        std::string decoded;
        const std::string escape = m_text.substr(at, 2);
        if (!decodeEscapes(escape, &decoded)) {
            m_report->add(true, at,
                          "unknown escape " + escape +
                              ": the game shows a backslash and loses the character after it",
                          "write \\\\ for a backslash; the escapes are \\a \\b \\t \\n \\v \\f \\r \\\" \\' \\\\",
                          "unknown-escape");
        }
        ++at;
    }
}

void checkForm(const GamesView& view, Report* report)
{
    FormCheck(view, report).run();
}
