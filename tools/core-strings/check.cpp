// The findings in a strings file.
//
// 1. Whether a line is an entry, and whether a game finds the entry, is what the library says (game.h). The code here
//    looks for the cause, and names it.
// 2. An entry that a game does not find has a finding, also when no cause is known.
// 3. A line has at most one finding about its form: the first cause from its left.
#include "tools/core-strings/check.h"
#include "tools/core-strings/document.h"
#include "tools/core-strings/texts.h"

#include <algorithm>
#include <map>
#include <string.h>

static const size_t sc_longestKey = 127;  // bytes that the string table stores of a key
static const size_t sc_longestPath = 127; // bytes of the path that the string table opens
static const size_t sc_mostEntries = 1024;

static const char* const sc_form = "write `\"key\" = \"translation\"`";

// Blanks, but not line feeds.
static size_t skipBlanks(const std::string& text, size_t at, size_t end)
{
    while (at < end && (text[at] == ' ' || text[at] == '\t')) {
        ++at;
    }
    return at;
}

static bool startsWith(const std::string& text, size_t at, const char* start)
{
    return text.compare(at, strlen(start), start) == 0;
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

// Returns a text as it is shown in a finding: with escapes, in quotes, and not longer than 60 bytes.
static std::string shown(const std::string& text)
{
    std::string escaped = encodeEscapes(text);
    if (escaped.size() > 60) {
        size_t length = 57;
        while (length > 0 && (escaped[length] & 0xc0) == 0x80) {
            --length; // not in the middle of a character
        }
        escaped = escaped.substr(0, length) + "...";
    }
    return '"' + escaped + '"';
}

static std::string plural(size_t count, const char* noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

namespace {
// The lines of a text, to find line and column of an offset.
class Lines {
public:
    explicit Lines(const std::string& text)
    {
        m_begins.push_back(0);
        for (size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 1)) {
            m_begins.push_back(at + 1);
        }
    }
    size_t lineOf(size_t offset) const
    {
        return static_cast<size_t>(std::upper_bound(m_begins.begin(), m_begins.end(), offset) - m_begins.begin());
    }
    size_t columnOf(size_t offset) const { return offset - m_begins[lineOf(offset) - 1] + 1; }

private:
    std::vector<size_t> m_begins;
};

class Checker {
public:
    Checker(const std::string& name, const std::string& bytes, const CheckRules& rules)
        : m_name(name), m_bytes(bytes), m_rules(rules), m_view(readAsGame(bytes)), m_text(m_view.text),
          m_lines(m_text)
    {
    }

    std::vector<Finding> run()
    {
        if (_isUtf16()) {
            _add(true, 0, "the file is UTF-16, and the game reads UTF-8: it finds no entry", "save the file as UTF-8",
                 "utf-16");
            return m_findings;
        }
        _checkPath();
        _checkEnd();
        _checkEmptyLines();
        _checkBytes();
        for (const TakenLine& line : m_view.lines) {
            if (!line.isRepeated && line.begin >= m_swallowedTo) {
                _checkLine(line);
            }
        }
        _checkKeys();
        sortFindings(&m_findings);
        return m_findings;
    }

private:
    void _add(bool isError, size_t offset, const std::string& what, const std::string& instead, const char* check)
    {
        m_findings.push_back(
            {m_name, m_lines.lineOf(offset), m_lines.columnOf(offset), isError, what, instead, check});
    }

    bool _isUtf16() const;
    void _checkPath();
    void _checkEnd();
    void _checkEmptyLines();
    void _reportHidden(size_t run, size_t count, size_t lineAfter);
    bool _hasEntryInTail(size_t begin) const;
    void _checkBytes();
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
    void _checkTranslation(const TakenLine& line);
    void _checkConversions(const TakenLine& line);
    void _checkBlanks(const TakenLine& line);
    void _checkKeys();
    void _checkKey(const TakenLine& line, const TakenLine* first, size_t number);
    void _checkSameKey(const TakenLine& line, const TakenLine& first);

    const std::string m_name;
    const std::string& m_bytes;
    const CheckRules m_rules;
    const GamesView m_view;
    const std::string& m_text;
    const Lines m_lines;
    size_t m_swallowedTo = 0; // the lines before this offset are a part of an entry above them
    std::vector<Finding> m_findings;
};
} // namespace

// A byte-order mark, or a NUL in every second byte of the beginning.
bool Checker::_isUtf16() const
{
    if (startsWith(m_bytes, 0, "\xff\xfe") || startsWith(m_bytes, 0, "\xfe\xff")) {
        return true;
    }
    for (size_t first = 0; first < 2; ++first) {
        bool isNul = m_bytes.size() >= 8;
        for (size_t at = first; isNul && at < 8; at += 2) {
            isNul = m_bytes[at] == '\0' && m_bytes[at ^ 1] != '\0';
        }
        if (isNul) {
            return true;
        }
    }
    return false;
}

void Checker::_checkPath()
{
    const std::string file = m_name.substr(m_name.rfind('/') + 1);
    if (file == "strings.utf8" && m_name.size() > sc_longestPath) {
        _add(
            false, 0,
            "the path has " + std::to_string(m_name.size()) +
                " bytes, and the game opens a path of at most 127: with this path it would open another file or none",
            "give the game a shorter locale folder", "path-too-long");
    }
}

// A NUL ends the text for a game.
void Checker::_checkEnd()
{
    const size_t nul = m_bytes.find('\0');
    if (nul != std::string::npos) {
        _add(true, m_text.size(),
             "a NUL byte ends the file for the game: the " + plural(m_bytes.size() - nul - 1, "byte") +
                 " after it are lost",
             "remove the byte", "nul-byte");
    }
}

// Of more than one empty line, the second one makes the parser lose its place.
void Checker::_checkEmptyLines()
{
    size_t taken = 0; // the end of the last line that the game took
    for (const TakenLine& line : m_view.lines) {
        taken = std::max(taken, line.isRepeated ? 0 : line.end);
    }
    size_t run = 0; // the begin of the last run of empty lines
    size_t count = 0;
    for (size_t at = 0; at < m_text.size();) {
        if (m_text[at] != '\n') {
            at = std::min(m_text.find('\n', at), m_text.size() - 1) + 1;
            continue;
        }
        run = at;
        at = std::min(m_text.find_first_not_of('\n', at), m_text.size());
        count = at - run;
        if (count >= 2 && at < m_text.size() && at <= taken) {
            _reportHidden(run, count, at);
        }
    }
}

void Checker::_reportHidden(size_t run, size_t count, size_t lineAfter)
{
    size_t taken = 0;
    for (const TakenLine& line : m_view.lines) {
        taken = std::max(taken, line.isRepeated ? 0 : line.end);
    }
    const size_t end = std::min(m_text.find('\n', lineAfter), m_text.size());
    size_t hidden = 0;
    if (end >= taken) {
        for (size_t at = end; (at = m_text.find_first_not_of('\n', at)) != std::string::npos;) {
            hidden += 1;
            at = std::min(m_text.find('\n', at), m_text.size());
        }
    }
    const std::string empties = plural(count, "empty line") + " in a row: ";
    const std::string next = "line " + std::to_string(m_lines.lineOf(lineAfter));
    const char* const instead = "leave at most one line empty";
    if (hidden > 0) {
        _add(true, run,
             empties + "after " + next + " the game reads no further, and " + plural(hidden, "line") + " below it " +
                 (hidden == 1 ? "is" : "are") + " lost",
             instead, "empty-lines");
    } else if (_hasEntryInTail(lineAfter)) {
        _add(true, run, empties + "the game reads the end of " + next + " twice, and takes it for an entry", instead,
             "empty-lines");
    } else if (count == 2) {
        _add(false, run, empties + "the game would lose an entry after " + next, instead, "empty-lines");
    } else {
        _add(false, run, empties + "the game reads the end of " + next + " twice", instead, "empty-lines");
    }
}

// Returns true if the parser found an entry in the end of a line that is not the entry of the whole line.
bool Checker::_hasEntryInTail(size_t begin) const
{
    const TakenLine* whole = nullptr;
    for (const TakenLine& line : m_view.lines) {
        if (line.begin != begin) {
            continue;
        }
        whole = line.isRepeated ? whole : &line;
        const bool isSame = whole && whole->key.text == line.key.text && whole->value.text == line.value.text;
        if (line.isRepeated && line.value.isPresent && !isSame) {
            return true;
        }
    }
    return false;
}

// Bytes that are no UTF-8, and carriage returns that do not end a line. One finding for a line.
void Checker::_checkBytes()
{
    for (size_t begin = 0; begin < m_text.size();) {
        const size_t end = std::min(m_text.find('\n', begin), m_text.size());
        const std::string line = m_text.substr(begin, end - begin);
        const size_t invalid = findInvalidUtf8(line);
        if (invalid != std::string::npos) {
            char byte[8];
            snprintf(byte, sizeof(byte), "0x%02X",
                     static_cast<unsigned int>(static_cast<unsigned char>(line[invalid])));
            _add(true, begin + invalid, "the byte " + std::string(byte) + " is no UTF-8", "save the file as UTF-8",
                 "not-utf8");
        }
        const size_t trimmed = line.find_last_not_of('\r') + 1;
        const size_t carriageReturn = line.find('\r');
        if (carriageReturn < trimmed) {
            _add(
                true, begin + carriageReturn,
                "a carriage return without a line feed does not end a line: the game reads the rest as the same line",
                "end lines with a line feed", "bare-carriage-return");
        }
        begin = end + 1;
    }
}

void Checker::_checkLine(const TakenLine& line)
{
    size_t end = line.end;
    while (end > line.begin && m_text[end - 1] == '\r') {
        --end;
    }
    const size_t first = skipBlanks(m_text, line.begin, end);
    if (first == end || startsWith(m_text, first, "//") || m_text.substr(first, end - first) == sc_charsetLine ||
        m_text.find('\r', first) < end) {
        return; // carriage returns inside of a line: _checkBytes reports them
    }
    if (!line.value.isPresent) {
        _checkNoEntry(line, first, end);
    } else if (line.value.begin > end) {
        const size_t equals = m_text.rfind('=', end);
        m_swallowedTo = std::min(m_text.find('\n', line.value.end), m_text.size());
        _add(true, equals,
             "no translation after the equals sign: the game takes " + shown(line.value.text) +
                 " of the next line instead, and loses that line",
             sc_form, "missing-translation");
    } else {
        _checkEntry(line, first, end);
    }
}

// Reports a quote that does not end its text because of the backslash before it, which is itself escaped.
bool Checker::_reportBackslash(size_t begin, size_t end)
{
    for (size_t quote = m_text.find('"', begin); quote < end; quote = m_text.find('"', quote + 1)) {
        size_t backslashes = 0;
        while (quote - backslashes > begin && m_text[quote - backslashes - 1] == '\\') {
            ++backslashes;
        }
        if (backslashes >= 2 && backslashes % 2 == 0) {
            _add(true, quote, "a text can't end in a backslash: for the game, this quote belongs to the text",
                 "write another character, such as a space, between the backslashes and the quote",
                 "backslash-at-end");
            return true;
        }
    }
    return false;
}

bool Checker::_reportTypographic(size_t begin, size_t end)
{
    for (size_t at = begin; at < end; ++at) {
        if (const size_t length = typographicQuoteAt(m_text, at)) {
            _add(true, at, "the game knows no typographic quotes (" + m_text.substr(at, length) + ")",
                 "write \" around keys and translations", "typographic-quotes");
            return true;
        }
    }
    return false;
}

void Checker::_checkNoEntry(const TakenLine& line, size_t first, size_t end)
{
    const size_t quote = m_text.find('"', first);
    if (_reportBackslash(first, end)) {
        return;
    }
    size_t quotes = 0;
    for (size_t at = quote; at < end; at = m_text.find('"', at + 1)) {
        quotes += m_text[at - (at > 0)] != '\\';
    }
    if (quotes < 4 && _reportTypographic(first, end)) {
        return;
    }
    if (quote >= end) {
        _checkNoString(first, end);
    } else if (!line.key.isPresent) {
        _add(true, quote, "the key has no closing quote", sc_form, "unclosed-quote");
    } else {
        _checkAfterKey(line, end);
    }
}

void Checker::_checkNoString(size_t first, size_t end)
{
    const bool isComment = startsWith(m_text, first, "#") || startsWith(m_text, first, "/*") ||
                           startsWith(m_text, first, "*") || startsWith(m_text, first, ";");
    if (isComment) {
        _add(false, first, "only // begins a comment: the game skips this line because it is no entry",
             "write // before the comment", "not-a-comment");
    } else if (std::min(m_text.find('=', first), end) < end) {
        _add(true, first, "the key and the translation are not in quotes, so this line is no entry", sc_form,
             "not-an-entry");
    } else {
        _add(false, first, "text outside quotes: the game skips this line", "write // before a comment",
             "not-an-entry");
    }
}

void Checker::_checkAfterKey(const TakenLine& line, size_t end)
{
    const size_t after = skipBlanks(m_text, line.key.end + 1, end);
    if (after >= end) {
        _add(true, end, "no equals sign and no translation after the key", sc_form, "missing-equals");
    } else if (m_text[after] != '=') {
        // With an equals sign and one more text on the line, the key was not meant to end here.
        const size_t equals = std::min(m_text.find("\" =", after), end);
        if (equals < end && after == line.key.end + 1) {
            _add(true, line.key.end, "this quote ends the key, so the line is no entry",
                 "write \\\" for a quote inside a text", "unescaped-quote");
        } else {
            _add(true, after, "no equals sign after the key, so the line is no entry", sc_form, "missing-equals");
        }
    } else {
        _checkAfterEquals(after, end);
    }
}

void Checker::_checkAfterEquals(size_t equals, size_t end)
{
    const size_t next = equals + 1;
    const size_t quote = std::min(m_text.find('"', next), end);
    if (next < end && m_text[next] == '\t') {
        _add(true, next, "a tab after the equals sign: the line is no entry", "write one space there",
             "tab-after-equals");
    } else if (next < end && m_text[next] == '=') {
        _add(true, equals, "more than one equals sign: the line is no entry", sc_form, "missing-equals");
    } else if (next < end && m_text[next] != ' ') {
        _add(true, next, "no space after the equals sign: the line is no entry", "write one space there",
             "no-space-after-equals");
    } else if (quote < end) {
        _add(true, quote, "the translation has no closing quote", sc_form, "unclosed-quote");
    } else {
        _add(true, equals, "no translation in quotes after the equals sign", sc_form, "missing-translation");
    }
}

void Checker::_checkEntry(const TakenLine& line, size_t first, size_t end)
{
    if (_reportBackslash(line.key.begin, line.key.end) || _reportBackslash(line.value.begin, line.value.end)) {
        return;
    }
    const size_t quote = line.key.begin - 1;
    if (startsWith(m_text, first, "/*") || startsWith(m_text, first, "#")) {
        _add(true, first, "only // begins a comment: the game reads the entry of this line",
             "write // before the comment", "not-a-comment");
        return;
    }
    if (startsWith(m_text, first, "\xEF\xBB\xBF")) {
        _add(false, first, "a byte-order mark inside of the file: the game skips it", "remove it", "outside-quotes");
    } else if (first < quote) {
        _add(false, first, "text before the key: the game skips it",
             "write // before a comment, on a line of its own", "outside-quotes");
    }
    const size_t equals = m_text.find('=', line.key.end);
    const size_t between = skipBlanks(m_text, equals + 1, end);
    if (between < line.value.begin - 1) {
        _add(true, between, "text between the equals sign and the translation: the game skips it", sc_form,
             "outside-quotes");
    }
    _checkRest(line.value.end + 1, end);
    _checkEscapes(line.key);
    _checkEscapes(line.value);
    _checkTranslation(line);
}

// What follows the translation: a semicolon and a comment do no harm.
void Checker::_checkRest(size_t begin, size_t end)
{
    size_t at = skipBlanks(m_text, begin, end);
    at = at < end && m_text[at] == ';' ? skipBlanks(m_text, at + 1, end) : at;
    if (at >= end || startsWith(m_text, at, "//")) {
        return;
    }
    if (m_text.find('"', at) < end) {
        _add(true, begin - 1, "this quote ends the translation: the game skips the rest of the line",
             "write \\\" for a quote inside a text", "unescaped-quote");
    } else {
        _add(false, at, "text after the translation: the game skips it", "write // before a comment",
             "outside-quotes");
    }
}

void Checker::_checkEscapes(const QuotedText& text)
{
    for (size_t at = text.begin; at + 1 < text.end; ++at) {
        if (m_text[at] != '\\') {
            continue;
        }
        std::string decoded;
        const std::string escape = m_text.substr(at, 2);
        if (!decodeEscapes(escape, &decoded)) {
            _add(true, at,
                 "unknown escape " + escape + ": the game shows a backslash and loses the character after it",
                 "write \\\\ for a backslash; the escapes are \\a \\b \\t \\n \\v \\f \\r \\\" \\' \\\\",
                 "unknown-escape");
        }
        ++at;
    }
}

static std::string joined(const std::vector<std::string>& texts)
{
    std::string list;
    for (const std::string& text : texts) {
        list += (list.empty() ? "" : " ") + text;
    }
    return list.empty() ? "none" : list;
}

void Checker::_checkTranslation(const TakenLine& line)
{
    const std::string& key = line.key.text;
    const std::string& translation = line.value.text;
    if (key == translation) {
        if (m_rules.findsUnchanged && !key.empty()) {
            _add(false, line.value.begin - 1, "the translation is the same as the key", "translate it", "unchanged");
        }
        return;
    }
    if (translation.empty()) {
        _add(false, line.value.begin - 1, "the translation is empty: the game shows nothing",
             "remove the line, and the game shows its own text", "empty-translation");
        return;
    }
    if (key.size() == sc_longestKey && translation.compare(0, key.size(), key) == 0) {
        return; // a key that the export truncated: _checkKey reports it
    }
    _checkConversions(line);
    if (coloursOf(key) != coloursOf(translation)) {
        _add(false, line.value.begin,
             "the colours of key and translation differ: " + joined(coloursOf(key)) + " became " +
                 joined(coloursOf(translation)),
             "keep each ^CRRGGBB and ^c", "colours");
    }
    _checkBlanks(line);
}

void Checker::_checkConversions(const TakenLine& line)
{
    const std::string& key = line.key.text;
    const std::string& translation = line.value.text;
    if (haveSameConversions(key, translation)) {
        return;
    }
    if (conversionsOf(key).types == conversionsOf(translation).types) {
        _add(true, line.value.begin, "the translation has a '%' that begins no conversion",
             "write %% for a percent sign", "conversions");
        return;
    }
    _add(true, line.value.begin,
         "the conversions of key and translation differ: " + listConversions(key) + " became " +
             listConversions(translation),
         "keep each conversion and their order, or number all of them (%1$s)", "conversions");
}

void Checker::_checkBlanks(const TakenLine& line)
{
    if (leadingBlanks(line.key.text) != leadingBlanks(line.value.text)) {
        _add(false, line.value.begin,
             "key and translation begin with other blanks: " + shown(leadingBlanks(line.key.text)) + " became " +
                 shown(leadingBlanks(line.value.text)),
             "begin both alike", "blanks-at-begin");
    }
    if (trailingBlanks(line.key.text) != trailingBlanks(line.value.text)) {
        _add(false, line.value.end,
             "key and translation end with other blanks: " + shown(trailingBlanks(line.key.text)) + " became " +
                 shown(trailingBlanks(line.value.text)),
             "end both alike", "blanks-at-end");
    }
}

// What the string table makes of the entries, all together.
void Checker::_checkKeys()
{
    std::map<std::string, const TakenLine*> firsts;
    size_t number = 0;
    for (const TakenLine& line : m_view.lines) {
        if (!line.value.isPresent || (line.isRepeated && line.isFound)) {
            continue; // a line that was taken twice makes two equal entries
        }
        number += 1;
        const TakenLine*& first = firsts[foldCase(line.key.text)];
        _checkKey(line, first, number);
        first = first ? first : &line;
    }
}

void Checker::_checkKey(const TakenLine& line, const TakenLine* first, size_t number)
{
    const size_t place = line.key.begin - 1;
    if (line.key.text.size() > sc_longestKey) {
        _add(true, place,
             "the key has " + std::to_string(line.key.text.size()) +
                 " bytes, and the game stores 127: it never finds this entry",
             "shorten the text in the game", "key-too-long");
    } else if (line.key.text.size() == sc_longestKey && line.value.text.size() > sc_longestKey &&
               line.value.text.compare(0, sc_longestKey, line.key.text) == 0) {
        _add(true, place, "the key is the beginning of a longer text of the game, which never finds this entry",
             "shorten the text in the game to 127 bytes", "key-too-long");
    } else if (first) {
        _checkSameKey(line, *first);
    } else if (number > sc_mostEntries && !line.isFound) {
        if (number == sc_mostEntries + 1) {
            _add(true, place, "more than 1024 entries: the game drops this one and all that follow",
                 "remove entries that the game does not ask for", "too-many-entries");
        }
    } else if (!line.isFound) {
        _add(true, place, "the game does not find this entry", "", "not-found");
    }
}

void Checker::_checkSameKey(const TakenLine& line, const TakenLine& first)
{
    const size_t place = line.key.begin - 1;
    const std::string where = "line " + std::to_string(m_lines.lineOf(first.key.begin));
    const bool isSame = line.value.text == first.value.text;
    const std::string shows = isSame ? ", with the same translation" : ": the game shows the translation of " + where;
    if (line.key.text != first.key.text) {
        _add(!isSame, place,
             "the key differs from the key of " + where + " in case alone, which is the same to the game" + shows,
             "keep one of them", "key-case");
    } else if (isSame) {
        _add(false, place, "the key is already in " + where + shows, "keep one of them", "key-twice");
    } else {
        _add(true, place, "the key is already in " + where + " with another translation" + shows, "keep one of them",
             "key-two-translations");
    }
}

std::vector<Finding> checkStrings(const std::string& name, const std::string& bytes, const CheckRules& rules)
{
    return Checker(name, bytes, rules).run();
}

// The findings with which a file can be rewritten and loses nothing.
static bool isRewritable(const Finding& finding)
{
    static const char* const sc_checks[] = {"blanks-at-begin",      "blanks-at-end", "colours",         "conversions",
                                            "empty-translation",    "key-case",      "key-too-long",    "key-twice",
                                            "key-two-translations", "path-too-long", "too-many-entries"};
    const auto isThis = [&](const char* check) { return finding.check == check; };
    return std::any_of(std::begin(sc_checks), std::end(sc_checks), isThis) ||
           (!finding.isError &&
            (finding.check == "not-an-entry" || finding.check == "not-a-comment" || finding.check == "empty-lines"));
}

std::vector<Finding> findUnreadable(const std::string& name, const std::string& bytes)
{
    std::vector<Finding> findings = checkStrings(name, bytes, CheckRules());
    findings.erase(std::remove_if(findings.begin(), findings.end(), isRewritable), findings.end());
    return findings;
}

static std::map<std::string, const TakenLine*> entriesOf(const GamesView& file)
{
    std::map<std::string, const TakenLine*> entries;
    for (const TakenLine& line : file.lines) {
        if (line.value.isPresent) {
            entries.emplace(foldCase(line.key.text), &line);
        }
    }
    return entries;
}

// Reports the entries of `file` that `other` lacks.
static void reportMissing(const std::string& name, const GamesView& file, const std::string& otherName,
                          const GamesView& other, const char* instead, const char* check,
                          std::vector<Finding>* findings)
{
    const Lines lines(file.text);
    const std::map<std::string, const TakenLine*> others = entriesOf(other);
    for (const auto& entry : entriesOf(file)) {
        if (others.count(entry.first) == 0) {
            const size_t place = entry.second->key.begin - 1;
            findings->push_back({name, lines.lineOf(place), lines.columnOf(place), false,
                                 otherName + " has no entry " + shown(entry.second->key.text), instead, check});
        }
    }
}

std::vector<Finding> compareLanguages(const std::string& name, const GamesView& file,
                                      const std::string& referenceName, const GamesView& reference)
{
    std::vector<Finding> findings;
    reportMissing(name, file, referenceName, reference, "remove the entry, or correct its key",
                  "key-not-in-reference", &findings);
    reportMissing(referenceName, reference, name, file, "add a translation", "key-missing", &findings);
    sortFindings(&findings);
    return findings;
}
