// core-strings: checks and edits the files with the texts of a game.
#include "tools/core-strings/commands.h"
#include "tools/shared/program.h"

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

static void addFiles(Command command, std::vector<std::string>* files)
{
    command.addOption("FILE", files, "Strings files; - for the standard input").required();
}

static void addFile(Command command, std::string* file, const char* what)
{
    command.addOption("FILE", file, what).required();
}

static void addOutput(Command command, std::string* output, const char* what)
{
    command.addOption("-o,--output", output, what);
}

static void addCheck(Program& program, CheckOptions* options, int* status)
{
    Command command = program.addCommand("check", "Reports what a game can't read, and what a translation lacks");
    command.footer("Examples:\n"
                   "  core-strings check locale/*/strings.utf8\n"
                   "  core-strings check --with locale/fr/strings.utf8 locale/de/strings.utf8\n"
                   "  core-strings check --github locale/*/strings.utf8");
    addFiles(command, &options->files);
    command.addOption("--with", &options->reference, "Another language: the same keys must be in both files");
    command.addFlag("--unchanged", &options->findsUnchanged,
                    "A translation that is the same as its key is a finding");
    const Option json = command.addFlag("--json", &options->isJson, "Prints the findings as JSON");
    command.addFlag("--github", &options->isGithub, "Prints the findings as annotations of GitHub").excludes(json);
    command.onRun([=] { *status = runCheck(*options); });
}

static void addMerge(Program& program, MergeOptions* options, int* status)
{
    Command command = program.addCommand("merge", "Adds the new texts of a game to a translation");
    command.footer("Examples:\n"
                   "  core-strings merge locale/de/strings.utf8 collected.utf8\n"
                   "  core-strings merge --drop-unused -o new.utf8 locale/de/strings.utf8 collected.utf8");
    command.addOption("OLD", &options->oldFile, "The translation; it is replaced").required();
    command.addOption("NEW", &options->newFile, "A strings file with all texts of the game, such as a record")
        .required();
    addOutput(command, &options->output, "Writes to this file and leaves OLD as it is");
    command.addFlag("--drop-unused", &options->dropsUnused, "Removes entries that NEW lacks, and does not mark them");
    command.addFlag("--no-proposals", &options->isWithoutProposals, "Proposes no translations of similar texts");
    command.onRun([=] { *status = runMerge(*options); });
}

static void addStats(Program& program, StatsOptions* options, int* status)
{
    Command command = program.addCommand("stats", "Counts entries, proposals and words");
    command.footer("Examples:\n"
                   "  core-strings stats locale/*/strings.utf8");
    addFiles(command, &options->files);
    command.addFlag("--json", &options->isJson, "Prints JSON");
    command.onRun([=] { *status = runStats(*options); });
}

static void addFormat(Program& program, FormatOptions* options, int* status)
{
    Command command = program.addCommand("format", "Writes all entries in one form");
    command.footer("Examples:\n"
                   "  core-strings format locale/de/strings.utf8\n"
                   "  core-strings format --apple - <locale/de/strings.utf8 >de.strings");
    addFiles(command, &options->files);
    command.addFlag("--sort", &options->isSorted, "Sorts the entries by their keys");
    command.addFlag("--apple", &options->isApple,
                    "Ends entries with a semicolon, so that other programs for strings files can read them");
    command.addFlag("--check", &options->onlyChecks,
                    "Changes no file, and prints the names of the files that would change");
    command.onRun([=] { *status = runFormat(*options); });
}

static void addPseudo(Program& program, PseudoOptions* options, int* status)
{
    Command command = program.addCommand(
        "pseudo", "Makes a translation for tests, which shows untranslated texts and narrow places");
    command.footer("Examples:\n"
                   "  core-strings pseudo collected.utf8 -o locale/pseudo/strings.utf8");
    addFile(command, &options->file, "A strings file with all texts of the game; - for the standard input");
    addOutput(command, &options->output, "The file to write, instead of the standard output");
    command.onRun([=] { *status = runPseudo(*options); });
}

static void addPo(Program& program, PoOptions* options, int* status)
{
    Command command = program.addCommand("po", "Makes a PO file from a strings file");
    command.footer("Examples:\n"
                   "  core-strings po locale/de/strings.utf8 -o de.po\n"
                   "  core-strings po --template collected.utf8 -o game.pot");
    addFile(command, &options->file, "A strings file; - for the standard input");
    addOutput(command, &options->output, "The file to write, instead of the standard output");
    command.addFlag("--template", &options->isTemplate, "Leaves out the translations");
    command.onRun([=] { *status = runPo(*options); });
}

static void addFromPo(Program& program, FromPoOptions* options, int* status)
{
    Command command = program.addCommand("from-po", "Makes a strings file from a PO file");
    command.footer("Examples:\n"
                   "  core-strings from-po de.po -o locale/de/strings.utf8");
    addFile(command, &options->file, "A PO file; - for the standard input");
    addOutput(command, &options->output, "The file to write, instead of the standard output");
    command.onRun([=] { *status = runFromPo(*options); });
}

static void addThrough(Command command, std::vector<std::string>* through)
{
    command.addOption(
        "--through", through,
        "A function of the game that only passes a text on, such as T: the place is where it is called");
}

static Option addGame(Command command, std::vector<std::string>* words)
{
    const Option game = command.addOption("GAME", words, "The game and its arguments, after --");
    command.endsAtPlaces();
    return game;
}

static void addRecord(Program& program, RecordOptions* options, int* status)
{
    Command command = program.addCommand("record", "Plays a game, and records every text that it asks for");
    command.footer(
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
    command.addOption("-C,--root", &options->root,
                      "The folder of the sources: their paths in the record begin there (default: this folder)");
    addThrough(command, &options->through);
    command.addFlag("--json", &options->isJson, "Writes JSON for scripts, which no later run is added to");
    addGame(command, &options->command).required();
    command.onRun([=] { *status = runRecord(*options); });
}

static void addMissing(Program& program, MissingOptions* options, int* status)
{
    Command command =
        program.addCommand("missing", "Plays a game, and reports the texts that its strings file lacks");
    command.footer(
        "Examples:\n"
        "  core-strings missing -- ./game -language german\n"
        "  core-strings missing --record recorded.utf8 -- ./game\n"
        "  core-strings missing --record recorded.utf8 --file locale/de/strings.utf8\n"
        "\n"
        "The strings file is the one that the game opens. An entry that neither this run nor a record has\n"
        "asked for is a finding as well. The game's own output goes to the standard error stream.");
    command.addOption("--record", &options->records, "What other runs asked for: a file that record has written");
    command.addOption("--file", &options->files, "A strings file, instead of the one that the game opens");
    command.addOption("-C,--root", &options->root,
                      "The folder of the sources: paths in the findings begin there (default: this folder)");
    addThrough(command, &options->through);
    const Option json = command.addFlag("--json", &options->isJson, "Prints the findings as JSON");
    command.addFlag("--github", &options->isGithub, "Prints the findings as annotations of GitHub").excludes(json);
    addGame(command, &options->command);
    command.onRun([=] { *status = runMissing(*options); });
}

static void addLsp(Program& program, LspOptions* options, int* status)
{
    Command command = program.addCommand("lsp", "Serves an editor, as a language server");
    command.footer("Examples:\n"
                   "  core-strings lsp\n"
                   "  core-strings lsp --record recorded.utf8\n"
                   "\n"
                   "The editor starts this command and talks to it over standard input and output (LSP 3.17).\n"
                   "docs/translating.md has the settings of some editors.");
    command.addOption("--with", &options->others,
                      "Strings files of other languages (default: those in the folders beside the file's folder)");
    command.addOption("--record", &options->records, "What runs asked for: a file that record has written");
    command.onRun([=] { *status = runLsp(*options); });
}

static int runProgram(int argc, char** argv)
{
    Program program("core-strings", sc_description);
    program.footer(sc_footer);
    program.version("core-strings " CORE_VERSION);
    program.needsCommand();
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
    addCheck(program, &check, &status);
    addMerge(program, &merge, &status);
    addStats(program, &stats, &status);
    addFormat(program, &format, &status);
    addPseudo(program, &pseudo, &status);
    addPo(program, &po, &status);
    addFromPo(program, &fromPo, &status);
    addRecord(program, &record, &status);
    addMissing(program, &missing, &status);
    addLsp(program, &lsp, &status);
    std::string error;
    if (!program.run(argc, argv, &error)) {
        return error.empty() ? TOOL_FINE
                             : complain(TOOL_NOT_UNDERSTOOD, error + "; core-strings --help explains the commands");
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
