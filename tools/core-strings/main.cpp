// core-strings: checks and edits the files with the texts of a game.
#include "tools/core-strings/commands.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <stdio.h>

static const char sc_description[] =
    "Checks and edits strings files, which hold the texts of a game that uses the library core, and their\n"
    "translations. Records which texts a game asks for. This program reads a file with the library's own reader, so\n"
    "this program and a game read the same.";

static const char sc_footer[] = "Examples:\n"
                                "  core-strings check locale/*/strings.utf8\n"
                                "  core-strings check --with locale/fr/strings.utf8 locale/de/strings.utf8\n"
                                "  core-strings record -o recorded.utf8 -- ./game\n"
                                "  core-strings missing --record recorded.utf8 -- ./game -language german\n"
                                "  core-strings merge locale/de/strings.utf8 recorded.utf8\n"
                                "  core-strings po locale/de/strings.utf8 -o de.po\n"
                                "  core-strings from-po de.po -o locale/de/strings.utf8\n"
                                "\n"
                                "FILE may be - for the standard input. A file is replaced as a whole; its line ends "
                                "and its byte-order mark do not\n"
                                "change.\n"
                                "\n"
                                "Exit status: 0 there are no findings, 1 there are findings, 2 the command line or a "
                                "PO file was not understood,\n"
                                "3 a file can't be read or written. record: the exit status of the game.";

static CLI::Option* addFiles(CLI::App* command, std::vector<std::string>* files)
{
    return command->add_option("FILE", *files, "Strings files; - for the standard input")->required();
}

static CLI::Option* addFile(CLI::App* command, std::string* file, const char* what)
{
    return command->add_option("FILE", *file, what)->required();
}

static void addOutput(CLI::App* command, std::string* output, const char* what)
{
    command->add_option("-o,--output", *output, what);
}

static void addCheck(CLI::App& app, CheckOptions* options, int* status)
{
    CLI::App* command = app.add_subcommand("check", "Reports what a game can't read, and what a translation lacks");
    command->footer("Examples:\n"
                    "  core-strings check locale/*/strings.utf8\n"
                    "  core-strings check --with locale/fr/strings.utf8 locale/de/strings.utf8\n"
                    "  core-strings check --github locale/*/strings.utf8");
    addFiles(command, &options->files);
    command->add_option("--with", options->reference, "Another language: the same keys must be in both files");
    command->add_flag("--unchanged", options->findsUnchanged,
                      "A translation that is the same as its key is a finding");
    CLI::Option* const json = command->add_flag("--json", options->isJson, "Prints the findings as JSON");
    command->add_flag("--github", options->isGithub, "Prints the findings as annotations of GitHub")->excludes(json);
    command->callback([=] { *status = runCheck(*options); });
}

static void addMerge(CLI::App& app, MergeOptions* options, int* status)
{
    CLI::App* command = app.add_subcommand("merge", "Adds the new texts of a game to a translation");
    command->footer("Examples:\n"
                    "  core-strings merge locale/de/strings.utf8 collected.utf8\n"
                    "  core-strings merge --drop-unused -o new.utf8 locale/de/strings.utf8 collected.utf8");
    command->add_option("OLD", options->oldFile, "The translation; it is replaced")->required();
    command->add_option("NEW", options->newFile, "A strings file with all texts of the game, such as a record")
        ->required();
    addOutput(command, &options->output, "Writes to this file and leaves OLD as it is");
    command->add_flag("--drop-unused", options->dropsUnused,
                      "Removes entries that NEW lacks, and does not mark them");
    command->add_flag("--no-proposals", options->isWithoutProposals, "Proposes no translations of similar texts");
    command->callback([=] { *status = runMerge(*options); });
}

static void addStats(CLI::App& app, StatsOptions* options, int* status)
{
    CLI::App* command = app.add_subcommand("stats", "Counts entries, proposals and words");
    command->footer("Examples:\n"
                    "  core-strings stats locale/*/strings.utf8");
    addFiles(command, &options->files);
    command->add_flag("--json", options->isJson, "Prints JSON");
    command->callback([=] { *status = runStats(*options); });
}

static void addFormat(CLI::App& app, FormatOptions* options, int* status)
{
    CLI::App* command = app.add_subcommand("format", "Writes all entries in one form");
    command->footer("Examples:\n"
                    "  core-strings format locale/de/strings.utf8\n"
                    "  core-strings format --apple - <locale/de/strings.utf8 >de.strings");
    addFiles(command, &options->files);
    command->add_flag("--sort", options->isSorted, "Sorts the entries by their keys");
    command->add_flag("--apple", options->isApple,
                      "Ends entries with a semicolon, so that other programs for strings files can read them");
    command->add_flag("--check", options->onlyChecks,
                      "Changes no file, and prints the names of the files that would change");
    command->callback([=] { *status = runFormat(*options); });
}

static void addPseudo(CLI::App& app, PseudoOptions* options, int* status)
{
    CLI::App* command = app.add_subcommand(
        "pseudo", "Makes a translation for tests, which shows untranslated texts and narrow places");
    command->footer("Examples:\n"
                    "  core-strings pseudo collected.utf8 -o locale/pseudo/strings.utf8");
    addFile(command, &options->file, "A strings file with all texts of the game; - for the standard input");
    addOutput(command, &options->output, "The file to write, instead of the standard output");
    command->callback([=] { *status = runPseudo(*options); });
}

static void addPo(CLI::App& app, PoOptions* options, int* status)
{
    CLI::App* command = app.add_subcommand("po", "Makes a PO file from a strings file");
    command->footer("Examples:\n"
                    "  core-strings po locale/de/strings.utf8 -o de.po\n"
                    "  core-strings po --template collected.utf8 -o game.pot");
    addFile(command, &options->file, "A strings file; - for the standard input");
    addOutput(command, &options->output, "The file to write, instead of the standard output");
    command->add_flag("--template", options->isTemplate, "Leaves out the translations");
    command->callback([=] { *status = runPo(*options); });
}

static void addFromPo(CLI::App& app, FromPoOptions* options, int* status)
{
    CLI::App* command = app.add_subcommand("from-po", "Makes a strings file from a PO file");
    command->footer("Examples:\n"
                    "  core-strings from-po de.po -o locale/de/strings.utf8");
    addFile(command, &options->file, "A PO file; - for the standard input");
    addOutput(command, &options->output, "The file to write, instead of the standard output");
    command->callback([=] { *status = runFromPo(*options); });
}

static void addThrough(CLI::App* command, std::vector<std::string>* through)
{
    command->add_option(
        "--through", *through,
        "A function of the game that only passes a text on, such as T: the place is where it is called");
}

static void addGame(CLI::App* command, std::vector<std::string>* words)
{
    command->add_option("GAME", *words, "The game and its arguments, after --");
    command->positionals_at_end();
}

static void addRecord(CLI::App& app, RecordOptions* options, int* status)
{
    CLI::App* command = app.add_subcommand("record", "Plays a game, and records every text that it asks for");
    command->footer(
        "Examples:\n"
        "  core-strings record -- ./game -level 2\n"
        "  core-strings record -o recorded.utf8 -- ./game\n"
        "  core-strings record -o game.po --through T -- ./game\n"
        "\n"
        "The record is a strings file, or a PO file if its name ends in .po or .pot. If it exists, the run\n"
        "is added to it. The exit status is that of the game. It is 2 when the command line or the record\n"
        "was not understood, and 3 when the game could not be started or the record not be written.");
    addOutput(command, &options->output,
              "The record (default: recorded.utf8); with - the game's own output goes to the standard error stream");
    command->add_option("-C,--root", options->root,
                        "The folder of the sources: their paths in the record begin there (default: this folder)");
    addThrough(command, &options->through);
    command->add_flag("--json", options->isJson, "Writes JSON for scripts, which no later run is added to");
    addGame(command, &options->command);
    command->get_option("GAME")->required();
    command->callback([=] { *status = runRecord(*options); });
}

static void addMissing(CLI::App& app, MissingOptions* options, int* status)
{
    CLI::App* command =
        app.add_subcommand("missing", "Plays a game, and reports the texts that its strings file lacks");
    command->footer(
        "Examples:\n"
        "  core-strings missing -- ./game -language german\n"
        "  core-strings missing --record recorded.utf8 -- ./game\n"
        "  core-strings missing --record recorded.utf8 --file locale/de/strings.utf8\n"
        "\n"
        "The strings file is the one that the game opens. An entry that neither this run nor a record has\n"
        "asked for is a finding as well. The game's own output goes to the standard error stream.");
    command->add_option("--record", options->records, "What other runs asked for: a file that record has written");
    command->add_option("--file", options->files, "A strings file, instead of the one that the game opens");
    command->add_option("-C,--root", options->root,
                        "The folder of the sources: paths in the findings begin there (default: this folder)");
    addThrough(command, &options->through);
    CLI::Option* const json = command->add_flag("--json", options->isJson, "Prints the findings as JSON");
    command->add_flag("--github", options->isGithub, "Prints the findings as annotations of GitHub")->excludes(json);
    addGame(command, &options->command);
    command->callback([=] { *status = runMissing(*options); });
}

static void addLsp(CLI::App& app, LspOptions* options, int* status)
{
    CLI::App* command = app.add_subcommand("lsp", "Serves an editor, as a language server");
    command->footer("Examples:\n"
                    "  core-strings lsp\n"
                    "  core-strings lsp --record recorded.utf8\n"
                    "\n"
                    "The editor starts this command and talks to it over standard input and output (LSP 3.17).\n"
                    "docs/translating.md has the settings of some editors.");
    command->add_option("--with", options->others,
                        "Strings files of other languages (default: those in the folders beside the file's folder)");
    command->add_option("--record", options->records, "What runs asked for: a file that record has written");
    command->callback([=] { *status = runLsp(*options); });
}

static int runProgram(int argc, char** argv)
{
    CLI::App app(sc_description, "core-strings");
    app.footer(sc_footer);
    app.set_version_flag("--version", "core-strings " CORE_VERSION);
    app.require_subcommand(1);
    int status = TOOL_FINE;
    CheckOptions check;
    MergeOptions merge;
    StatsOptions stats;
    FormatOptions format;
    PseudoOptions pseudo;
    PoOptions po;
    FromPoOptions fromPo;
    RecordOptions record;
    MissingOptions missing;
    LspOptions lsp;
    addCheck(app, &check, &status);
    addMerge(app, &merge, &status);
    addStats(app, &stats, &status);
    addFormat(app, &format, &status);
    addPseudo(app, &pseudo, &status);
    addPo(app, &po, &status);
    addFromPo(app, &fromPo, &status);
    addRecord(app, &record, &status);
    addMissing(app, &missing, &status);
    addLsp(app, &lsp, &status);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error); // --help and --version
        }
        return complain(TOOL_NOT_UNDERSTOOD,
                        std::string(error.what()) + "; core-strings --help explains the commands");
    }
    if (fflush(stdout) != 0 || ferror(stdout)) {
        return complain(TOOL_CANT_ACCESS, "the standard output can't be written");
    }
    return status;
}

int main(int argc, char** argv)
{
    try {
        return runProgram(argc, argv);
    } catch (const std::exception& error) { // no memory
        fprintf(stderr, "core-strings: %s\n", error.what());
        return TOOL_CANT_ACCESS;
    }
}
