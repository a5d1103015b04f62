// 1. Each open brace has a level. A level with no schema (an unknown block) is not checked, only closed.
// 2. A line is a brace, the head of a block, or an entry. The head of a block is followed by an open brace, in the
//    same line or in the next line with words.
#include "tools/core-config/check_schema.h"

#include "tools/core-config/blocks.h"
#include "tools/core-config/check_value.h"
#include "tools/core-config/nearest.h"

#include <algorithm>
#include <functional>
#include <string.h>
#include <strings.h>

namespace config {

static Fault nameFault(size_t place, const std::string& name, const std::string& what, const std::string& instead,
                       const char* check)
{
    return {place, std::max<size_t>(name.size(), 1), true, what, instead, check, {}};
}

static std::vector<std::string> namesIn(const BlockSchema& block)
{
    std::vector<std::string> names;
    for (const NameSchema& name : block.names) {
        names.push_back(name.name);
    }
    for (const BlockSchema& inner : block.blocks) {
        names.push_back(inner.name);
    }
    return names;
}

static bool hasName(const BlockSchema& block, const std::string& name)
{
    const std::vector<std::string> names = namesIn(block);
    return std::any_of(names.begin(), names.end(), [&](const std::string& other) { return isSameName(other, name); });
}

// Returns the name of a block in this block, or in a block of it, that has the name; an empty text if there is none.
static std::string blockWith(const BlockSchema& block, const std::string& name)
{
    for (const BlockSchema& inner : block.blocks) {
        std::string found = hasName(inner, name) ? inner.name : blockWith(inner, name);
        if (!found.empty()) {
            return found;
        }
    }
    return "";
}

static std::string entryForm(const NameSchema& name, bool isIni)
{
    return name.name + (isIni ? "=" : name.hasEquals ? " = " : " ") + formOf(name);
}

static std::string defaultOf(const NameSchema& name)
{
    return name.hasDefault ? "the game uses " + quoted(name.defaultText) : "the game uses its default";
}

// Adds a fault for each name that a block lacks. counts: how often the block has each name, by its index. title
// returns the block's name for messages.
static void checkLacking(const BlockSchema& block, const std::vector<size_t>& counts, size_t place,
                         const std::function<std::string()>& title, bool isIni, bool tellsMissing, Faults* faults)
{
    for (size_t index = 0; index < block.names.size(); ++index) {
        const NameSchema& name = block.names[index];
        if (counts[index] > 0 || (!name.isRequired && !tellsMissing)) {
            continue;
        }
        const std::string what =
            title() + " lacks " + quoted(name.name) + (name.isRequired ? "" : "; " + defaultOf(name));
        faults->push_back({place,
                           1,
                           name.isRequired,
                           what,
                           "write " + entryForm(name, isIni),
                           name.isRequired ? "lacks-name" : "uses-default",
                           {}});
    }
    for (size_t index = 0; index < block.blocks.size(); ++index) {
        const BlockSchema& inner = block.blocks[index];
        if (inner.isRequired && counts[block.names.size() + index] == 0) {
            faults->push_back({place,
                               1,
                               true,
                               title() + " lacks " + (isIni ? "the section " : "the block ") + quoted(inner.name),
                               "",
                               "lacks-name",
                               {}});
        }
    }
}

// ---- Config files

class SchemaCheck {
public:
    SchemaCheck(const ConfigText& text, const FileSchema& schema, bool tellsMissing, std::vector<bool>* typedLines,
                Faults* faults)
        : m_text(text), m_tellsMissing(tellsMissing), m_typedLines(typedLines), m_faults(faults)
    {
        m_levels.push_back({&schema.block, 0, {}});
        m_levels.back().counts.resize(schema.block.names.size() + schema.block.blocks.size());
    }

    const BlockSchema* run(); // returns the block that is open at the end; null for an unknown one

private:
    struct Level {
        const BlockSchema* block; // null: unknown
        size_t place;             // of the block's head
        std::vector<size_t> counts;
    };

    void _checkLine(size_t line);
    void _open(const BlockSchema* block);
    void _close();
    std::string _titleOf(const BlockSchema* block) const;
    void _checkLacking(const Level& level);
    bool _beginBlock(size_t line);
    bool _checkEntry(size_t line);
    void _checkValues(const NameSchema& name, size_t first);
    void _blameUnknown();
    void _count(size_t index, bool isOnce);

    const ConfigText& m_text;
    const bool m_tellsMissing;
    std::vector<bool>* m_typedLines;
    Faults* m_faults;
    std::vector<Level> m_levels;
    std::vector<Word> m_words;
    std::vector<Word> m_nextWords;       // of a line after the current one
    const BlockSchema* m_next = nullptr; // the block whose head was the last line
    size_t m_nextPlace = 0;
};

const BlockSchema* SchemaCheck::run()
{
    m_typedLines->assign(m_text.lines().size(), false);
    for (size_t line = 0; line < m_text.lines().size(); ++line) {
        m_text.wordsOf(line, &m_words);
        if (!m_words.empty()) {
            _checkLine(line);
        }
    }
    const BlockSchema* last = m_levels.back().block;
    while (m_levels.size() > 1) {
        _close(); // the check of the form reports the missing brace
    }
    _checkLacking(m_levels[0]);
    return last;
}

void SchemaCheck::_open(const BlockSchema* block)
{
    m_levels.push_back({block, m_nextPlace, {}});
    m_levels.back().counts.resize(block ? block->names.size() + block->blocks.size() : 0);
    m_next = nullptr;
}

void SchemaCheck::_close()
{
    const Level& level = m_levels.back();
    if (m_levels.size() == 1) {
        return; // a brace too many
    }
    if (level.block) {
        _checkLacking(level);
    }
    m_levels.pop_back();
}

// Returns the name of a block as a message shows it.
std::string SchemaCheck::_titleOf(const BlockSchema* block) const
{
    return block == m_levels[0].block ? "the file" : "the block " + quoted(block->name);
}

void SchemaCheck::_checkLacking(const Level& level)
{
    const BlockSchema& block = *level.block;
    checkLacking(
        block, level.counts, level.place, [&] { return _titleOf(&block); }, false, m_tellsMissing, m_faults);
}

void SchemaCheck::_checkLine(size_t line)
{
    const Word& first = m_words[0];
    const Word& last = m_words.back();
    if (m_text.is(first, '{')) {
        _open(m_next);
    } else if (m_text.is(first, '}')) {
        _close();
    } else if (isBlockHead(m_text, line, m_words, &m_nextWords)) {
        const bool isKnown = _beginBlock(line);
        if (!isKnown && m_levels.back().block && !m_levels.back().block->isOpen) {
            _blameUnknown();
        }
        if (m_text.is(last, '{')) {
            _open(m_next);
        } else if (m_text.is(last, '}')) {
            m_next = nullptr; // a block of one line
        }
    } else if (m_levels.back().block && !_checkEntry(line) && !m_levels.back().block->isOpen) {
        _blameUnknown();
    }
}

void SchemaCheck::_count(size_t index, bool isOnce)
{
    const size_t count = ++m_levels.back().counts[index];
    if (isOnce && count == 2) {
        const std::string name = m_text.text(m_words[0]);
        m_faults->push_back(nameFault(m_words[0].begin, name,
                                      quoted(name) + " is a second time in " + _titleOf(m_levels.back().block),
                                      "remove one of them", "name-twice"));
    }
}

// Takes the head of a block. Returns false if the schema has no such block here.
bool SchemaCheck::_beginBlock(size_t line)
{
    const BlockSchema* block = m_levels.back().block;
    const std::string name = m_text.text(m_words[0]);
    m_next = nullptr;
    m_nextPlace = m_words[0].begin;
    for (size_t index = 0; block && index < block->blocks.size(); ++index) {
        if (isSameName(block->blocks[index].name, name)) {
            m_next = &block->blocks[index];
            (*m_typedLines)[line] = true;
            _count(block->names.size() + index, m_next->isOnce);
        }
    }
    return m_next != nullptr;
}

// Returns the length of the word up to a "=" or a tab in it.
static size_t nameLength(const char* word, size_t length)
{
    size_t at = 0;
    while (at < length && word[at] != '=' && word[at] != '\t') {
        ++at;
    }
    return at;
}

// Checks a line with a name. Returns false if the schema has no such name here.
bool SchemaCheck::_checkEntry(size_t line)
{
    const BlockSchema& block = *m_levels.back().block;
    const char* word = &m_text.bytes()[m_words[0].begin];
    const size_t wordLength = m_words[0].end - m_words[0].begin;
    const size_t length = nameLength(word, wordLength); // the rest is a fault of the form
    const auto found = std::find_if(block.names.begin(), block.names.end(), [&](const NameSchema& other) {
        return other.name.size() == length && strncasecmp(other.name.c_str(), word, length) == 0;
    });
    const bool isBare = found == block.names.end();
    const auto entry = !isBare ? found
                               : std::find_if(block.names.begin(), block.names.end(),
                                              [](const NameSchema& other) { return other.name == "*"; });
    if (entry == block.names.end()) {
        return false;
    }
    (*m_typedLines)[line] = true;
    _count(static_cast<size_t>(entry - block.names.begin()), entry->isOnce);
    const bool hasEquals = m_words.size() > 1 && m_text.is(m_words[1], '=');
    if (length < wordLength) {
        return true;
    }
    if (isBare) {
        _checkValues(*entry, 0);
    } else if (!entry->hasEquals || hasEquals) {
        _checkValues(*entry, entry->hasEquals ? 2 : 1);
    } else if (m_words.size() < 2 || m_text.bytes()[m_words[1].begin] != '=') { // else the check of the form says it
        const std::string name(word, length);
        m_faults->push_back(nameFault(m_words[0].begin, name, "\"=\" is missing after " + quoted(name),
                                      "write " + entryForm(*entry, false), "no-equals"));
    }
    return true;
}

// Checks the values of an entry, from the word `first` on.
void SchemaCheck::_checkValues(const NameSchema& name, size_t first)
{
    const size_t count = m_words.size() - std::min(first, m_words.size());
    const bool isFormFault = count == 0 && name.hasEquals && first == 2; // the check of the form says it
    if (count < name.fewest && !isFormFault) {
        m_faults->push_back(nameFault(m_words[0].begin, m_text.text(m_words[0]),
                                      quoted(name.name) + " has " + counted(count, "value"),
                                      "write " + entryForm(name, false), "few-values"));
    }
    for (size_t index = first; index < std::min(m_words.size(), first + name.most); ++index) {
        const Word& word = m_words[index];
        if (!isPlainlyRight(name, &m_text.bytes()[word.begin], word.end - word.begin)) {
            checkValue(name, {word.begin, m_text.text(word)}, m_faults);
        }
    }
    if (count > name.most && name.type != TYPE_STRING) {
        const Word& extra = m_words[first + name.most];
        m_faults->push_back({extra.begin,
                             extra.end - extra.begin,
                             false,
                             "the game ignores " + quoted(m_text.text(extra)) + " and what follows it",
                             "write " + entryForm(name, false),
                             "extra-value",
                             {}});
    }
}

// Adds a fault for a line whose first word is no name of the block.
void SchemaCheck::_blameUnknown()
{
    const std::string name = m_text.text(m_words[0]);
    if (m_words[0].isString || name.find_first_of("=\t{}") != std::string::npos) {
        return; // the check of the form says it
    }
    const BlockSchema& block = *m_levels.back().block;
    const std::string likely = nearest(name, namesIn(block));
    const std::string other = blockWith(*m_levels[0].block, name);
    const std::string instead = !likely.empty()  ? "did you mean " + quoted(likely) + '?'
                                : !other.empty() ? "it belongs to a block " + quoted(other)
                                                 : "remove it, or add it to the schema";
    m_faults->push_back(
        nameFault(m_words[0].begin, name, "the game never asks for " + quoted(name), instead, "unknown-name"));
}

void checkConfigWithSchema(const ConfigText& text, const FileSchema& schema, bool tellsMissing,
                           std::vector<bool>* typedLines, Faults* faults)
{
    SchemaCheck(text, schema, tellsMissing, typedLines, faults).run();
}

const BlockSchema* blockAtEnd(const ConfigText& text, const FileSchema& schema)
{
    std::vector<bool> typedLines;
    Faults faults;
    return SchemaCheck(text, schema, false, &typedLines, &faults).run();
}

// ---- Preferences files

static void checkIniEntry(const IniEntry& entry, const BlockSchema& section, std::vector<size_t>* counts,
                          Faults* faults)
{
    for (size_t index = 0; index < section.names.size(); ++index) {
        const NameSchema& name = section.names[index];
        if (!isSameName(name.name, entry.name)) {
            continue;
        }
        ++(*counts)[index];
        if (entry.isFirst) { // the game does not read the others
            checkValue(name, {entry.valuePlace, entry.value}, faults);
        }
        return;
    }
    const bool isFormFault = entry.name.empty() || isBlank(entry.name.front()) || isBlank(entry.name.back());
    if (!section.isOpen && !isFormFault) {
        const std::string likely = nearest(entry.name, namesIn(section));
        faults->push_back(
            nameFault(entry.place, entry.name, "the game never asks for " + quoted(entry.name) + " in this section",
                      likely.empty() ? "remove it, or add it to the schema" : "did you mean " + quoted(likely) + '?',
                      "unknown-name"));
    }
}

void checkIniWithSchema(const std::vector<IniEntry>& entries, const FileSchema& schema, bool tellsMissing,
                        Faults* faults)
{
    const BlockSchema& file = schema.block;
    std::vector<std::vector<size_t>> counts(file.blocks.size());
    std::vector<size_t> places(file.blocks.size(), 0);
    std::vector<size_t> sections(file.names.size() + file.blocks.size(), 0);
    std::string unknown; // the last section that the schema does not have
    for (size_t index = 0; index < file.blocks.size(); ++index) {
        counts[index].resize(file.blocks[index].names.size() + file.blocks[index].blocks.size());
    }
    for (const IniEntry& entry : entries) {
        const auto section = std::find_if(file.blocks.begin(), file.blocks.end(), [&](const BlockSchema& block) {
            return isSameName(block.name, entry.section);
        });
        if (section != file.blocks.end()) {
            const size_t index = static_cast<size_t>(section - file.blocks.begin());
            places[index] = sections[file.names.size() + index]++ == 0 ? entry.place : places[index];
            checkIniEntry(entry, *section, &counts[index], faults);
        } else if (!file.isOpen && unknown != entry.section) {
            unknown = entry.section;
            const std::string likely = nearest(entry.section, namesIn(file));
            faults->push_back(nameFault(
                entry.place, entry.name, "the game never asks for the section " + quoted(entry.section),
                likely.empty() ? "remove it, or add it to the schema" : "did you mean " + quoted(likely) + '?',
                "unknown-name"));
        }
    }
    for (size_t index = 0; index < file.blocks.size(); ++index) {
        if (sections[file.names.size() + index] > 0 || tellsMissing) {
            checkLacking(
                file.blocks[index], counts[index], places[index],
                [&] { return "the section " + quoted(file.blocks[index].name); }, true, tellsMissing, faults);
        }
    }
    checkLacking(
        file, sections, 0, [] { return "the file"; }, true, tellsMissing, faults);
}

} // namespace config
