// What a translation must have in common with its key.
#include "tools/core-strings/check_report.h"
#include "tools/core-strings/texts.h"

static const size_t sc_longestKey = 127; // bytes that the string table stores of a key

static std::string joined(const std::vector<std::string>& texts)
{
    std::string list;
    for (const std::string& text : texts) {
        list += (list.empty() ? "" : " ") + text;
    }
    return list.empty() ? "none" : list;
}

static void checkConversions(const TakenLine& line, Report* report)
{
    const std::string& key = line.key.text;
    const std::string& translation = line.value.text;
    if (haveSameConversions(key, translation)) {
        return;
    }
    if (conversionsOf(key).types == conversionsOf(translation).types) {
        report->add(true, line.value.begin, "the translation has a '%' that begins no conversion",
                    "write %% for a percent sign", "conversions");
        return;
    }
    report->add(true, line.value.begin,
                "the conversions of key and translation differ: " + listConversions(key) + " became " +
                    listConversions(translation),
                "keep each conversion and their order, or number all of them (%1$s)", "conversions");
}

static void checkBlanks(const TakenLine& line, Report* report)
{
    if (leadingBlanks(line.key.text) != leadingBlanks(line.value.text)) {
        report->add(false, line.value.begin,
                    "key and translation begin with other blanks: " + shown(leadingBlanks(line.key.text)) +
                        " became " + shown(leadingBlanks(line.value.text)),
                    "begin both alike", "blanks-at-begin");
    }
    if (trailingBlanks(line.key.text) != trailingBlanks(line.value.text)) {
        report->add(false, line.value.end,
                    "key and translation end with other blanks: " + shown(trailingBlanks(line.key.text)) +
                        " became " + shown(trailingBlanks(line.value.text)),
                    "end both alike", "blanks-at-end");
    }
}

static void checkTranslation(const TakenLine& line, const CheckRules& rules, Report* report)
{
    const std::string& key = line.key.text;
    const std::string& translation = line.value.text;
    if (key == translation) {
        if (rules.findsUnchanged && !key.empty()) {
            report->add(false, line.value.begin - 1, "the translation is the same as the key", "translate it",
                        "unchanged");
        }
        return;
    }
    if (translation.empty()) {
        report->add(false, line.value.begin - 1, "the translation is empty: the game shows nothing",
                    "remove the line, and the game shows its own text", "empty-translation");
        return;
    }
    if (key.size() == sc_longestKey && translation.compare(0, key.size(), key) == 0) {
        return; // a key that the export truncated: _checkKey reports it
    }
    checkConversions(line, report);
    if (coloursOf(key) != coloursOf(translation)) {
        report->add(false, line.value.begin,
                    "the colours of key and translation differ: " + joined(coloursOf(key)) + " became " +
                        joined(coloursOf(translation)),
                    "keep each ^CRRGGBB and ^c", "colours");
    }
    checkBlanks(line, report);
}

void checkTranslations(const GamesView& view, const CheckRules& rules, Report* report)
{
    for (const TakenLine& line : view.lines) {
        if (line.value.isPresent && !line.isRepeated && line.value.begin < line.end) {
            checkTranslation(line, rules, report);
        }
    }
}
