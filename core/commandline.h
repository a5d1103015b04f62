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
// - A word that begins with "-" or "+" is never an argument of a switch. So a negative number is never an argument.
// - Words that belong to no registered switch are ignored.
// - The switch "-logger", without arguments, is always registered. It is entry 0 of the table.
// - All CommandLine objects share one table of 32 entries. The first addCommand of each object overwrites entry 1,
//   its second overwrites entry 2, and so on. Entries that were not overwritten remain registered, and a switch
//   that was found in such an entry still counts as given.
// - The argument vector belongs to the caller and must outlive the command line.
// - Call all of this on the main thread.
#pragma once

#include "core/allocator.h"

#pragma GCC visibility push(default)

// Frozen, and CommandLine's fields as well: docs/architecture.md, "Record layouts and virtual tables".
struct CommandEntry_s {
    char name[32]; // as it is typed, such as "-mod": at most 31 characters, then a NUL
    int required;  // number of arguments that must follow the switch
    int optional;  // largest number of further arguments
    int present;   // 1 if the switch was given with all its required arguments; otherwise 0
    int index;     // position of the switch in the argument vector
    int found;     // number of optional arguments that were given
};

class CommandLine : public Allocator<0> {
public:
    CommandLine();
    virtual ~CommandLine();

    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    // Registers a switch. Call it before init. required and optional are numbers of arguments; a negative number
    // counts as 0. A name is truncated to 31 characters. Returns false if the table is full, and for a null name.
    //
    // A name that is registered twice has two entries. If the switch is given twice, the first entry holds its first
    // occurrence and the second entry its second. cmdExists and getArgs use the first entry only.
    bool addCommand(const char* name, int required, int optional);

    // Finds the registered switches among the arguments. args[0] is the program's name and is not examined.
    void init(int count, char** args);

    // Returns true if the switch was given with all its required arguments. Upper and lower case differ.
    bool cmdExists(const char* name);

    // Stores the address of the switch in the argument vector in *args, and in *count the number of its arguments
    // plus 1 for the switch itself. Returns true. For a name that is not registered, stores null and 0, and returns
    // false.
    //
    // Call cmdExists first. For a registered switch that was not given, the result is true as well, and *args
    // points to other words of the argument vector.
    bool getArgs(const char* name, int* count, char*** args);

private:
    void _parseCmdLine();
    int _processCmd(CommandEntry_s* entry, int position);

    char** m_args;
    int m_argCount;
    CommandEntry_s* m_commands;
    int m_commandCount; // entries of this object: 1 for "-logger", plus its calls of addCommand
};

#pragma GCC visibility pop
