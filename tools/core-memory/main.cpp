// core-memory: sees into the memory banks of a game, as the game is.
#include "tools/core-memory/command.h"
#include "tools/core-memory/output.h"

#include <exception>
#include <stdio.h>

int complain(int status, const std::string& message)
{
    fprintf(stderr, "core-memory: %s\n", printable(message).c_str());
    return status;
}

static const char sc_description[] =
    "Sees into the memory banks of a game that uses the library core. The game needs no change and no debug build.";

static const char sc_statuses[] =
    "Exit status: 0 all is fine, 1 damage, faults or differences were found, 2 the command line or a\n"
    "file was not understood, 3 a process or a file could not be read.";

static int runProgram(int argc, char** argv)
{
    Program program("core-memory", sc_description);
    program.footer(sc_statuses);
    program.needsCommand();
    int status = STATUS_FINE;
    addSnapshot(program, &status);
    addReport(program, &status);
    addDiff(program, &status);
    addSizes(program, &status);
    addTop(program, &status);
    addHtml(program, &status);
    addRun(program, &status);
    std::string error;
    if (!program.run(argc, argv, &error)) {
        return error.empty() ? STATUS_FINE
                             : complain(STATUS_NOT_UNDERSTOOD, error + "; core-memory --help explains the commands");
    }
    if (fflush(stdout) != 0) {
        return complain(STATUS_CANT_LOOK, "the standard output can't be written");
    }
    return status;
}

int main(int argc, char** argv)
{
    try {
        return runProgram(argc, argv);
    } catch (const std::exception& error) { // no memory
        fprintf(stderr, "core-memory: %s\n", error.what());
        return STATUS_CANT_LOOK;
    }
}
