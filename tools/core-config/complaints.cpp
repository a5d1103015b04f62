// 1. The library itself reads the same bytes again and decides if they are a fault (complaintOf). This file only
//    finds the place of the faulty value.
#include "tools/core-config/complaints.h"

#include "tools/core-config/configtext.h"
#include "tools/core-config/fault.h"
#include "tools/core-config/library.h"

#include <algorithm>

namespace config {

// True for a reader that can complain.
static bool canComplain(const ReadCall& call)
{
    const bool isNamed = call.what >= watch::READ_INT8 && call.what < watch::READ_GET_INT;
    const bool isBoolean = call.what == watch::READ_GET_BOOL;
    return isNamed ? call.result : call.what > watch::READ_NAME && (isBoolean || !call.result);
}

static bool isNumberReader(watch::e_Read what)
{
    return what != watch::READ_TEXTVALUE && what != watch::READ_BOOL && what != watch::READ_GET_BOOL &&
           what != watch::READ_LINE_STRING && what != watch::READ_LINE_CHAR && what != watch::READ_LINE_UTF8;
}

// What a reader met instead of what it expects.
struct Met {
    size_t place;
    std::string text; // as a message shows it
};

// Returns the first word from `place` on that the reader does not take, or the end of the line.
static Met metBy(watch::e_Read what, size_t place, const ConfigText& text)
{
    const size_t line = text.lineOf(place);
    const Line& found = text.lines()[line];
    std::vector<Word> words;
    text.wordsOf(line, &words);
    bool isBeforeEquals = what >= watch::READ_INT8 && what < watch::READ_GET_INT;
    for (const Word& word : words) {
        const bool isEquals = isBeforeEquals && text.is(word, '=');
        const bool isNumber = isNumberReader(what) && numberFactsOf(text.text(word).c_str()).isNumber;
        if (word.begin >= place && !isEquals && (isBeforeEquals || !isNumber)) {
            return {word.begin, quoted(text.text(word))};
        }
        isBeforeEquals = isBeforeEquals && word.begin < place;
    }
    const bool hasNext = line + 1 < text.lines().size();
    std::string met = place >= text.size() ? "the end of the text" : "nothing";
    if (hasNext && found.next == found.end + 1) { // after a bare line feed, the library goes on in the next line
        text.wordsOf(line + 1, &words);
        met = words.empty() ? met : quoted(text.text(words[0])) + " of the next line";
    }
    return {found.end, met};
}

std::vector<Finding> Complaints::next(const GameReads& reads)
{
    std::vector<Finding> findings;
    m_done.resize(reads.texts().size());
    for (size_t index = 0; index < m_done.size(); ++index) {
        _addNew(reads.texts()[index], &m_done[index], &findings);
    }
    for (; m_preferencesDone < reads.preferences().size(); ++m_preferencesDone) {
        const ReadPreference& preference = reads.preferences()[m_preferencesDone];
        if (preference.isMissing) {
            _add({preference.path.empty() ? "(no file)" : preference.path, 1, 1, true,
                  "the preferences file can't be opened", "the game uses its defaults", "missing-file"},
                 &findings);
        }
    }
    return findings;
}

void Complaints::_addNew(const ReadText& text, size_t* done, std::vector<Finding>* findings)
{
    static const size_t sc_longest = 4096; // bytes that a reader looks at
    if (*done == text.calls.size()) {
        return;
    }
    const ConfigText lines(text.bytes);
    for (; *done < text.calls.size(); ++*done) {
        const ReadCall& call = text.calls[*done];
        if (!canComplain(call) || lines.lines().empty()) {
            continue;
        }
        const size_t place = std::min(call.place, lines.size());
        const std::string complaint = complaintOf(call.what, call.name, text.bytes.substr(place, sc_longest));
        if (!complaint.empty()) {
            const Met met = metBy(call.what, place, lines);
            const size_t line = lines.lineOf(met.place);
            _add({text.path.empty() ? "(no file)" : text.path, line + 1, met.place - lines.lines()[line].begin + 1,
                  true, "found " + met.text, complaint, "expected"},
                 findings);
        }
    }
}

void Complaints::_add(const Finding& finding, std::vector<Finding>* findings)
{
    if (m_told
            .insert(finding.file + ':' + std::to_string(finding.line) + ':' + std::to_string(finding.column) +
                    finding.what + finding.instead)
            .second) {
        findings->push_back(finding);
    }
}

} // namespace config
