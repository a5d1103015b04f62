#include "demo/options.h"

#include "demo/table.h"
#include "demo/texts.h"

#include "core/platform.h"

#include <algorithm>
#include <numeric>
#include <set>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <string_view>
#include <vector>

DEMO_TEXT(sc_usage, "usage: %s [SWITCH]...\nA small game without sound that shows what its memory banks hold.\n\n");
DEMO_TEXT(sc_help, "lists these switches");
DEMO_TEXT(sc_framesToPlay, "how many frames are played");
DEMO_TEXT(sc_language, "the language: the name of a folder in locale, or en for the game's own");
DEMO_TEXT(sc_windowWidth, "width of the window, in pixels");
DEMO_TEXT(sc_windowHeight, "height of the window, in pixels");
DEMO_TEXT(sc_inFullScreen, "begins in full screen");
DEMO_TEXT(sc_inWindow, "begins in a window");
DEMO_TEXT(sc_data, "the folder with the game's files");
DEMO_TEXT(sc_more, "shows more: levels, hits and survivors");
DEMO_TEXT(sc_range, "%s, %u to %u");
DEMO_TEXT(sc_lacksValue, "%s needs a value: %s.\n");
DEMO_TEXT(sc_notInRange, "%s needs a number from %u to %u; \"%s\" is not one.\n");
DEMO_TEXT(sc_noSwitch, "\"%s\" is not a switch; the nearest is %s.\n");
DEMO_TEXT(sc_givenTwice, "%s is given twice.\n");
DEMO_TEXT(sc_tryHelp, "-help lists all switches.\n");

static const struct Switch {
    const char* name;
    const char* argument; // the name of its value in the help; empty when the switch takes no value
    const char* text;
    unsigned int low, high; // the range of a number; both 0 for other switches
} sc_switches[] = {
    {"-help", "", sc_help, 0, 0},
    {"-frames", "N", sc_framesToPlay, 1, sc_frames},
    {"-width", "N", sc_windowWidth, 640, 8192},
    {"-height", "N", sc_windowHeight, 480, 8192},
    {"-fullscreen", "", sc_inFullScreen, 0, 0},
    {"-window", "", sc_inWindow, 0, 0},
    {"-locale", "NAME", sc_language, 0, 0},
    {"-data", "FOLDER", sc_data, 0, 0},
    {"-logger", "", sc_more, 0, 0}, // core's CommandLine defines this switch
};

// Other names of -help that are common in other programs.
static const char* const sc_helpToo[] = {"--help", "-h"};

// Returns null when name is not a switch.
static const Switch* findSwitch(std::string_view name)
{
    const Switch* end = std::end(sc_switches);
    const Switch* known =
        std::find_if(std::begin(sc_switches), end, [&](const Switch& other) { return name == other.name; });
    return known != end ? known : nullptr;
}

// Returns the edit distance: how many letters must be added, removed or changed to turn left into right.
static size_t distanceBetween(std::string_view left, std::string_view right)
{
    std::vector<size_t> row(
        right.size() + 1); // row[j]: the distance from the first i letters of left to the first j letters of right
    std::iota(row.begin(), row.end(), size_t(0));
    for (size_t i = 0; i < left.size(); ++i) {
        size_t diagonal = row[0]++;
        for (size_t j = 0; j < right.size(); ++j) {
            const size_t changed = diagonal + (left[i] != right[j]);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

// Returns the switch that the player most likely meant: a switch that begins with the word, or else the switch with
// the smallest edit distance. The comparison ignores case, leading "-" and "+", and everything from "=" on.
static const char* nearestSwitch(std::string word)
{
    word.erase(0, word.find_first_not_of("-+"));
    word.resize(std::min(word.find('='), word.size()));
    std::transform(word.begin(), word.end(), word.begin(),
                   [](char letter) { return letter >= 'A' && letter <= 'Z' ? letter - 'A' + 'a' : letter; });
    const Switch* nearest = sc_switches;
    size_t least = SIZE_MAX;
    for (const Switch& known : sc_switches) {
        const std::string_view name = known.name + 1;
        const bool isBeginning = !word.empty() && name.substr(0, word.size()) == word;
        const size_t distance = isBeginning ? 0 : distanceBetween(word, name);
        if (distance < least) {
            least = distance;
            nearest = &known;
        }
    }
    return nearest->name;
}

// Returns the folder of the game's own files; in a bundle it is inside the resources.
static std::string defaultFolder()
{
    const char* gamePath = GetAppGamePath();
    return gamePath ? gamePath : "";
}

// Returns the absolute path of folder, with a slash at its end.
static std::string absolute(const std::string& folder)
{
    char* real = realpath(folder.empty() ? "." : folder.c_str(), nullptr);
    const std::string path = real ? real : folder; // a missing folder is reported when a file is opened
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
    if (options->wrongSwitch.empty()) { // only the first fault is reported
        options->wrongSwitch = name;
        options->wrongValue = value;
    }
}

static bool isNumberBetween(const std::string& text, unsigned int low, unsigned int high)
{
    const bool isNumber =
        !text.empty() && text.size() <= 9 && text.find_first_not_of("0123456789") == std::string::npos;
    return isNumber && std::stoul(text) >= low && std::stoul(text) <= high;
}

static bool isGood(const Switch& known, const std::string& value)
{
    return known.high == 0 ? !value.empty() : isNumberBetween(value, known.low, known.high);
}

// Leaves value alone when the switch was not given or its value is wrong.
static void readValue(CommandLine& commandLine, const char* name, std::string* value, Options* options)
{
    if (!commandLine.cmdExists(name)) {
        return;
    }
    const char* text = argumentOf(commandLine, name);
    if (isGood(*findSwitch(name), text)) {
        *value = text;
    } else {
        refuse(options, name, text);
    }
}

// CommandLine ignores a switch whose value is missing. The demo reports it as a fault.
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

// CommandLine ignores unknown words and repeated switches. The demo reports both as faults.
static void findStrangeWord(int argc, char** argv, Options* options)
{
    std::set<std::string_view> given;
    for (int position = 1; position < argc; ++position) {
        const std::string_view word = argv[position];
        const Switch* known = findSwitch(word);
        // The Mac's Finder adds a word with the number of the process to the command line.
        const bool isFinders = word.substr(0, 5) == "-psn_";
        if ((!known && !isFinders) || !given.insert(word).second) {
            options->strangeWord = argv[position];
            return;
        }
        const bool takesValue = known && known->argument[0] != '\0';
        const char* next = position + 1 < argc ? argv[position + 1] : "-";
        position += takesValue && next[0] != '-' && next[0] != '+';
    }
}

Options ReadOptions(CommandLine& commandLine, int argc, char** argv)
{
    for (const Switch& known : sc_switches) {
        if (strcmp(known.name, "-logger") != 0) {
            commandLine.addCommand(known.name, known.argument[0] != '\0', 0);
        }
    }
    for (const char* name : sc_helpToo) {
        commandLine.addCommand(name, 0, 0);
    }
    commandLine.init(argc, argv);

    Options options;
    options.help =
        commandLine.cmdExists("-help") || std::any_of(std::begin(sc_helpToo), std::end(sc_helpToo),
                                                      [&](const char* name) { return commandLine.cmdExists(name); });
    options.details = commandLine.cmdExists("-logger");
    options.folder = defaultFolder();
    findMissingValues(commandLine, argc, argv, &options);
    findStrangeWord(argc, argv, &options);
    std::string frames = std::to_string(sc_frames);
    readValue(commandLine, "-frames", &frames, &options);
    options.frames = static_cast<unsigned int>(std::stoul(frames));
    readValue(commandLine, "-width", &options.typed[SETTING_WIDTH], &options);
    readValue(commandLine, "-height", &options.typed[SETTING_HEIGHT], &options);
    if (commandLine.cmdExists("-fullscreen") || commandLine.cmdExists("-window")) {
        options.typed[SETTING_FULL_SCREEN] = commandLine.cmdExists("-fullscreen") ? "1" : "0";
    }
    readValue(commandLine, "-locale", &options.typed[SETTING_LOCALE], &options);
    readValue(commandLine, "-data", &options.folder, &options);
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
    return isGood(*findSwitch(SwitchOf(setting)), value);
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

static void reportWrongValue(const Switch& wrong, const std::string& value)
{
    if (value.empty()) {
        Complain(sc_lacksValue, wrong.name, wrong.argument);
    } else {
        Complain(sc_notInRange, wrong.name, wrong.low, wrong.high, value.c_str());
    }
}

void ReportWrongSwitch(const Options& options)
{
    if (!options.wrongSwitch.empty()) {
        reportWrongValue(*findSwitch(options.wrongSwitch), options.wrongValue);
    } else if (findSwitch(options.strangeWord)) {
        Complain(sc_givenTwice, options.strangeWord);
    } else {
        Complain(sc_noSwitch, options.strangeWord, nearestSwitch(options.strangeWord));
    }
    Complain(sc_tryHelp);
}
