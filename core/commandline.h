// The command line: which switches the game was started with, and their arguments.
//
//     CommandLine commandLine;
//     commandLine.addCommand("-window", 2, 0);          // -window 640 480
//     commandLine.addCommand("-mod", 1, 7);             // -mod winter towers
//     commandLine.init(argc, argv);
//
//     int count;
//     char** args;
//     if (commandLine.cmdExists("-mod") && commandLine.getArgs("-mod", &count, &args)) {
//         for (int i = 1; i < count; ++i) {             // args[0] is the switch itself
//             loadMod(args[i]);
//         }
//     }
//
// A word that begins with "-" or "+" is never an argument, so a negative number can't be one. Words that belong to no
// switch are passed over. "-logger", without arguments, is there from the start.
//
// All command lines share one table of 32 switches: a second one overwrites the commands of the first, beginning
// behind "-logger", still knows those it has not overwritten, and "-logger", once given, stays given.
//
// The arguments stay the caller's and have to outlive the command line. All calls belong to the main thread.
#pragma once

#include "core/allocator.h"

#pragma GCC visibility push(default)

struct CommandEntry_s {
    char name[32]; // as it is typed, "-mod": 31 characters and a NUL
    int required;  // arguments that have to follow
    int optional;  // the most that may follow those
    int present;   // 1 once it was found with all it requires
    int index;     // where in the argument vector
    int found;     // optional arguments taken
};

class CommandLine : public Allocator<0> {
public:
    CommandLine();
    virtual ~CommandLine();

    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    // Before init. False without a name, and when all 32 entries are taken. A name is cut to 31 characters; fewer
    // than 0 arguments are none. The same name again makes a second entry, which takes the switch given again.
    bool addCommand(const char* name, int required, int optional);

    // Finds the commands among the arguments; args[0], the program's name, is not looked at.
    void init(int count, char** args);

    // Whether it was given, with all it requires. Upper and lower case differ.
    bool cmdExists(const char* name);

    // The switch and its arguments, as they stand in the argument vector. Also true for a command that was not
    // given, with what happens to stand there: ask cmdExists first. False, 0 and null for an unknown one.
    bool getArgs(const char* name, int* count, char*** args);

private:
    void _parseCmdLine();
    int _processCmd(CommandEntry_s* entry, int position);

    char** m_args;
    int m_argCount;
    CommandEntry_s* m_commands;
    int m_commandCount; // entries in use, "-logger" included
};

#pragma GCC visibility pop
