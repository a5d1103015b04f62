// core-strings check: what is wrong in strings files.
#include "tools/core-strings/check.h"
#include "tools/core-strings/commands.h"

#include <stdio.h>

static void append(std::vector<Finding>* findings, const std::vector<Finding>& more)
{
    findings->insert(findings->end(), more.begin(), more.end());
}

int runCheck(const CheckOptions& options)
{
    CheckRules rules;
    rules.findsUnchanged = options.findsUnchanged;
    std::vector<Finding> findings;
    std::string error;
    GamesView reference;
    std::string bytes;
    if (!options.reference.empty()) {
        if (!readFile(options.reference, &bytes, &error)) {
            return complain(TOOL_CANT_ACCESS, error);
        }
        reference = readAsGame(bytes);
    }
    int status = TOOL_FINE;
    for (const std::string& file : options.files) {
        if (!readFile(file, &bytes, &error)) {
            status = complain(TOOL_CANT_ACCESS, error); // the other files are checked nevertheless
            continue;
        }
        const std::string name = file == "-" ? "(standard input)" : file;
        append(&findings, checkStrings(name, bytes, rules));
        if (!options.reference.empty()) {
            append(&findings, compareLanguages(name, readAsGame(bytes), options.reference, reference));
        }
    }
    const e_FindingForm form = options.isJson ? FINDINGS_JSON : options.isGithub ? FINDINGS_GITHUB : FINDINGS_TEXT;
    fputs(formatFindings(findings, form).c_str(), stdout);
    return status != TOOL_FINE ? status : statusOf(findings);
}
