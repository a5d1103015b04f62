// core-config check: what a game misreads in files.
#include "tools/core-config/check.h"
#include "tools/core-config/command.h"
#include "tools/core-config/diff.h"
#include "tools/shared/files.h"

#include <algorithm>
#include <memory>
#include <stdio.h>
#include <unistd.h>

static const char sc_footer[] =
    "Examples:\n"
    "  core-config check Game/units.txt Game/levels.txt\n"
    "  core-config check --ini Game/demo.ini\n"
    "  core-config check --schema game.schema Game/units.txt\n"
    "  core-config check --fix --dry-run Game/units.txt     shows the repairs and changes nothing\n"
    "  core-config check --github Game/*.txt                annotations for a pull request\n"
    "  sed 's/,/./g' Game/units.txt | core-config check -   reads the standard input\n"
    "\n"
    "Files whose names end with .ini are checked as with --ini.";

struct CommandOptions {
    std::vector<std::string> files;
    std::string schema; // path
    std::string as;     // the file's path in the schema
    config::CheckOptions check;
    bool isIni = false;
    bool isFix = false;
    bool isDryRun = false;
    bool isJson = false;
    bool isGithub = false;
};

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
static int fix(const std::string& file, const CommandOptions& options, const config::CheckOptions& check,
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
static int chooseSchema(const std::string& file, const CommandOptions& options, const config::Schema& schema,
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

static int checkFile(const std::string& file, const CommandOptions& options, const config::Schema& schema,
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

static int check(const CommandOptions& options)
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

void addCheck(CLI::App& app, int* status)
{
    const auto options = std::make_shared<CommandOptions>();
    CLI::App* command =
        app.add_subcommand("check", "Finds what a game misreads in config files and preferences files");
    command->add_option("FILE", options->files, "The files; - for the standard input")->required();
    command->add_flag("--ini", options->isIni, "The files are preferences files (INI)");
    const auto schema =
        command->add_option("--schema", options->schema, "Also check names, types and values against this schema");
    command->add_option("--as", options->as, "The files are this file of the schema")->needs(schema);
    command
        ->add_flag("--missing", options->check.tellsMissing,
                   "Also tell the names that a file lacks, with their defaults")
        ->needs(schema);
    const auto fixes =
        command->add_flag("--fix", options->isFix, "Repair what has one right answer, and show it as a diff");
    command
        ->add_flag("--crlf", options->check.wantsCarriageReturns,
                   "With --fix: end all lines with carriage return and line feed")
        ->needs(fixes);
    command->add_flag("--dry-run", options->isDryRun, "With --fix: show the diff and change no file")->needs(fixes);
    const auto json = command->add_flag("--json", options->isJson, "JSON");
    command->add_flag("--github", options->isGithub, "Annotations for GitHub")->excludes(json);
    command->footer(sc_footer);
    command->callback([=] { *status = check(*options); });
}
