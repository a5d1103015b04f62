// The findings in a strings file.
//
// Whether a line is an entry, and whether a game finds the entry, is what the library says (game.h). The checks look
// for the cause, and name it.
#include "tools/core-strings/check.h"

#include "tools/core-strings/check_report.h"

#include <algorithm>

// A byte-order mark, or a NUL in every second byte of the beginning.
static bool isUtf16(const std::string& bytes)
{
    if (startsWith(bytes, 0, "\xff\xfe") || startsWith(bytes, 0, "\xfe\xff")) {
        return true;
    }
    for (size_t first = 0; first < 2; ++first) {
        bool isNul = bytes.size() >= 8;
        for (size_t at = first; isNul && at < 8; at += 2) {
            isNul = bytes[at] == '\0' && bytes[at ^ 1] != '\0';
        }
        if (isNul) {
            return true;
        }
    }
    return false;
}

std::vector<Finding> checkStrings(const std::string& name, const std::string& bytes, const CheckRules& rules)
{
    const GamesView view = readAsGame(bytes);
    Report report(name, view.text);
    if (isUtf16(bytes)) {
        report.add(true, 0, "the file is UTF-16, and the game reads UTF-8: it finds no entry",
                   "save the file as UTF-8", "utf-16");
        return report.findings;
    }
    checkBytes(bytes, view, &report);
    checkForm(view, &report);
    checkTranslations(view, rules, &report);
    checkKeys(view, &report);
    sortFindings(&report.findings);
    return report.findings;
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
