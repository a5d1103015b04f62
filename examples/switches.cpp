// What you learn: which switches the game was started with, and their arguments.
//
//     switches -window 800 600 -mod winter towers -fulscreen
//
// Without arguments this program shows that line. Its last word is a typing mistake. CommandLine ignores the words that
// belong to no registered switch, and logs no message. So the game itself tells the player about such a word.
//
// A switch with required arguments does not count the last words of the command line as optional ones: with one
// required argument it would not see "towers" here. So a list is registered with optional arguments only.
#include "core/commandline.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

struct Switch {
    const char* name;
    int required; // arguments
    int optional;
};

static const Switch sc_switches[] = {
    {"-window", 2, 0}, // two arguments
    {"-mod", 0, 8},    // a list of up to eight
    {"-fullscreen", 0, 0},
    {"-logger", 0, 0}, // which is always registered
};

static char s_words[][12] = {"switches", "-window", "800", "600", "-mod", "winter", "towers", "-fulscreen"};

static bool isSwitch(const char* word)
{
    for (const Switch& known : sc_switches) {
        if (strcmp(known.name, word) == 0) {
            return true;
        }
    }
    return false;
}

int main(int argc, char** argv)
{
    char* sample[] = {s_words[0], s_words[1], s_words[2], s_words[3], s_words[4], s_words[5], s_words[6], s_words[7]};
    if (argc < 2) {
        argc = 8;
        argv = sample;
    }

    CommandLine commandLine; // needs no memory manager as a variable
    for (const Switch& known : sc_switches) {
        commandLine.addCommand(known.name, known.required, known.optional);
    }
    commandLine.init(argc, argv); // after all addCommand

    int count;
    char** args;
    // Ask cmdExists first: getArgs returns true for every switch that is registered, also when it was not given.
    if (commandLine.cmdExists("-window") && commandLine.getArgs("-window", &count, &args)) {
        printf("a window of %d x %d\n", atoi(args[1]), atoi(args[2])); // args[0] is the switch itself
    }
    if (commandLine.cmdExists("-mod") && commandLine.getArgs("-mod", &count, &args)) {
        for (int i = 1; i < count; ++i) {
            printf("mod %s\n", args[i]);
        }
    }
    for (int i = 1; i < argc; ++i) {
        if (argv[i][0] == '-' && !isSwitch(argv[i])) {
            printf("there is no switch %s\n", argv[i]);
        }
    }
    printf("full screen: %s\n", commandLine.cmdExists("-fullscreen") ? "yes" : "no");
    return 0;
}
