// core-strings: checks and edits the files with the texts of a game.
#include "tools/core-strings/commands.h"
#include "tools/shared/program.h"

#include <exception>
#include <stdio.h>

static const char sc_description[] =
    "Checks and edits strings files: the texts of a game that uses the library core, and their translations.\n"
    "The library's own reader judges a file, so that this program and a game cannot disagree.";

static const char sc_footer[] =
    "Examples:\n"
    "  core-strings check locale/*/strings.utf8\n"
    "  core-strings check --with locale/fr/strings.utf8 locale/de/strings.utf8\n"
    "  core-strings merge locale/de/strings.utf8 collected.utf8\n"
    "  core-strings po locale/de/strings.utf8 -o de.po\n"
    "  core-strings from-po de.po -o locale/de/strings.utf8\n"
    "\n"
    "FILE may be - for the standard input. A file is replaced as a whole; its ends of lines and its byte-order mark\n"
    "stay as they are.\n"
    "\n"
    "Exit status: 0 all is fine, 1 there are findings, 2 the command line or a PO file was not understood,\n"
    "3 a file can't be read or written.";

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
    Command command = program.addCommand("check", "Says what a game can't read, and what a translation lacks");
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
    Command command = program.addCommand("merge", "Brings new texts of the game into a translation");
    command.footer("Examples:\n"
                   "  core-strings merge locale/de/strings.utf8 collected.utf8\n"
                   "  core-strings merge --drop-unused -o new.utf8 locale/de/strings.utf8 collected.utf8");
    command.addOption("OLD", &options->oldFile, "The translation; it is replaced").required();
    command.addOption("NEW", &options->newFile, "A file with all texts of the game, such as one that it collected")
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
    Command command = program.addCommand("format", "Gives all entries one form");
    command.footer("Examples:\n"
                   "  core-strings format locale/de/strings.utf8\n"
                   "  core-strings format --apple - <locale/de/strings.utf8 >de.strings");
    addFiles(command, &options->files);
    command.addFlag("--sort", &options->isSorted, "Sorts the entries by their keys");
    command.addFlag("--apple", &options->isApple,
                    "Ends entries with a semicolon, so that other programs for strings files can read them");
    command.addFlag("--check", &options->onlyChecks, "Changes nothing; names the files that would change");
    command.onRun([=] { *status = runFormat(*options); });
}

static void addPseudo(Program& program, PseudoOptions* options, int* status)
{
    Command command =
        program.addCommand("pseudo", "Makes up a translation that shows untranslated and narrow places");
    command.footer("Examples:\n"
                   "  core-strings pseudo collected.utf8 -o locale/pseudo/strings.utf8");
    addFile(command, &options->file, "A strings file with all texts of the game; - for the standard input");
    addOutput(command, &options->output, "The file to write, instead of the standard output");
    command.onRun([=] { *status = runPseudo(*options); });
}

static void addPo(Program& program, PoOptions* options, int* status)
{
    Command command = program.addCommand("po", "Makes a PO file of a strings file");
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
    Command command = program.addCommand("from-po", "Makes a strings file of a PO file");
    command.footer("Examples:\n"
                   "  core-strings from-po de.po -o locale/de/strings.utf8");
    addFile(command, &options->file, "A PO file; - for the standard input");
    addOutput(command, &options->output, "The file to write, instead of the standard output");
    command.onRun([=] { *status = runFromPo(*options); });
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
    addCheck(program, &check, &status);
    addMerge(program, &merge, &status);
    addStats(program, &stats, &status);
    addFormat(program, &format, &status);
    addPseudo(program, &pseudo, &status);
    addPo(program, &po, &status);
    addFromPo(program, &fromPo, &status);
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
