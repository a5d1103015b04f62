// core-doctor: what a bug report needs, on one screen. It changes nothing.
#include "logger/printable.h"
#include "tools/core-doctor/subjects.h"

#include <CLI/CLI.hpp>

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
    lookAtDisplay(&report);
    lookAtAppKit(libcore, &report);
    return report;
}

static int runProgram(int argc, char** argv)
{
    CLI::App app(
        "Shows what a bug report needs: libraries, host, folders, stored files and display. Changes nothing.",
        "core-doctor");
    std::string path;
    bool isJson = false;
    CLI::Option* const named = app.add_option("GAME", path, "The file of a game that uses the library core");
    app.add_flag("--json", isJson, "Print JSON");
    app.footer("Exit status: 0 nothing is wrong, 1 there are warnings, 2 the command line was not understood,\n"
               "3 the game's file can't be read or the output can't be written.");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error); // --help
        }
        return complain(sc_notUnderstood, std::string(error.what()) + "; core-doctor --help explains the options");
    }
    Game game;
    std::string error;
    if (named->count() && !findGame(path, &game, &error)) {
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
