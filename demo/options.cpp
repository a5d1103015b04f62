#include "demo/options.h"

#include "demo/table.h"
#include "demo/texts.h"

#include "core/platform.h"

#include <algorithm>
#include <stdlib.h>
#include <string.h>
#include <string_view>

DEMO_TEXT(sc_usage, "usage: %s [SWITCH]...\nA small game without sound, played in banks of memory.\n\n");
DEMO_TEXT(sc_help, "lists these switches");
DEMO_TEXT(sc_framesToPlay, "how many frames are played");
DEMO_TEXT(sc_language, "the language, by the name of its folder in locale; en is the game's own");
DEMO_TEXT(sc_windowWidth, "width of the window, in pixels");
DEMO_TEXT(sc_windowHeight, "height of the window, in pixels");
DEMO_TEXT(sc_inFullScreen, "begins in full screen");
DEMO_TEXT(sc_inWindow, "begins in a window");
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
    {"-help", "", sc_help, 0, 0},
    {"-frames", "N", sc_framesToPlay, 1, sc_frames},
    {"-width", "N", sc_windowWidth, 320, 8192},
    {"-height", "N", sc_windowHeight, 200, 8192},
    {"-fullscreen", "", sc_inFullScreen, 0, 0},
    {"-window", "", sc_inWindow, 0, 0},
    {"-locale", "NAME", sc_language, 0, 0},
    {"-data", "FOLDER", sc_data, 0, 0},
    {"-logger", "", sc_more, 0, 0}, // the library adds this one
};

static const Switch& findSwitch(std::string_view name)
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

static bool isNumberBetween(const std::string& text, unsigned int low, unsigned int high)
{
    const bool isNumber =
        !text.empty() && text.size() <= 9 && text.find_first_not_of("0123456789") == std::string::npos;
    return isNumber && std::stoul(text) >= low && std::stoul(text) <= high;
}

static void readNumber(CommandLine& commandLine, const char* name, std::string* number, Options* options)
{
    if (!commandLine.cmdExists(name)) {
        return;
    }
    const Switch& known = findSwitch(name);
    const char* value = argumentOf(commandLine, name);
    if (isNumberBetween(value, known.low, known.high)) {
        *number = value;
    } else {
        refuse(options, name, value);
    }
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
    std::string frames = std::to_string(sc_frames);
    readNumber(commandLine, "-frames", &frames, &options);
    options.frames = static_cast<unsigned int>(std::stoul(frames));
    readNumber(commandLine, "-width", &options.typed[SETTING_WIDTH], &options);
    readNumber(commandLine, "-height", &options.typed[SETTING_HEIGHT], &options);
    if (commandLine.cmdExists("-fullscreen") || commandLine.cmdExists("-window")) {
        options.typed[SETTING_FULL_SCREEN] = commandLine.cmdExists("-fullscreen") ? "1" : "0";
    }
    readText(commandLine, "-locale", &options.typed[SETTING_LOCALE], &options);
    readText(commandLine, "-data", &options.folder, &options);
    options.folder = absolute(options.folder);
    return options;
}

const char* SwitchOf(e_Setting setting)
{
    static const char* const s_names[SETTING_COUNT] = {"-width", "-height", "-fullscreen", "-locale"};
    return s_names[setting];
}

bool IsGoodFor(e_Setting setting, const std::string& value)
{
    if (setting == SETTING_FULL_SCREEN) {
        return value == "0" || value == "1";
    }
    const Switch& known = findSwitch(SwitchOf(setting));
    return known.high == 0 ? !value.empty() : isNumberBetween(value, known.low, known.high);
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
