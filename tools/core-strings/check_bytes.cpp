// The bytes of a strings file: what is no text, and empty lines.
#include "tools/core-strings/check_report.h"
#include "tools/core-strings/texts.h"

#include <algorithm>
#include <stdio.h>

static const size_t sc_longestPath = 127; // bytes of the path that the string table opens

namespace {
class BytesCheck {
public:
    BytesCheck(const std::string& bytes, const GamesView& view, Report* report)
        : m_bytes(bytes), m_view(view), m_text(view.text), m_report(report)
    {
    }

    void run()
    {
        _checkPath();
        _checkEnd();
        _checkEmptyLines();
        _checkBytes();
    }

private:
    void _checkPath();
    void _checkEnd();
    void _checkEmptyLines();
    void _reportHidden(size_t run, size_t count, size_t lineAfter);
    bool _hasEntryInTail(size_t begin) const;
    void _checkBytes();

    const std::string& m_bytes;
    const GamesView& m_view;
    const std::string& m_text;
    Report* m_report;
};
} // namespace

void BytesCheck::_checkPath()
{
    const std::string file = m_report->name.substr(m_report->name.rfind('/') + 1);
    if (file == "strings.utf8" && m_report->name.size() > sc_longestPath) {
        m_report->add(
            false, 0,
            "the path has " + std::to_string(m_report->name.size()) +
                " bytes, and the game opens a path of at most 127: with this path it would open another file or none",
            "give the game a shorter locale folder", "path-too-long");
    }
}

// A NUL ends the text for a game.
void BytesCheck::_checkEnd()
{
    const size_t nul = m_bytes.find('\0');
    if (nul != std::string::npos) {
        m_report->add(true, m_text.size(),
                      "a NUL byte ends the file for the game: the " + plural(m_bytes.size() - nul - 1, "byte") +
                          " after it are lost",
                      "remove the byte", "nul-byte");
    }
}

// Of more than one empty line, the second one makes the parser lose its place.
void BytesCheck::_checkEmptyLines()
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

void BytesCheck::_reportHidden(size_t run, size_t count, size_t lineAfter)
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
    const std::string next = "line " + std::to_string(m_report->lines.lineOf(lineAfter));
    const char* const instead = "leave at most one line empty";
    if (hidden > 0) {
        m_report->add(true, run,
                      empties + "after " + next + " the game reads no further, and " + plural(hidden, "line") +
                          " below it " + (hidden == 1 ? "is" : "are") + " lost",
                      instead, "empty-lines");
    } else if (_hasEntryInTail(lineAfter)) {
        m_report->add(true, run, empties + "the game reads the end of " + next + " twice, and takes it for an entry",
                      instead, "empty-lines");
    } else if (count == 2) {
        m_report->add(false, run, empties + "the game would lose an entry after " + next, instead, "empty-lines");
    } else {
        m_report->add(false, run, empties + "the game reads the end of " + next + " twice", instead, "empty-lines");
    }
}

// Returns true if the parser found an entry in the end of a line that is not the entry of the whole line.
bool BytesCheck::_hasEntryInTail(size_t begin) const
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
void BytesCheck::_checkBytes()
{
    for (size_t begin = 0; begin < m_text.size();) {
        const size_t end = std::min(m_text.find('\n', begin), m_text.size());
        const std::string line = m_text.substr(begin, end - begin);
        const size_t invalid = findInvalidUtf8(line);
        if (invalid != std::string::npos) {
            char byte[8];
            snprintf(byte, sizeof(byte), "0x%02X",
                     static_cast<unsigned int>(static_cast<unsigned char>(line[invalid])));
            m_report->add(true, begin + invalid, "the byte " + std::string(byte) + " is no UTF-8",
                          "save the file as UTF-8", "not-utf8");
        }
        const size_t trimmed = line.find_last_not_of('\r') + 1;
        const size_t carriageReturn = line.find('\r');
        if (carriageReturn < trimmed) {
            m_report->add(
                true, begin + carriageReturn,
                "a carriage return without a line feed does not end a line: the game reads the rest as the same line",
                "end lines with a line feed", "bare-carriage-return");
        }
        begin = end + 1;
    }
}

void checkBytes(const std::string& bytes, const GamesView& view, Report* report)
{
    BytesCheck(bytes, view, report).run();
}
