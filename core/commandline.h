// The command line: the switches that the game was started with, and their arguments.
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
// A word that begins with "-" or "+" is never an argument, so no switch takes a negative number. Words that belong to
// no switch are ignored. The switch "-logger", without arguments, is always registered.
//
// All command lines share one table of 32 switches. A second CommandLine starts at entry 1 again: it overwrites the
// switches of the first one by one, and still finds the rest of them. A switch that was found stays found.
//
// The argument vector belongs to the caller and must outlive the command line. Call all of this on the main thread.
#pragma once

#include "core/allocator.h"

#pragma GCC visibility push(default)

// Frozen, and CommandLine's fields as well: docs/architecture.md, "Record layouts and virtual tables".
struct CommandEntry_s {
    char name[32]; // as it is typed, such as "-mod": at most 31 characters, then a NUL
    int required;  // number of arguments that must follow
    int optional;  // largest number of further arguments
    int present;   // 1 once the switch was found with all its required arguments
    int index;     // position of the switch in the argument vector
    int found;     // number of optional arguments taken
};

class CommandLine : public Allocator<0> {
public:
    CommandLine();
    virtual ~CommandLine();

    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    // Registers a switch; call it before init. Returns false when the table is full, and for a null name. A name is
    // cut to 31 characters. A negative count is 0. Registering a name twice makes two entries: a switch that is given
    // twice then fills both.
    bool addCommand(const char* name, int required, int optional);

    // Finds the registered switches among the arguments. args[0] is the program's name and is not examined.
    void init(int count, char** args);

    // Returns true when the switch was given with all its required arguments. Upper and lower case differ.
    bool cmdExists(const char* name);

    // Stores the switch and its arguments: *args points into the argument vector, at the switch itself, and *count
    // counts the switch as well. Returns false, 0 and null for a name that is not registered. Returns true even for a
    // switch that was not given, with whatever the vector holds: call cmdExists first.
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
