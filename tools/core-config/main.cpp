// core-config: finds what a game misreads in its config files and preferences files.
#include "tools/core-config/command.h"
#include "tools/shared/program.h"

#include <memory>
#include <stdio.h>

static const char sc_description[] =
    "Finds what a game that uses the library core misreads in its config files and preferences files.";

static const char sc_statuses[] =
    "Exit status: 0 all is fine, 1 there are findings, 2 the command line or a schema was not understood,\n"
    "3 a file could not be read or written.";

static const char sc_checkFooter[] =
    "Examples:\n"
    "  core-config check Game/units.txt Game/levels.txt\n"
    "  core-config check --ini Game/demo.ini\n"
    "  core-config check --schema game.schema Game/units.txt\n"
    "  core-config check --fix --dry-run Game/units.txt     shows the repairs and changes nothing\n"
    "  core-config check --github Game/*.txt                annotations for a pull request\n"
    "  sed 's/,/./g' Game/units.txt | core-config check -   reads the standard input\n"
    "\n"
    "Files whose names end with .ini are checked as with --ini.";

static void addCheck(Program& program, int* status)
{
    const auto options = std::make_shared<CheckCommand>();
    Command command = program.addCommand("check", "Finds what a game misreads in config files and preferences files");
    command.addOption("FILE", &options->files, "The files; - for the standard input").required();
    command.addFlag("--ini", &options->isIni, "The files are preferences files (INI)");
    const auto schema =
        command.addOption("--schema", &options->schema, "Also check names, types and values against this schema");
    command.addOption("--as", &options->as, "The files are this file of the schema").needs(schema);
    command
        .addFlag("--missing", &options->check.tellsMissing,
                 "Also tell the names that a file lacks, with their defaults")
        .needs(schema);
    const auto fixes =
        command.addFlag("--fix", &options->isFix, "Repair what has one right answer, and show it as a diff");
    command
        .addFlag("--crlf", &options->check.wantsCarriageReturns,
                 "With --fix: end all lines with carriage return and line feed")
        .needs(fixes);
    command.addFlag("--dry-run", &options->isDryRun, "With --fix: show the diff and change no file").needs(fixes);
    const auto json = command.addFlag("--json", &options->isJson, "JSON");
    command.addFlag("--github", &options->isGithub, "Annotations for GitHub").excludes(json);
    command.footer(sc_checkFooter);
    command.onRun([=] { *status = runCheck(*options); });
}

static const char sc_lspFooter[] =
    "The editor starts this command and talks to it over the standard input and output.\n"
    "docs/config-files.md says how to set up Neovim, VS Code and Kate.\n"
    "\n"
    "Example:\n"
    "  core-config lsp --schema game.schema";

static void addLsp(Program& program, int* status)
{
    const auto schema = std::make_shared<std::string>();
    Command command = program.addCommand("lsp", "Serves an editor: findings, completion and explanations");
    command.addOption("--schema", schema.get(), "The names, types and comments of the game's files");
    command.footer(sc_lspFooter);
    command.onRun([=] { *status = runLsp(*schema); });
}

static int run(int argc, char** argv)
{
    Program program("core-config", sc_description);
    program.footer(sc_statuses);
    program.version("core-config " CORE_VERSION);
    program.needsCommand();
    int status = TOOL_FINE;
    addCheck(program, &status);
    addLsp(program, &status);
    std::string error;
    if (!program.run(argc, argv, &error)) {
        return error.empty() ? TOOL_FINE
                             : complain(TOOL_NOT_UNDERSTOOD, error + "; core-config --help explains the commands");
    }
    if (fflush(stdout) != 0) {
        return complain(TOOL_CANT_ACCESS, "the standard output can't be written");
    }
    return status;
}

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (...) {
        fputs("core-config: there is not enough memory\n", stderr);
        return TOOL_CANT_ACCESS;
    }
}
