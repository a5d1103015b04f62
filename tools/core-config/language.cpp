// 1. The line of the cursor decides: before "=" the proposals are names, after it values.
// 2. Proposals and explanations come from the schema only.
#include "tools/core-config/language.h"

#include "tools/core-config/configtext.h"

#include <algorithm>
#include <ctype.h>

namespace config {

CheckOptions ConfigLanguage::_optionsFor(const std::string& path) const
{
    static const std::string sc_ending = ".ini";
    CheckOptions options;
    options.schema = fileFor(m_schema, path);
    const bool hasIniName = path.size() >= sc_ending.size() &&
                            path.compare(path.size() - sc_ending.size(), sc_ending.size(), sc_ending) == 0;
    options.isIni = options.schema ? options.schema->isIni : hasIniName;
    return options;
}

std::vector<LanguageFinding> ConfigLanguage::findings(const std::string& path, const std::string& text)
{
    std::vector<LanguageFinding> found;
    for (const Fault& fault : checkText(text, _optionsFor(path))) {
        const std::string message = fault.what + (fault.instead.empty() ? "" : "; " + fault.instead);
        found.push_back({fault.place, fault.place + fault.length, fault.isError, message, fault.check});
    }
    return found;
}

std::string ConfigLanguage::formatted(const std::string& path, const std::string& text)
{
    return repairText(text, _optionsFor(path));
}

// ---- Where the cursor is

static std::string lineBefore(const std::string& text, size_t place)
{
    const size_t lineFeed = place == 0 ? std::string::npos : text.rfind('\n', place - 1);
    const size_t begin = lineFeed == std::string::npos ? 0 : lineFeed + 1;
    return text.substr(begin, place - begin);
}

static std::string trimmed(const std::string& text)
{
    const size_t begin = text.find_first_not_of(" \t\r");
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" \t\r") + 1 - begin);
}

// Returns the section of a preferences file to which the place belongs; the whole file outside of sections.
static const BlockSchema* sectionAt(const BlockSchema& file, const std::string& text, size_t place)
{
    const BlockSchema* section = &file;
    for (size_t begin = 0; begin < place;) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        const size_t bracket = text.find(']', begin);
        if (text[begin] == '[' && bracket < end && end < place) {
            const std::string name = text.substr(begin + 1, bracket - begin - 1);
            const auto found = std::find_if(file.blocks.begin(), file.blocks.end(),
                                            [&](const BlockSchema& block) { return isSameName(block.name, name); });
            section = found == file.blocks.end() ? nullptr : &*found;
        }
        begin = end + 1;
    }
    return section;
}

static const NameSchema* nameIn(const BlockSchema* block, const std::string& name)
{
    if (!block) {
        return nullptr;
    }
    const auto found = std::find_if(block->names.begin(), block->names.end(),
                                    [&](const NameSchema& other) { return isSameName(other.name, name); });
    return found == block->names.end() ? nullptr : &*found;
}

ConfigLanguage::Cursor ConfigLanguage::_cursorAt(const CheckOptions& options, const std::string& text,
                                                 size_t place) const
{
    const size_t end = std::min(text.find('\n', place), text.size());
    const std::string line = lineBefore(text, end);
    if (options.isIni) {
        const BlockSchema* section = sectionAt(options.schema->block, text, place);
        return {section, nameIn(section, trimmed(line.substr(0, line.find('='))))};
    }
    const size_t begin = place - lineBefore(text, place).size(); // the lines up to the cursor's decide the block
    const BlockSchema* block = blockAtEnd(ConfigText(text.substr(0, begin)), *options.schema);
    const std::string words = trimmed(line);
    return {block, nameIn(block, words.substr(0, words.find_first_of(" \t=")))};
}

// ---- Proposals

static LanguageProposal proposalOf(const NameSchema& name, bool isIni)
{
    const std::string insert = name.name + (isIni ? "=" : name.hasEquals ? " = " : " ");
    const std::string detail = formOf(name) + (name.isRequired ? ", required" : "") +
                               (name.hasDefault ? ", default " + name.defaultText : "");
    return {name.name, insert, detail, commentOf(name.before, name.lineComment), false};
}

static std::vector<LanguageProposal> namesOf(const BlockSchema& block, bool isIni, bool isAfterBracket)
{
    std::vector<LanguageProposal> proposals;
    for (const NameSchema& name : block.names) {
        if (name.name != "*" && !isAfterBracket) {
            proposals.push_back(proposalOf(name, isIni));
        }
    }
    for (const BlockSchema& inner : block.blocks) {
        const std::string insert = !isIni ? inner.name : (isAfterBracket ? "" : "[") + inner.name + ']';
        proposals.push_back(
            {inner.name, insert, isIni ? "section" : "block", commentOf(inner.before, inner.lineComment), false});
    }
    return proposals;
}

static std::vector<LanguageProposal> valuesOf(const NameSchema& name, bool isQuoted)
{
    std::vector<LanguageProposal> proposals;
    const auto add = [&](const std::string& value, const char* detail) {
        const bool isKnown = std::any_of(proposals.begin(), proposals.end(),
                                         [&](const LanguageProposal& other) { return other.label == value; });
        const std::string quote = name.type == TYPE_STRING && !isQuoted ? "\"" : "";
        if (!isKnown) {
            proposals.push_back({value, quote + value + quote, detail, "", true});
        }
    };
    for (const std::string& choice : name.choices) {
        add(choice, "choice");
    }
    if (name.type == TYPE_BOOL) {
        add("true", "bool");
        add("false", "bool");
    }
    if (name.hasDefault) {
        add(name.defaultText, "default");
    }
    for (const std::string& value : name.seen) {
        add(value, "was read");
    }
    return proposals;
}

std::vector<LanguageProposal> ConfigLanguage::proposals(const std::string& path, const std::string& text,
                                                        size_t place)
{
    const CheckOptions options = _optionsFor(path);
    const std::string before = lineBefore(text, place);
    const std::string words = trimmed(before);
    const bool isComment = words.compare(0, options.isIni ? 1 : 2, options.isIni ? ";" : "//") == 0;
    if (!options.schema || isComment) {
        return {};
    }
    const Cursor at = _cursorAt(options, text, place);
    const bool isSection = options.isIni && words.compare(0, 1, "[") == 0;
    const std::string name = before.substr(std::min(before.find_first_not_of(" \t"), before.size()));
    const bool hasName = name.find_first_of(options.isIni ? "=" : " \t=") != std::string::npos;
    if (hasName && !isSection) {
        return at.name ? valuesOf(*at.name, std::count(before.begin(), before.end(), '"') % 2 == 1)
                       : std::vector<LanguageProposal>();
    }
    const BlockSchema* block = isSection ? &options.schema->block : at.block;
    return block ? namesOf(*block, options.isIni, isSection) : std::vector<LanguageProposal>();
}

std::string ConfigLanguage::hover(const std::string& path, const std::string& text, size_t place)
{
    const CheckOptions options = _optionsFor(path);
    const NameSchema* name = options.schema ? _cursorAt(options, text, place).name : nullptr;
    if (!name) {
        return "";
    }
    std::string result = name->name + (options.isIni ? "=" : name->hasEquals ? " = " : " ") + formOf(*name);
    result += name->isRequired ? "\nrequired" : "";
    result += name->hasDefault ? "\ndefault: " + name->defaultText : "";
    for (size_t index = 0; index < name->choices.size(); ++index) {
        result += (index == 0 ? "\none of: " : ", ") + name->choices[index];
    }
    const Range& seen = name->seenRange;
    result += seen.low.empty() ? "" : "\nwas read: " + seen.low + ".." + seen.high;
    const std::string comment = commentOf(name->before, name->lineComment);
    return result + (comment.empty() ? "" : "\n\n" + comment);
}

} // namespace config
