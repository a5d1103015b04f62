// 1. A piece is what the library reads at once: a line with its line feed, or 1023 bytes of a longer line.
// 2. Each piece is taken for what the library takes it for: a comment, a section, an entry, or nothing. Its bytes
//    after a NUL do not count.
#include "tools/core-config/ini.h"

#include "tools/core-config/configtext.h"

#include <algorithm>
#include <map>
#include <string.h>

namespace config {

static const size_t sc_longestPiece = 1023; // bytes that one fgets of the library reads
static const size_t sc_longestName = 255;   // bytes of a section's name that the library compares

// The library compares names without regard to the case of the letters a to z.
static std::string lowerCase(std::string text)
{
    for (char& letter : text) {
        letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + ('a' - 'A')) : letter;
    }
    return text;
}

static std::string trimmed(const std::string& text)
{
    const size_t begin = text.find_first_not_of(" \t");
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" \t") + 1 - begin);
}

class IniCheck {
public:
    IniCheck(const std::string& bytes, Faults* faults, const std::function<void(const IniEntry&)>& onEntry)
        : m_bytes(bytes), m_faults(faults), m_onEntry(onEntry),
          m_lineEnd(bytes.find("\r\n") == std::string::npos ? "\n" : "\r\n")
    {
    }

    void run();

private:
    enum e_Section { SECTION_NONE, SECTION_GOOD, SECTION_BAD };

    void _add(size_t place, size_t length, bool isError, const std::string& what, const std::string& instead,
              const char* check, std::vector<Edit> edits = {});
    bool _checkReturns(size_t begin, const std::string& piece);
    void _checkPiece(size_t begin, const std::string& piece);
    void _checkSection(size_t begin, const std::string& text);
    void _openSection(size_t begin, const std::string& name);
    void _checkEntry(size_t begin, const std::string& text, size_t equals, bool hasLineFeed);
    void _checkBlanks(size_t begin, const std::string& name, const std::string& value);
    void _checkOther(size_t begin, const std::string& text);

    const std::string& m_bytes;
    Faults* m_faults;
    const std::function<void(const IniEntry&)>& m_onEntry;
    const char* m_lineEnd;
    e_Section m_state = SECTION_NONE;
    size_t m_line = 1;                        // the number of the line
    std::string m_section;                    // in lower case
    std::map<std::string, size_t> m_sections; // the lines in which they began
    std::map<std::pair<std::string, std::string>, size_t> m_entries;
};

void IniCheck::_add(size_t place, size_t length, bool isError, const std::string& what, const std::string& instead,
                    const char* check, std::vector<Edit> edits)
{
    m_faults->push_back({place, std::max<size_t>(length, 1), isError, what, instead, check, std::move(edits)});
}

void IniCheck::run()
{
    bool isRest = false; // the piece is not the first one of its line
    for (size_t begin = 0; begin < m_bytes.size();) {
        const size_t lineFeed = m_bytes.find('\n', begin);
        const size_t lineEnd = lineFeed == std::string::npos ? m_bytes.size() : lineFeed + 1;
        const size_t end = std::min(lineEnd, begin + sc_longestPiece);
        const std::string piece = m_bytes.substr(begin, end - begin);
        if (end < lineEnd && !isRest) {
            _add(end, 1, true, "the line has more than 1023 bytes, and the game reads the rest as a line of its own",
                 "write a shorter line", "long-line");
        }
        _checkPiece(begin, piece);
        isRest = end < lineEnd;
        m_line += !isRest;
        begin = end;
    }
}

// Returns false if the piece has carriage returns in its middle. A second one at its end is a part of the value.
bool IniCheck::_checkReturns(size_t begin, const std::string& piece)
{
    const size_t end = piece.find_last_not_of("\r\n") + 1; // 0 when there is none
    const bool hasLineFeed = piece.back() == '\n';
    const size_t returns = piece.size() - end - hasLineFeed;
    if (returns > 1 && end > 0) {
        _add(begin + end, returns, true,
             std::to_string(returns) + " carriage returns are at the end of this line, and the game takes all but "
                                       "one for a part of the value",
             "write one", "extra-return", {{begin + end, begin + end + returns - 1, ""}});
    }
    std::vector<Edit> edits;
    for (size_t at = piece.find('\r'); at < end; at = piece.find('\r', at + 1)) {
        edits.push_back({begin + at, begin + at + 1, m_lineEnd});
    }
    if (!edits.empty()) {
        const size_t count = edits.size();
        _add(edits[0].begin, 1, true,
             counted(count, "carriage return") + " without line feed: the game takes " + counted(count + 1, "line") +
                 " for one",
             "write a line feed after it", "lone-return", edits);
    }
    return edits.empty();
}

void IniCheck::_checkPiece(size_t begin, const std::string& piece)
{
    const bool hasLineFeed = piece.back() == '\n';
    const bool isGood = _checkReturns(begin, piece);
    std::string text = piece.c_str();
    text.erase(text.find_last_not_of("\r\n") + 1);
    const size_t equals = text.find('=');
    if (text.empty() || text[0] == ';') {
        return;
    }
    if (text[0] == '[') {
        _checkSection(begin, text);
    } else if (!isGood) {
        return;
    } else if (equals != std::string::npos && text[text.find_first_not_of(" \t")] != ';') {
        _checkEntry(begin, text, equals, hasLineFeed);
    } else {
        _checkOther(begin, text);
    }
}

// ---- Sections

void IniCheck::_checkSection(size_t begin, const std::string& text)
{
    const size_t bracket = text.find(']');
    if (bracket == std::string::npos) {
        const bool isPlain =
            text.find_first_of(";#=[\"") == 0 && text.find_first_of(";#=[\"", 1) == std::string::npos;
        m_state = SECTION_BAD;
        std::vector<Edit> edits;
        if (isPlain && !trimmed(text.substr(1)).empty()) {
            edits.push_back({begin + text.size(), begin + text.size(), "]"});
        }
        _add(begin, text.size(), true,
             "\"[\" without \"]\" opens no section: the game finds no entry up to the next section", "write [name]",
             "open-bracket", edits);
        return;
    }
    const std::string name = text.substr(1, bracket - 1);
    if (name != trimmed(name)) {
        _add(begin, bracket + 1, true,
             "the blanks in [" + name.substr(0, sc_longestName) + "] belong to the section's name",
             "write [" + trimmed(name).substr(0, sc_longestName) + "]", "blank-in-section",
             {{begin + 1, begin + bracket, trimmed(name)}});
    }
    if (name.size() > sc_longestName) {
        _add(begin + 1, name.size(), true,
             "the section's name has " + std::to_string(name.size()) + " bytes, and the game compares 255",
             "write a shorter name", "long-name");
    }
    _openSection(begin, name);
}

void IniCheck::_openSection(size_t begin, const std::string& name)
{
    m_state = SECTION_GOOD;
    m_section = lowerCase(name.substr(0, sc_longestName));
    const auto added = m_sections.insert({m_section, m_line});
    if (!added.second) {
        _add(begin, name.size() + 2, false,
             "the section " + quoted(name) + " begins a second time; it began in line " +
                 std::to_string(added.first->second),
             "write its entries there", "section-twice");
    }
}

// ---- Entries

void IniCheck::_checkEntry(size_t begin, const std::string& text, size_t equals, bool hasLineFeed)
{
    const std::string name = text.substr(0, equals);
    const std::string value = text.substr(equals + 1);
    const std::string read = hasLineFeed || value.empty() ? value : value.substr(0, value.size() - 1);
    if (!hasLineFeed && begin + text.size() == m_bytes.size()) {
        _add(begin + text.size() - 1, 1, true,
             "the last line has no line end, so the game reads " + quoted(read) + " for " + quoted(value),
             "end the last line with a line feed", "no-line-end", {{m_bytes.size(), m_bytes.size(), m_lineEnd}});
    }
    if (trimmed(name).empty()) {
        _add(begin, equals + 1, true, "no name is before \"=\"", "write name=value", "no-name");
        return;
    }
    const bool isAlmostSection = trimmed(name)[0] == '[' && isBlank(name[0]);
    if (isAlmostSection) {
        _checkOther(begin, text);
        return;
    }
    _checkBlanks(begin, name, value);
    const size_t comment = std::min(value.find(" ;"), value.find("\t;"));
    if (comment != std::string::npos) {
        _add(begin + equals + 1 + comment, value.size() - comment, false,
             "the comment belongs to the value: the game reads " + quoted(value),
             "write a comment in a line of its own", "comment-after-value");
    }
    if (m_state != SECTION_GOOD) {
        if (m_state == SECTION_NONE) {
            _add(begin, equals, true, quoted(name) + " is before the first section, and the game does not find it",
                 "write [section] before it", "no-section");
        }
        return;
    }
    const auto added = m_entries.insert({{m_section, lowerCase(name)}, m_line});
    if (!added.second) {
        _add(begin, equals, true,
             quoted(name) + " is a second time in its section; the game takes the value of line " +
                 std::to_string(added.first->second),
             "remove one of them", "name-twice");
    }
    if (m_onEntry) {
        m_onEntry({m_section, name, read, begin, begin + equals + 1, added.second});
    }
}

static bool isDecimal(const std::string& text)
{
    return !text.empty() && text.find_first_not_of("+-.0123456789") == std::string::npos;
}

void IniCheck::_checkBlanks(size_t begin, const std::string& name, const std::string& value)
{
    const size_t first = name.find_first_not_of(" \t");
    const size_t end = name.find_last_not_of(" \t") + 1;
    const size_t blanks = std::min(value.find_first_not_of(" \t"), value.size());
    const size_t values = begin + name.size() + 1;
    const Edit withoutBlanks = {values, values + blanks, ""};
    if (first > 0 || end < name.size()) {
        std::vector<Edit> edits = {{begin, begin + first, ""}, {begin + end, values - 1, ""}};
        edits.push_back(withoutBlanks);
        _add(begin, name.size(), true, "blanks belong to the name: the game knows this entry as " + quoted(name),
             "write " + trimmed(name) + '=' + trimmed(value).substr(0, 40), "blank-at-equals", edits);
    } else if (blanks > 0) {
        _add(values, blanks, false, "blanks belong to the value: the game reads " + quoted(value),
             "write " + name + '=' + trimmed(value).substr(0, 40), "blank-at-equals",
             isDecimal(trimmed(value)) ? std::vector<Edit>{withoutBlanks} : std::vector<Edit>());
    }
    const size_t last = value.find_last_not_of(" \t") + 1;
    if (last < value.size() && blanks < value.size()) {
        _add(values + last, value.size() - last, false,
             "blanks at the end belong to the value: the game reads " + quoted(value), "remove them", "blank-at-end",
             isDecimal(trimmed(value)) ? std::vector<Edit>{{values + last, values + value.size(), ""}}
                                       : std::vector<Edit>());
    }
}

// Checks a line that is no comment, no section and no entry.
void IniCheck::_checkOther(size_t begin, const std::string& text)
{
    const size_t first = text.find_first_not_of(" \t");
    if (first == std::string::npos || text[first] == ';') {
        return;
    }
    if (text[first] == '[') {
        _add(begin, first, true, "blanks are before \"[\", so this line opens no section",
             "begin the line with \"[\"", "blank-before-section", {{begin, begin + first, ""}});
        return;
    }
    const bool isComment = text[first] == '#' || text.compare(first, 2, "//") == 0;
    _add(begin + first, text.size() - first, false, "the game ignores this line: it has no \"=\"",
         isComment ? "begin a comment with \";\"" : "write name=value", "ignored-line");
}

void checkIni(const std::string& bytes, Faults* faults, const std::function<void(const IniEntry&)>& onEntry)
{
    IniCheck(bytes, faults, onEntry).run();
}

} // namespace config
