// What the player can choose, and is asked for only once.
//
//     Settings settings = ChooseSettings(options);
//     Screen screen(settings.number(SETTING_WIDTH), settings.number(SETTING_HEIGHT), ...);
//     KeepSettings(settings);                           // at the end of a good run: so the next one begins
//
// A value comes from the first of these that has a good one: the command line, the preferences that an earlier run has
// left, demo.ini among the game's files, and the game itself.
#pragma once

#include "demo/options.h"

#include <vector>

enum e_Source : int { SOURCE_COMMAND_LINE, SOURCE_PREFERENCES, SOURCE_INI, SOURCE_GAME };

struct Setting {
    std::string value;
    e_Source source;
};

struct Settings {
    Setting settings[SETTING_COUNT];

    struct Refused {
        e_Setting setting;
        Setting what;
    };
    std::vector<Refused> refused; // values that were no good, and passed over

    int number(e_Setting setting) const { return std::stoi(settings[setting].value); }
    const std::string& text(e_Setting setting) const { return settings[setting].value; }

    // In the game it is as good as on the command line.
    void choose(e_Setting setting, const std::string& value) { settings[setting] = {value, SOURCE_COMMAND_LINE}; }
};

// These two want the memory manager. What was typed is taken as it is.
Settings ChooseSettings(const Options& options);
void KeepSettings(const Settings& settings);

// How many good runs there have been, this one not counted, and that there was one more.
unsigned int RunsBefore();
void CountRun();

void ReportSettings(const Settings& settings);
