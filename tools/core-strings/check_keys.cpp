// The keys of all entries together, and of two languages.
//
// Whether a game finds an entry is what the string table says. An entry that it does not find has a finding, also
// when no cause is known.
#include "tools/core-strings/check_report.h"
#include "tools/core-strings/texts.h"

#include <map>

static const size_t sc_longestKey = 127; // bytes that the string table stores of a key
static const size_t sc_mostEntries = 1024;

namespace {
class KeysCheck {
public:
    KeysCheck(const GamesView& view, Report* report) : m_view(view), m_report(report) {}

    void run();

private:
    void _checkKey(const TakenLine& line, const TakenLine* first, size_t number);
    void _checkSameKey(const TakenLine& line, const TakenLine& first);

    const GamesView& m_view;
    Report* m_report;
};
} // namespace

// What the string table makes of the entries, all together.
void KeysCheck::run()
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

void KeysCheck::_checkKey(const TakenLine& line, const TakenLine* first, size_t number)
{
    const size_t place = line.key.begin - 1;
    if (line.key.text.size() > sc_longestKey) {
        m_report->add(true, place,
                      "the key has " + std::to_string(line.key.text.size()) +
                          " bytes, and the game stores 127: it never finds this entry",
                      "shorten the text in the game", "key-too-long");
    } else if (line.key.text.size() == sc_longestKey && line.value.text.size() > sc_longestKey &&
               line.value.text.compare(0, sc_longestKey, line.key.text) == 0) {
        m_report->add(true, place,
                      "the key is the beginning of a longer text of the game, which never finds this entry",
                      "shorten the text in the game to 127 bytes", "key-too-long");
    } else if (first) {
        _checkSameKey(line, *first);
    } else if (number > sc_mostEntries && !line.isFound) {
        if (number == sc_mostEntries + 1) {
            m_report->add(true, place, "more than 1024 entries: the game drops this one and all that follow",
                          "remove entries that the game does not ask for", "too-many-entries");
        }
    } else if (!line.isFound) {
        m_report->add(true, place, "the game does not find this entry", "", "not-found");
    }
}

void KeysCheck::_checkSameKey(const TakenLine& line, const TakenLine& first)
{
    const size_t place = line.key.begin - 1;
    const std::string where = "line " + std::to_string(m_report->lines.lineOf(first.key.begin));
    const bool isSame = line.value.text == first.value.text;
    const std::string shows = isSame ? ", with the same translation" : ": the game shows the translation of " + where;
    if (line.key.text != first.key.text) {
        m_report->add(!isSame, place,
                      "the key differs from the key of " + where + " in case alone, which is the same to the game" +
                          shows,
                      "keep one of them", "key-case");
    } else if (isSame) {
        m_report->add(false, place, "the key is already in " + where + shows, "keep one of them", "key-twice");
    } else {
        m_report->add(true, place, "the key is already in " + where + " with another translation" + shows,
                      "keep one of them", "key-two-translations");
    }
}

void checkKeys(const GamesView& view, Report* report)
{
    KeysCheck(view, report).run();
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
