// core-config: finds what a game misreads in its config files and preferences files, and what it asks them for.
#include "tools/core-config/command.h"
#include "tools/shared/program.h"

#include <memory>
#include <stdio.h>
#include <system_error>

static const char sc_description[] =
    "Finds what a game that uses the library core misreads in its config files and preferences files, and learns\n"
    "what the game asks these files for.";

static const char sc_statuses[] =
    "Exit status: 0 all is fine, 1 there are findings, 2 the command line or a schema was not understood,\n"
    "3 a file could not be read or written, or a game could not be started. learn and run end with the\n"
    "status of the game.";

static const char sc_checkFooter[] =
    "Examples:\n"
    "  core-config check Game/units.txt Game/levels.txt\n"
    "  core-config check --ini Game/demo.ini\n"
    "  core-config check --schema demo.schema Game/units.txt\n"
    "  core-config check --fix --dry-run Game/units.txt     shows the repairs and changes nothing\n"
    "  core-config check --github Game/*.txt                annotations for a pull request\n"
    "  sed 's/,/./g' Game/units.txt | core-config check -   reads the standard input\n"
    "\n"
    "Files whose names end with .ini are checked as with --ini. The examples work in the folder demo of the "
    "library's\n"
    "sources.";

static void addCheck(Program& program, int* status)
{
    const auto options = std::make_shared<CheckCommand>();
    Command command = program.addCommand("check", "Finds what a game misreads in config files and preferences files");
    command.addOption("FILE", &options->files, "The files; - for the standard input").required();
    command.addFlag("--ini", &options->isIni, "The files are preferences files (INI)");
    const auto schema =
        command.addOption("--schema", &options->schema, "Also check names, types and values against this schema");
    command.addOption("--as", &options->as, "Check the files against the entry of the schema that has this path")
        .needs(schema);
    command
        .addFlag("--missing", &options->check.tellsMissing,
                 "Also report the names that a file lacks, with the defaults that the game uses")
        .needs(schema);
    const auto fixes =
        command.addFlag("--fix", &options->isFix,
                        "Repair each mistake that has only one right repair, and show the repairs as a diff");
    command
        .addFlag("--crlf", &options->check.wantsCarriageReturns,
                 "With --fix: end all lines with carriage return and line feed")
        .needs(fixes);
    command.addFlag("--dry-run", &options->isDryRun, "With --fix: show the diff, but change no file").needs(fixes);
    const auto json = command.addFlag("--json", &options->isJson, "Print the findings as JSON");
    command.addFlag("--github", &options->isGithub, "Print the findings as annotations for GitHub").excludes(json);
    command.footer(sc_checkFooter);
    command.onRun([=] { *status = runCheck(*options); });
}

static const char sc_learnFooter[] =
    "The game is played as it is, without a change. Each run adds to SCHEMA what is new; comments, ranges, required\n"
    "and what else a person has written in it stay. What the game prints is printed.\n"
    "\n"
    "Examples, in the folder demo of the library's sources:\n"
    "  core-config learn -o game.schema -- core-demo -frames 30\n"
    "  core-config check --schema game.schema Game/units.txt Game/demo.ini\n"
    "\n"
    "The exit status is that of the game, once the schema is written. It is 1 when the game has read no file by the\n"
    "library's readers, 2 when the command line or the schema was not understood, and 3 when the game could not be\n"
    "started, or the schema could not be read or written.";

static void addLearn(Program& program, int* status)
{
    const auto options = std::make_shared<LearnCommand>();
    Command command =
        program.addCommand("learn", "Plays a game and writes down, in a schema, what the game asks its files for");
    command.addOption("-o,--output", &options->schema, "The schema to write; if it exists, the run is added to it")
        .required();
    command.addOption("command", &options->command, "The game and its arguments, after --").required();
    command.endsAtPlaces();
    command.footer(sc_learnFooter);
    command.onRun([=] { *status = runLearn(*options); });
}

static const char sc_runFooter[] =
    "Each value that a reader of the library does not accept is printed on the standard error stream, with its "
    "file,\n"
    "line and column:\n"
    "  Game/units.txt:7:15: error: found \"many\"; expected: \"health = int32\" [expected]\n"
    "\n"
    "Examples:\n"
    "  core-config run -- core-demo -frames 30\n"
    "  core-config run --fail-on-finding -o findings.txt -- core-demo -frames 30\n"
    "\n"
    "The exit status is that of the game. With --fail-on-finding it is 1 after a finding if the game ends with 0.\n"
    "It is 2 when the command line was not understood, and 3 when the game could not be started.";

static void addRun(Program& program, int* status)
{
    const auto options = std::make_shared<RunCommand>();
    Command command = program.addCommand(
        "run", "Plays a game and prints what the library cannot read in its files, with the places");
    command.addOption("-o,--output", &options->output, "Write the findings to this file at the end of the game");
    command.addFlag("--fail-on-finding", &options->isFailing, "Exit with status 1 after a finding");
    const auto json =
        command.addFlag("--json", &options->isJson, "Print the findings as JSON, at the end of the game");
    command.addFlag("--github", &options->isGithub, "Print the findings as annotations for GitHub").excludes(json);
    command.addOption("command", &options->command, "The game and its arguments, after --").required();
    command.endsAtPlaces();
    command.footer(sc_runFooter);
    command.onRun([=] { *status = runGame(*options); });
}

static const char sc_lspFooter[] =
    "The editor starts this command and talks to it over the standard input and output.\n"
    "docs/config-files.md says how to set up Neovim, VS Code and Kate.\n"
    "\n"
    "Example:\n"
    "  core-config lsp --schema demo.schema";

static void addLsp(Program& program, int* status)
{
    const auto schema = std::make_shared<std::string>();
    Command command =
        program.addCommand("lsp", "Is a language server: an editor gets findings, proposals and explanations");
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
    addLearn(program, &status);
    addRun(program, &status);
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
    } catch (const std::system_error& error) {
        return complain(TOOL_CANT_ACCESS, error.what());
    } catch (...) {
        fputs("core-config: there is not enough memory\n", stderr);
        return TOOL_CANT_ACCESS;
    }
}
