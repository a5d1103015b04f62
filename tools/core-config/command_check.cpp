// core-config check: what a game misreads in files.
#include "tools/core-config/command.h"
#include "tools/core-config/diff.h"
#include "tools/shared/files.h"

#include <algorithm>
#include <stdio.h>
#include <unistd.h>

static bool hasIniName(const std::string& file)
{
    const std::string ending = ".ini";
    return file.size() >= ending.size() && file.compare(file.size() - ending.size(), ending.size(), ending) == 0;
}

// Shows a diff. On a terminal, control characters of the file are replaced.
static void showDiff(const std::string& diff, FILE* stream)
{
    std::string shown = diff;
    if (isatty(fileno(stream))) {
        const auto isControl = [](char letter) {
            const unsigned char byte = static_cast<unsigned char>(letter);
            return (byte < ' ' && byte != '\n' && byte != '\t' && byte != '\r') || byte == 0x7f;
        };
        std::replace_if(shown.begin(), shown.end(), isControl, '?');
    }
    fputs(shown.c_str(), stream);
}

// Repairs a text and replaces the file. Returns TOOL_FINE, or prints a message and returns TOOL_CANT_ACCESS.
static int fix(const std::string& file, const CheckCommand& options, const config::CheckOptions& check,
               std::string* bytes)
{
    const std::string better = config::repairText(*bytes, check);
    const bool isInput = file == "-";
    const bool isShown = isInput ? isatty(STDERR_FILENO) || options.isDryRun : true;
    if (isShown && !options.isJson && !options.isGithub) {
        showDiff(config::unifiedDiff(file, *bytes, better), isInput ? stderr : stdout);
    }
    std::string error;
    if (!options.isDryRun && (isInput || better != *bytes) && !replaceFile(file, better, &error)) {
        return complain(TOOL_CANT_ACCESS, error);
    }
    *bytes = options.isDryRun ? *bytes : better;
    return TOOL_FINE;
}

// Finds the file in the schema. Returns TOOL_FINE, or prints a message and returns TOOL_NOT_UNDERSTOOD.
static int chooseSchema(const std::string& file, const CheckCommand& options, const config::Schema& schema,
                        config::CheckOptions* check)
{
    const std::string path = options.as.empty() ? file : options.as;
    const config::FileSchema* found = config::fileFor(schema, path);
    if (!found) {
        return complain(TOOL_NOT_UNDERSTOOD,
                        options.schema + " has no file \"" + path + "\"; --as NAME chooses one of its files");
    }
    check->schema = found;
    check->isIni = found->isIni;
    return TOOL_FINE;
}

static int checkFile(const std::string& file, const CheckCommand& options, const config::Schema& schema,
                     std::vector<Finding>* findings)
{
    std::string bytes;
    std::string error;
    if (!readFile(file, &bytes, &error)) {
        return complain(TOOL_CANT_ACCESS, error);
    }
    config::CheckOptions check = options.check;
    check.isIni = options.isIni || hasIniName(file);
    if (!options.schema.empty()) {
        if (const int status = chooseSchema(file, options, schema, &check)) {
            return status;
        }
    }
    if (options.isFix) {
        if (const int status = fix(file, options, check, &bytes)) {
            return status;
        }
    }
    const std::vector<Finding> found = config::findingsOf(file, bytes, config::checkText(bytes, check));
    findings->insert(findings->end(), found.begin(), found.end());
    return TOOL_FINE;
}

int runCheck(const CheckCommand& options)
{
    config::Schema schema;
    if (const int status = readSchemaFile(options.schema, &schema)) {
        return status;
    }
    std::vector<Finding> findings;
    int status = TOOL_FINE;
    bool isInput = false;
    for (const std::string& file : options.files) {
        status = std::max(status, checkFile(file, options, schema, &findings));
        isInput = isInput || file == "-";
    }
    const e_FindingForm form = options.isJson ? FINDINGS_JSON : options.isGithub ? FINDINGS_GITHUB : FINDINGS_TEXT;
    // With --fix, the standard output has the repaired text of the standard input.
    FILE* stream = options.isFix && isInput && !options.isDryRun ? stderr : stdout;
    fputs(formatFindings(findings, form).c_str(), stream);
    return std::max(status, statusOf(findings));
}
