// 1. The line of the cursor decides: in its first quotes the proposals are keys, in its second quotes translations.
// 2. Keys come from the other languages and from the records. These files are read for each request, so that the
//    editor sees what was changed outside.
#include "tools/core-strings/language.h"

#include "tools/core-strings/check.h"
#include "tools/core-strings/check_report.h"
#include "tools/core-strings/commands.h"
#include "tools/core-strings/game.h"
#include "tools/core-strings/texts.h"

#include <algorithm>
#include <glob.h>
#include <limits.h>
#include <set>
#include <stdlib.h>
#include <string.h>

// ---- Other files

namespace {
struct OtherLanguage {
    std::string name; // of the folder
    std::string path; // absolute
    GamesView view;
};
} // namespace

static std::string folderOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash);
}

static std::string lastName(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

// Returns the strings files with the same name in the folders beside the file's folder.
static std::vector<std::string> pathsBeside(const std::string& path)
{
    std::vector<std::string> paths;
    std::string pattern;
    for (const char letter : folderOf(folderOf(path))) {
        pattern += std::string(strchr("*?[\\", letter) ? "\\" : "") + letter;
    }
    glob_t found = {};
    if (path[0] == '/' && glob((pattern + "/*/" + lastName(path)).c_str(), 0, nullptr, &found) == 0) {
        paths.assign(found.gl_pathv, found.gl_pathv + found.gl_pathc);
    }
    globfree(&found);
    return paths;
}

static std::string absolute(const std::string& path)
{
    char buffer[PATH_MAX];
    return realpath(path.c_str(), buffer) ? buffer : path;
}

static std::vector<OtherLanguage> otherLanguages(const LanguageFiles& files, const std::string& path)
{
    std::vector<OtherLanguage> languages;
    for (const std::string& other : files.others.empty() ? pathsBeside(path) : files.others) {
        OtherLanguage language;
        std::string bytes;
        std::string error;
        language.path = absolute(other);
        language.name = lastName(folderOf(language.path));
        if (language.path != absolute(path) && readFile(language.path, &bytes, &error)) {
            language.view = readAsGame(bytes);
            languages.push_back(std::move(language));
        }
    }
    return languages;
}

// Returns the entry with the key; null when there is none.
static const TakenLine* entryOf(const GamesView& view, const std::string& key)
{
    for (const TakenLine& line : view.lines) {
        if (line.value.isPresent && foldCase(line.key.text) == foldCase(key)) {
            return &line;
        }
    }
    return nullptr;
}

static AskedTexts readRecords(const std::vector<std::string>& paths)
{
    AskedTexts texts;
    for (const std::string& path : paths) {
        Document record;
        if (loadRecord(path, &record) == TOOL_FINE) {
            addRecord(record, &texts);
        }
    }
    return texts;
}

// ---- The line of the cursor

namespace {
// A line of an entry as far as it is written. The places are bytes from the start of the text.
struct CursorLine {
    size_t begin;
    size_t end;
    std::string key; // empty if the line is no entry and no proposal
};
} // namespace

static CursorLine lineAt(const std::string& text, size_t place)
{
    CursorLine line;
    const size_t lineFeed = place == 0 ? std::string::npos : text.rfind('\n', place - 1);
    std::string translation;
    line.begin = lineFeed == std::string::npos ? 0 : lineFeed + 1;
    line.end = std::min(text.find('\n', line.begin), text.size());
    const std::string whole = text.substr(line.begin, line.end - line.begin);
    const bool isMarked = startsWith(whole, 0, "//? ") || startsWith(whole, 0, "//~ ");
    if (!readEntry(isMarked ? whole.substr(4) : whole, &line.key, &translation)) {
        line.key.clear();
    }
    return line;
}

// Returns the quotes in a part of the text that end or begin a key or a translation.
static std::vector<size_t> quotesIn(const std::string& text, size_t begin, size_t end)
{
    std::vector<size_t> quotes;
    for (size_t at = begin; at < end; ++at) {
        const bool isEscaped = at > begin && text[at - 1] == '\\' && quotes.size() % 2 == 1;
        if (text[at] == '"' && !isEscaped) {
            quotes.push_back(at);
        }
    }
    return quotes;
}

// ---- Findings and form

std::vector<LanguageFinding> StringsLanguage::findings(const std::string& path, const std::string& text)
{
    std::vector<LanguageFinding> found;
    std::vector<size_t> begins = {startsWith(text, 0, "\xEF\xBB\xBF") ? 3u : 0u};
    for (size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 1)) {
        begins.push_back(at + 1);
    }
    for (const Finding& finding : checkStrings(path, text, CheckRules())) {
        const size_t line = begins[std::min(finding.line, begins.size()) - 1];
        const size_t begin = std::min(line + finding.column - 1, text.size());
        const size_t end = std::min(text.find_first_of("\r\n", begin), text.size());
        const std::string instead = finding.instead.empty() ? "" : "; " + finding.instead;
        found.push_back({begin, end, finding.isError, finding.what + instead, finding.check});
    }
    return found;
}

std::string StringsLanguage::formatted(const std::string& path, const std::string& text)
{
    Document document;
    std::vector<Finding> lost;
    if (!readDocument(path, text, &document, &lost)) {
        return text; // a part of it would get lost
    }
    normalise(&document);
    return writeDocument(document);
}

// ---- Proposals

// Returns the keys that this file lacks, each once.
static std::vector<std::string> missingKeys(const std::string& text, const std::vector<OtherLanguage>& languages,
                                            const AskedTexts& asked)
{
    std::vector<std::string> keys;
    std::set<std::string> known;
    for (const TakenLine& line : readAsGame(text).lines) {
        if (line.value.isPresent) {
            known.insert(foldCase(line.key.text));
        }
    }
    const auto add = [&](const std::string& key) {
        if (!key.empty() && known.insert(foldCase(key)).second) {
            keys.push_back(key);
        }
    };
    for (const OtherLanguage& language : languages) {
        for (const TakenLine& line : language.view.lines) {
            add(line.value.isPresent ? line.key.text : "");
        }
    }
    for (const AskedText& wanted : asked.texts()) {
        add(wanted.key);
    }
    return keys;
}

// Returns a line for each language that translates the key.
static std::string translationsOf(const std::string& key, const std::vector<OtherLanguage>& languages)
{
    std::string lines;
    for (const OtherLanguage& language : languages) {
        const TakenLine* entry = entryOf(language.view, key);
        lines += entry ? language.name + ": " + entry->value.text + "\n" : "";
    }
    return lines;
}

// Returns a line for each count and each place of the key.
static std::string callsOf(const std::string& key, const AskedTexts& asked)
{
    const AskedText* text = asked.find(key);
    std::string lines;
    for (size_t index = 0; text && index < text->counts.size(); ++index) {
        lines += describe(text->counts[index]) + "\n";
    }
    for (size_t index = 0; text && index < text->places.size(); ++index) {
        lines += text->places[index].first + "\n";
    }
    return lines;
}

static std::string withoutLastFeed(const std::string& text)
{
    return text.substr(0, text.find_last_not_of('\n') + 1);
}

std::vector<LanguageProposal> StringsLanguage::proposals(const std::string& path, const std::string& text,
                                                         size_t place)
{
    const CursorLine line = lineAt(text, place);
    const std::vector<size_t> before = quotesIn(text, line.begin, place);
    const std::vector<size_t> after = quotesIn(text, line.begin, line.end);
    const std::vector<OtherLanguage> languages = otherLanguages(m_files, path);
    std::vector<LanguageProposal> proposals;
    if (before.size() == 3) { // in the translation
        const size_t end = after.size() > 3 ? after[3] : place;
        for (const OtherLanguage& language : languages) {
            if (const TakenLine* entry = entryOf(language.view, line.key)) {
                const std::string translation = encodeEscapes(entry->value.text);
                proposals.push_back({translation, translation, language.name, "", true, before[2] + 1, end});
            }
        }
        return proposals;
    }
    if (before.size() != 1 || startsWith(text, line.begin, "//")) {
        return proposals;
    }
    const bool hasTranslation = after.size() > 2; // then the key alone is replaced
    const size_t end = hasTranslation ? after[1] : place;
    const AskedTexts asked = readRecords(m_files.records);
    for (const std::string& key : missingKeys(text, languages, asked)) {
        const std::string translations = translationsOf(key, languages);
        const std::string insert = encodeEscapes(key) + (hasTranslation ? "" : "\" = \"");
        proposals.push_back({encodeEscapes(key), insert, translations.substr(0, translations.find('\n')),
                             withoutLastFeed(callsOf(key, asked)), false, before[0] + 1, end});
    }
    return proposals;
}

// ---- What belongs to an entry

std::string StringsLanguage::hover(const std::string& path, const std::string& text, size_t place)
{
    const CursorLine line = lineAt(text, place);
    if (line.key.empty()) {
        return "";
    }
    const std::string translations = translationsOf(line.key, otherLanguages(m_files, path));
    const std::string calls = callsOf(line.key, readRecords(m_files.records));
    return withoutLastFeed(translations + (translations.empty() || calls.empty() ? "" : "\n") + calls);
}

std::vector<LanguageTarget> StringsLanguage::targets(const std::string& path, const std::string& text, size_t place)
{
    std::vector<LanguageTarget> targets;
    const CursorLine line = lineAt(text, place);
    if (line.key.empty()) {
        return targets;
    }
    for (const OtherLanguage& language : otherLanguages(m_files, path)) {
        if (const TakenLine* entry = entryOf(language.view, line.key)) {
            targets.push_back({language.path, language.view.text, entry->key.begin, entry->key.end});
        }
    }
    return targets;
}
