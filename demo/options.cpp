#include "demo/options.h"

#include "demo/table.h"
#include "demo/texts.h"

#include "core/platform.h"

#include <algorithm>
#include <limits.h>
#include <stdlib.h>
#include <string.h>

DEMO_TEXT(sc_usage, "usage: %s [SWITCH]...\nA small game without sound, played in banks of memory.\n\n");
DEMO_TEXT(sc_help, "lists these switches");
DEMO_TEXT(sc_framesToPlay, "how many frames are played");
DEMO_TEXT(sc_language, "the language, by the name of its folder in locale");
DEMO_TEXT(sc_columns, "columns of the battle's picture");
DEMO_TEXT(sc_lines, "lines of the battle's picture");
DEMO_TEXT(sc_data, "the folder with the game's files");
DEMO_TEXT(sc_more, "shows more: levels, hits and survivors");
DEMO_TEXT(sc_range, "%s, %u to %u");
DEMO_TEXT(sc_lacksValue, "%s needs a value: %s.\n");
DEMO_TEXT(sc_notInRange, "%s needs a number from %u to %u; \"%s\" is none.\n");
DEMO_TEXT(sc_tryHelp, "-help lists all switches.\n");

static const struct Switch {
    const char* name;
    const char* argument; // empty when there is none
    const char* text;
    unsigned int low, high; // 0 when its value is no number
} sc_switches[] = {
    {"-help", "", sc_help, 0, 0},           {"-frames", "N", sc_framesToPlay, 1, sc_frames},
    {"-width", "N", sc_columns, 20, 200},   {"-height", "N", sc_lines, 4, 100},
    {"-locale", "NAME", sc_language, 0, 0}, {"-data", "FOLDER", sc_data, 0, 0},
    {"-logger", "", sc_more, 0, 0}, // the library adds this one
};

static const Switch& findSwitch(const std::string& name)
{
    return *std::find_if(std::begin(sc_switches), std::end(sc_switches),
                         [&](const Switch& known) { return name == known.name; });
}

// The game's own files; in a bundle they are among the resources.
static std::string defaultFolder()
{
    const char* gamePath = GetAppGamePath();
    return gamePath ? gamePath : "";
}

// With a slash behind it.
static std::string absolute(const std::string& folder)
{
    char* real = realpath(folder.empty() ? "." : folder.c_str(), nullptr);
    const std::string path = real ? real : folder; // one that isn't there shows when a file is opened
    free(real);
    return path + "/";
}

static const char* argumentOf(CommandLine& commandLine, const char* name)
{
    int count = 0;
    char** args = nullptr;
    commandLine.getArgs(name, &count, &args);
    return args[1];
}

static void refuse(Options* options, const char* name, const char* value)
{
    if (options->wrongSwitch.empty()) { // the first one is told
        options->wrongSwitch = name;
        options->wrongValue = value;
    }
}

static void readText(CommandLine& commandLine, const char* name, std::string* text, Options* options)
{
    if (!commandLine.cmdExists(name)) {
        return;
    }
    *text = argumentOf(commandLine, name);
    if (text->empty()) {
        refuse(options, name, "");
    }
}

static void readNumber(CommandLine& commandLine, const char* name, unsigned int* number, Options* options)
{
    if (!commandLine.cmdExists(name)) {
        return;
    }
    const Switch& known = findSwitch(name);
    const char* value = argumentOf(commandLine, name);
    char* end = nullptr;
    const unsigned long read = strtoul(value, &end, 10);
    if (value[0] < '0' || value[0] > '9' || *end != '\0' || read < known.low || read > known.high) {
        refuse(options, name, value);
        return;
    }
    *number = static_cast<unsigned int>(read);
}

// A switch without its value is none for the library, and a mistake here.
static void findMissingValues(CommandLine& commandLine, int argc, char** argv, Options* options)
{
    for (const Switch& known : sc_switches) {
        const bool isTyped = std::any_of(argv + (argc > 0), argv + argc,
                                         [&](const char* word) { return strcmp(word, known.name) == 0; });
        if (isTyped && !commandLine.cmdExists(known.name)) {
            refuse(options, known.name, "");
        }
    }
}

Options ReadOptions(CommandLine& commandLine, int argc, char** argv)
{
    for (const Switch& known : sc_switches) {
        if (strcmp(known.name, "-logger") != 0) {
            commandLine.addCommand(known.name, known.argument[0] != '\0', 0);
        }
    }
    commandLine.init(argc, argv);

    Options options;
    options.help = commandLine.cmdExists("-help");
    options.details = commandLine.cmdExists("-logger");
    options.folder = defaultFolder();
    findMissingValues(commandLine, argc, argv, &options);
    readNumber(commandLine, "-frames", &options.frames, &options);
    readNumber(commandLine, "-width", &options.width, &options);
    readNumber(commandLine, "-height", &options.height, &options);
    readText(commandLine, "-locale", &options.locale, &options);
    readText(commandLine, "-data", &options.folder, &options);
    options.folder = absolute(options.folder);
    return options;
}

void ReportSwitches(const char* program)
{
    Say(sc_usage, program);
    Table table("ll");
    for (const Switch& known : sc_switches) {
        const std::string typed = std::string(known.name) + " " + known.argument;
        table.add(
            {typed, known.high == 0 ? Text(known.text) : Compose(sc_range, Text(known.text), known.low, known.high)});
    }
    table.print();
}

void ReportWrongSwitch(const Options& options)
{
    const Switch& wrong = findSwitch(options.wrongSwitch);
    if (options.wrongValue.empty()) {
        Complain(sc_lacksValue, wrong.name, wrong.argument);
    } else {
        Complain(sc_notInRange, wrong.name, wrong.low, wrong.high, options.wrongValue.c_str());
    }
    Complain(sc_tryHelp);
}
