// 1. The line loop looks at each line alone. It knows lines and words by their places and changes nothing.
// 2. What a fault hides from the game is not computed here: the library reads the text (library.h), and the checks of
//    empty lines and missing values say what it took.
// 3. A repair is added only if there is one right answer.
#include "tools/core-config/form.h"

#include "tools/core-config/braces.h"
#include "tools/core-config/library.h"
#include "tools/core-config/number.h"

#include <algorithm>
#include <map>
#include <string.h>
#include <strings.h>

namespace config {

// What a word has in it, so that the checks of rare faults look at few words.
enum e_WordContent {
    CONTENT_TAB = 1,
    CONTENT_EQUALS = 2,
    CONTENT_BRACE = 4,
    CONTENT_QUOTE = 8,
    CONTENT_HIGH = 16, // a byte of 128 and above
};

static unsigned int contentOf(const char* word, size_t length)
{
    unsigned int content = 0;
    for (size_t at = 0; at < length; ++at) {
        switch (word[at]) {
        case '\t':
            content |= CONTENT_TAB;
            break;
        case '=':
            content |= CONTENT_EQUALS;
            break;
        case '{':
        case '}':
            content |= CONTENT_BRACE;
            break;
        case '"':
            content |= CONTENT_QUOTE;
            break;
        default:
            if (word[at] & 0x80) {
                content |= CONTENT_HIGH;
            }
        }
    }
    return content;
}

class FormCheck {
public:
    FormCheck(const ConfigText& text, const FormOptions& options, Faults* faults)
        : m_text(text), m_options(options), m_faults(faults), m_braces(text), m_facts(text.lines().size())
    {
    }

    void run();

private:
    struct EmptyLines { // bare line feeds together, and the line after them
        size_t first;
        size_t count;
        size_t after;
    };

    void _add(size_t place, size_t length, bool isError, const std::string& what, const std::string& instead,
              const char* check, std::vector<Edit> edits = {});
    bool _isBareLineFeed(size_t line) const;
    void _checkLineEnds();
    bool _checkReturns(size_t line);
    void _checkLine(size_t line);
    void _checkWords(size_t line);
    bool _checkEquals();
    bool _checkEqualsIn(const Word& word);
    bool _checkWord(size_t index, bool isTyped);
    void _checkPlainWord(const Word& word, unsigned int content);
    void _checkBrace(size_t line, const Word& word);
    bool _checkString(const Word& word);
    void _checkOtherBytes(const Word& word);
    void _checkTruth(const Word& word);
    void _checkValueLine(size_t line);
    void _checkEmptyLines(const Reading& reading);
    void _checkMissingValues(const Reading& reading);

    const ConfigText& m_text;
    const FormOptions& m_options;
    Faults* m_faults;
    Braces m_braces;
    std::vector<LineFacts> m_facts;
    std::vector<Word> m_words; // of the current line
    std::vector<EmptyLines> m_emptyLines;
    std::vector<size_t> m_missing; // the lines that lack a value
    bool m_hasReturns = false;     // some lines end with a carriage return
    bool m_isMixed = false;        // and others with a bare line feed
};

void FormCheck::_add(size_t place, size_t length, bool isError, const std::string& what, const std::string& instead,
                     const char* check, std::vector<Edit> edits)
{
    m_faults->push_back({place, length, isError, what, instead, check, std::move(edits)});
}

void FormCheck::run()
{
    _checkLineEnds();
    for (size_t line = 0; line < m_facts.size(); ++line) {
        m_facts[line] = {NO_WORD, false, 0};
        if (_checkReturns(line)) {
            _checkLine(line);
        }
    }
    m_braces.check(m_faults);
    if (!m_emptyLines.empty() || !m_missing.empty()) {
        const Reading reading = readAsGame(m_text, &m_facts);
        _checkEmptyLines(reading);
        _checkMissingValues(reading);
    }
}

// ---- Ends of lines

bool FormCheck::_isBareLineFeed(size_t line) const
{
    const Line& found = m_text.lines()[line];
    return found.next == found.end + 1 && m_text.bytes()[found.end] == '\n';
}

// Adds a fault for each run of lines that end with a bare line feed, in a file that also has carriage returns. A file
// of bare line feeds gets one warning.
void FormCheck::_checkLineEnds()
{
    const std::vector<Line>& lines = m_text.lines();
    size_t bare = 0;
    for (size_t line = 0; line < lines.size(); ++line) {
        bare += _isBareLineFeed(line);
        m_hasReturns = m_hasReturns || lines[line].next > lines[line].end + 1;
    }
    m_isMixed = m_hasReturns && bare > 0;
    for (size_t line = 0; bare > 0 && line < lines.size(); ++line) {
        if (!_isBareLineFeed(line)) {
            continue;
        }
        const size_t first = line;
        std::vector<Edit> edits;
        for (; line < lines.size() && (_isBareLineFeed(line) || !m_hasReturns); ++line) {
            if ((m_isMixed || m_options.wantsCarriageReturns) && _isBareLineFeed(line)) {
                edits.push_back({lines[line].end, lines[line].end, "\r"});
            }
        }
        if (m_isMixed) {
            const size_t count = line - first;
            _add(lines[first].end, 1, true,
                 (count == 1 ? "this line ends" : "this line and " + counted(count - 1, "line") + " after it end") +
                     " with a bare line feed, other lines with carriage return and line feed",
                 "write carriage return and line feed", "bare-line-feed", edits);
        } else {
            _add(lines[first].end, 1, false, "the lines of this file end with bare line feeds",
                 "end each line of a config file with carriage return and line feed (--fix --crlf does it)",
                 "line-feeds", edits);
        }
    }
}

// Returns false if the line has carriage returns in its middle: then its words are those of several lines.
bool FormCheck::_checkReturns(size_t line)
{
    const Line& found = m_text.lines()[line];
    const std::string& bytes = m_text.bytes();
    const bool hasLineFeed = found.next > found.end && bytes[found.next - 1] == '\n';
    const size_t returns = found.next - found.end - hasLineFeed;
    if (returns > 1) {
        _add(found.end, returns, true, std::to_string(returns) + " carriage returns are at the end of this line",
             "write one", "extra-return", {{found.end, found.end + returns - 1, ""}});
    }
    const char* begin = &bytes[found.begin];
    const char* const end = begin + (found.end - found.begin);
    std::vector<Edit> edits;
    while (const void* place = memchr(begin, '\r', static_cast<size_t>(end - begin))) {
        begin = static_cast<const char*>(place) + 1;
        const size_t at = static_cast<size_t>(begin - bytes.data()) - 1;
        edits.push_back({at, at + 1, m_hasReturns || found.next == found.end || returns ? "\r\n" : "\n"});
    }
    if (!edits.empty()) {
        const size_t count = edits.size();
        if (returns == 1 && !hasLineFeed) {
            edits.push_back({found.next, found.next, "\n"}); // the last one of the file
        }
        _add(edits[0].begin, 1, true,
             counted(count, "carriage return") + " without line feed: the game takes " + counted(count + 1, "line") +
                 " for one",
             "write carriage return and line feed", "lone-return", edits);
    }
    return edits.empty();
}

// ---- The line loop

void FormCheck::_checkLine(size_t line)
{
    const Line& found = m_text.lines()[line];
    if (found.end == found.begin && _isBareLineFeed(line)) {
        if (m_emptyLines.empty() || m_emptyLines.back().after != line) {
            m_emptyLines.push_back({line, 0, line});
        }
        ++m_emptyLines.back().count;
        m_emptyLines.back().after = line + 1;
        return;
    }
    m_text.wordsOf(line, &m_words);
    if (m_words.empty()) {
        return;
    }
    m_facts[line].firstWord = m_words[0].begin;
    m_facts[line].lacksValue = m_words.size() == 2 && m_text.is(m_words[1], '=');
    if (m_facts[line].lacksValue && !m_text.is(m_words[0], '=')) {
        m_missing.push_back(line);
    }
    _checkWords(line);
    _checkValueLine(line);
}

void FormCheck::_checkWords(size_t line)
{
    bool isGood = _checkEquals(); // the words that follow mean what they seem to mean
    const bool isTyped = m_options.typedLines && (*m_options.typedLines)[line];
    for (size_t index = 0; index < m_words.size(); ++index) {
        const Word& word = m_words[index];
        const char first = m_text.bytes()[word.begin];
        const char last = m_text.bytes()[word.end - 1];
        if (!word.isString && (first == '{' || first == '}' || last == '{' || last == '}')) {
            _checkBrace(line, word);
        } else if (isGood) {
            isGood = _checkWord(index, isTyped);
        }
    }
}

// Returns false if the line's "=" is wrong: then its words say nothing.
bool FormCheck::_checkEquals()
{
    const Word& name = m_words[0];
    if (m_text.bytes()[name.begin] == '=') {
        _add(name.begin, name.end - name.begin, true, "no name is before \"=\"", "write a name, a space and \"=\"",
             "no-name", {});
        return false;
    }
    return _checkEqualsIn(name) && (m_words.size() < 2 || _checkEqualsIn(m_words[1]));
}

// Checks the first or the second word: an "=" in it that is not the whole word is not recognised.
bool FormCheck::_checkEqualsIn(const Word& word)
{
    const char* bytes = m_text.bytes().data();
    const size_t length = word.end - word.begin;
    const void* found = word.isString || length == 1 ? nullptr : memchr(bytes + word.begin, '=', length);
    if (!found || (&word != &m_words[0] && found != bytes + word.begin)) {
        return true;
    }
    const size_t equals = static_cast<size_t>(static_cast<const char*>(found) - bytes);
    std::vector<Edit> edits;
    const bool isOnly = !memchr(bytes + equals + 1, '=', word.end - equals - 1);
    const bool hasTab = memchr(bytes + word.begin, '\t', length) != nullptr;
    for (size_t at = word.begin; isOnly && at < word.end; ++at) {
        if (bytes[at] == '\t') {
            edits.push_back({at, at + 1, " "});
        }
    }
    if (isOnly && equals > word.begin && bytes[equals - 1] != '\t') {
        edits.push_back({equals, equals, " "});
    }
    if (isOnly && equals + 1 < word.end && bytes[equals + 1] != '\t') {
        edits.push_back({equals + 1, equals + 1, " "});
    }
    const std::string what = hasTab ? "a tab beside \"=\" is no separator: the game takes "
                                    : "without a space on each side of \"=\", the game takes ";
    _add(equals, 1, true, what + quoted(m_text.text(word)) + " for one word",
         "write \"name = value\" with single spaces", hasTab ? "tab" : "no-space-around-equals", edits);
    return false;
}

void FormCheck::_checkBrace(size_t line, const Word& word)
{
    const std::string& bytes = m_text.bytes();
    if (word.end == word.begin + 1) {
        m_braces.add(line, word, bytes[word.begin] == '{');
        return;
    }
    const std::string text = m_text.text(word);
    if (std::count(text.begin(), text.end(), '{') == std::count(text.begin(), text.end(), '}')) {
        return; // such as "{1}": a value
    }
    std::vector<Edit> edits;
    const bool isHead = text.find_first_of("{}") == text.size() - 1 && text.back() == '{';
    if (isHead) {
        edits.push_back({word.end - 1, word.end - 1, " "});
        m_braces.add(line, {word.end - 1, word.end, false, false}, true);
    }
    _add(word.begin, text.size(), true,
         "the brace in " + quoted(text) + " is not a word of its own, and the game does not see it",
         "write a space on each side of a brace", "brace-in-word", edits);
}

// ---- Words

// Returns false if the word ends elsewhere than it seems to: then the words after it say nothing.
bool FormCheck::_checkWord(size_t index, bool isTyped)
{
    const Word& word = m_words[index];
    if (word.isString) {
        return _checkString(word);
    }
    const unsigned int content = contentOf(&m_text.bytes()[word.begin], word.end - word.begin);
    const bool isName = index == 0 && m_words.size() > 1 && m_text.is(m_words[1], '=');
    if (content) {
        _checkPlainWord(word, content);
    }
    if (!content && !isTyped && !isName && isLikeNumber(m_text, word)) {
        checkNumber(m_text, word, index > 0, m_faults);
    }
    if (index == 2 && !content && !isTyped && m_text.is(m_words[1], '=')) {
        _checkTruth(word);
    }
    return true;
}

void FormCheck::_checkPlainWord(const Word& word, unsigned int content)
{
    if (content & CONTENT_TAB) {
        const size_t tab = m_text.bytes().find('\t', word.begin);
        std::vector<Edit> edits;
        for (size_t at = tab; at < word.end; at = m_text.bytes().find('\t', at + 1)) {
            edits.push_back({at, at + 1, " "});
        }
        _add(tab, 1, true, "a tab ends no word: the game takes " + quoted(m_text.text(word)) + " for one word",
             "write a space", "tab", edits);
    } else if (content & CONTENT_QUOTE) {
        _add(m_text.bytes().find('"', word.begin), 1, false,
             "a double quote is in the middle of the word " + quoted(m_text.text(word)),
             "write a space before a text between quotes", "quote-in-word", {});
    } else if (content & CONTENT_HIGH) {
        _checkOtherBytes(word);
    }
}

bool FormCheck::_checkString(const Word& word)
{
    const std::string& bytes = m_text.bytes();
    if (!word.isClosed) {
        const bool isAfterBackslash = bytes.compare(word.end - 1, 1, "\"") == 0 && word.end - word.begin > 2;
        _add(word.begin, word.end - word.begin, true,
             isAfterBackslash ? "the text that begins here has no end: a quote after a backslash does not end a "
                                "text, not even after two backslashes"
                              : "the text that begins here has no closing quote in this line",
             isAfterBackslash ? "end no text with a backslash" : "write the quote that ends it",
             isAfterBackslash ? "quote-after-backslash" : "open-quote", {});
        return false;
    }
    bool isGood = true;
    for (size_t at = word.begin + 1; at + 1 < word.end; ++at) {
        if (bytes[at] != '\\') {
            continue;
        }
        const char letter = bytes[++at];
        if (letter == '\\' && at + 2 < word.end && bytes[at + 1] == '"') {
            _add(at + 1, 1, true,
                 "this quote is after a backslash, so it does not end the text that began at column " +
                     std::to_string(word.begin - m_text.lines()[m_text.lineOf(word.begin)].begin + 1),
                 "end no text with a backslash", "quote-after-backslash", {});
            isGood = false;
        } else if (!strchr("\"'\\abfnrtv", letter)) {
            _add(at - 1, 2, true,
                 std::string("the game reads ") + quoted(m_text.inside(word)) + " as " +
                     quoted(unescaped(m_text.inside(word))) + ": it loses the letter after the backslash",
                 std::string("write \"\\\\") + letter + "\", or a slash", "lost-letter", {});
        }
    }
    return isGood;
}

// Finds quotes and blanks of other alphabets, which look like those that the game knows.
void FormCheck::_checkOtherBytes(const Word& word)
{
    static const struct {
        const char* bytes;
        const char* name;
        const char* right;
        const char* check;
    } sc_likes[] = {
        {"\xe2\x80\x9c", "a typographic quote", "\"", "typographic-quote"}, // left
        {"\xe2\x80\x9d", "a typographic quote", "\"", "typographic-quote"}, // right
        {"\xe2\x80\x9e", "a typographic quote", "\"", "typographic-quote"}, // low
        {"\xc2\xa0", "a no-break space", " ", "no-break-space"},
    };
    const std::string text = m_text.text(word);
    for (const auto& like : sc_likes) {
        for (size_t at = text.find(like.bytes); at != std::string::npos; at = text.find(like.bytes, at + 1)) {
            const size_t length = strlen(like.bytes);
            const size_t place = word.begin + at;
            _add(place, length, true, std::string(like.name) + " is an ordinary letter for the game",
                 *like.right == ' ' ? "write a space" : "write \" (the double quote of the keyboard)", like.check,
                 {{place, place + length, like.right}});
        }
    }
}

// Finds "true;" and its kin.
void FormCheck::_checkTruth(const Word& word)
{
    const std::string text = m_text.text(word);
    for (const char* truth : {"true", "false"}) {
        const size_t length = strlen(truth);
        if (text.size() > length && strncasecmp(text.c_str(), truth, length) == 0 &&
            !isalnum(static_cast<unsigned char>(text[length])) && text[length] != '_') {
            _add(word.begin, text.size(), true,
                 quoted(text) + " is neither true nor false: a game that asks for one of them stores false",
                 std::string("write ") + truth, "truth-tail", {{word.begin + length, word.end, ""}});
        }
    }
}

// Finds a line of bare numbers with blanks before them: the readers of value lines take too few bytes of it.
void FormCheck::_checkValueLine(size_t line)
{
    const Line& found = m_text.lines()[line];
    const size_t blanks = m_words[0].begin - found.begin;
    const bool isNumbers =
        blanks > 0 && m_braces.depth() == 0 &&
        std::all_of(m_words.begin(), m_words.end(), [&](const Word& word) { return isNumber(m_text, word); });
    if (!isNumbers) {
        return;
    }
    std::string what = "blanks are before the values, so a reader of value lines misreads the next line";
    if (line + 1 < m_text.lines().size()) {
        const Line& next = m_text.lines()[line + 1];
        const std::string first = m_text.bytes().substr(found.begin, found.end - found.begin);
        const std::string second = m_text.bytes().substr(next.begin, next.end - next.begin);
        const std::string read = lineAfterValueLine(first, second);
        what += read.empty() ? " (it gets no value)" : " (it gets " + quoted(read) + ')';
    }
    _add(found.begin, blanks, false, what, "begin a value line with its first value", "value-line-blanks",
         {{found.begin, m_words[0].begin, ""}});
}

// ---- What the library takes

void FormCheck::_checkEmptyLines(const Reading& reading)
{
    std::vector<size_t> wordsFrom(m_facts.size() + 1, 0); // the number of lines with words from this line on
    size_t lastTaken = 0;
    for (size_t line = m_facts.size(); line-- > 0;) {
        wordsFrom[line] = wordsFrom[line + 1] + (m_facts[line].firstWord != NO_WORD);
        lastTaken = m_facts[line].taken > 0 ? std::max(lastTaken, line) : lastTaken;
    }
    std::map<size_t, std::string> pieces;
    for (const Taken& piece : reading.pieces) {
        pieces.insert({piece.line, piece.text});
    }
    for (const EmptyLines& empty : m_emptyLines) {
        if (empty.count < 2 || empty.after >= m_facts.size()) {
            continue;
        }
        const std::string number = std::to_string(empty.after + 1);
        const size_t lost = wordsFrom[empty.after + 1];
        const LineFacts& after = m_facts[empty.after];
        std::string what = counted(empty.count, "empty line") + " that end with bare line feeds";
        if (after.firstWord != NO_WORD && after.taken == 0) {
            what += " together; another fault already hides line " + number + " from the game";
        } else if (empty.after >= lastTaken && lost > 0) {
            what += ": the game reads nothing after line " + number + " (" + counted(lost, "line") + " with text)";
        } else if (pieces.count(empty.after)) {
            what +=
                ": after line " + number + " the game reads " + quoted(pieces[empty.after]) + " as a line of its own";
        } else if (after.taken > 1) {
            what += ": the game reads line " + number + ' ' + counted(after.taken, "time");
        } else {
            continue; // the game reads every line, and each line once
        }
        const std::vector<Line>& lines = m_text.lines();
        std::vector<Edit> edits;
        if (!m_isMixed && !m_options.wantsCarriageReturns) {
            edits.push_back({lines[empty.first].begin, lines[empty.after - 1].begin, ""});
        }
        _add(lines[empty.first].begin, 1, true, what, "write at most one empty line together", "empty-lines", edits);
    }
}

void FormCheck::_checkMissingValues(const Reading& reading)
{
    std::map<size_t, const Taken*> swallows;
    for (const Taken& swallow : reading.swallows) {
        swallows[swallow.line] = &swallow;
    }
    for (const size_t line : m_missing) {
        m_text.wordsOf(line, &m_words);
        const auto found = swallows.find(line);
        std::string what = quoted(m_text.text(m_words[0])) + " has no value";
        if (found != swallows.end() && found->second->place != NO_WORD) {
            what += ", so the game takes " + quoted(found->second->text) + " of line " +
                    std::to_string(m_text.lineOf(found->second->place) + 1) + " for the value";
        }
        _add(m_words[1].begin, 1, true, what, "write a value, or remove the line", "no-value", {});
    }
}

void checkForm(const ConfigText& text, const FormOptions& options, Faults* faults)
{
    FormCheck(text, options, faults).run();
}

} // namespace config
