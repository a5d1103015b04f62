// core-doctor: what a bug report needs, on one screen. It changes nothing.
#include "logger/printable.h"
#include "tools/core-doctor/subjects.h"
#include "tools/shared/program.h"

#include <exception>
#include <stdio.h>

// Exit statuses of the process.
static const int sc_fine = 0;
static const int sc_wrong = 1;         // there is a warning
static const int sc_notUnderstood = 2; // the command line is wrong
static const int sc_cantLook = 3;      // the game's file can't be read, or the output can't be written

static int complain(int status, const std::string& message)
{
    fprintf(stderr, "core-doctor: %s\n", printable(message, Lines::Escape).c_str());
    return status;
}

static Report examine(const Game& game)
{
    Report report;
    const std::string libcore = lookAtLibraries(game, &report);
    lookAtHost(&report);
    lookAtFolders(game, &report);
    lookAtStores(game, &report);
    if (game.path.empty() || makesWindows(game)) {
        lookAtDisplay(&report);
        lookAtAppKit(libcore, &report);
    } else {
        report.add("display", "windows", "the game does not call InitWindow, so it needs no display");
    }
    return report;
}

static int runProgram(int argc, char** argv)
{
    Program program(
        "core-doctor",
        "Shows what a bug report needs: libraries, host, folders, stored files and display. Changes nothing.");
    std::string path;
    bool isJson = false;
    const Option named = program.addOption("GAME", &path, "The file of a game that uses the library core");
    program.addFlag("--json", &isJson, "Print JSON");
    program.footer("Exit status: 0 nothing is wrong, 1 there are warnings, 2 the command line was not understood,\n"
                   "3 the game's file can't be read or the output can't be written.");
    std::string error;
    if (!program.run(argc, argv, &error)) {
        return error.empty() ? sc_fine
                             : complain(sc_notUnderstood, error + "; core-doctor --help explains the options");
    }
    Game game;
    if (named.isGiven() && !findGame(path, &game, &error)) {
        return complain(sc_cantLook, error);
    }
    const Report report = examine(game);
    isJson ? report.printJson() : report.printText();
    if (fflush(stdout) != 0 || ferror(stdout)) {
        return complain(sc_cantLook, "the standard output can't be written");
    }
    return report.hasWarnings() ? sc_wrong : sc_fine;
}

int main(int argc, char** argv)
{
    try {
        return runProgram(argc, argv);
    } catch (const std::exception& error) { // no memory
        fprintf(stderr, "core-doctor: %s\n", error.what());
        return sc_cantLook;
    }
}
