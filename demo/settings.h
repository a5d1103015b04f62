// The settings that the player can choose. The game stores a choice and uses it again in the next run.
//
//     Settings settings = ChooseSettings(options);
//     Screen screen(settings.number(SETTING_WIDTH), settings.number(SETTING_HEIGHT), ...);
//     KeepSettings(settings);                           // at the end of a good run, for the next run
//
// A setting has up to four sources. The first source with a valid value decides:
//
//  | Source               | Value                                        |
//  |----------------------|----------------------------------------------|
//  | SOURCE_COMMAND_LINE  | a switch of this run                         |
//  | SOURCE_PREFERENCES   | the store, which an earlier run has written  |
//  | SOURCE_INI           | demo.ini, one of the game's files            |
//  | SOURCE_GAME          | a constant in settings.cpp; always valid     |
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
    std::vector<Refused> refused; // values that are not valid; the next source was used

    int number(e_Setting setting) const { return std::stoi(settings[setting].value); }
    const std::string& text(e_Setting setting) const { return settings[setting].value; }

    // A choice during the game has the same rank as one on the command line.
    void choose(e_Setting setting, const std::string& value) { settings[setting] = {value, SOURCE_COMMAND_LINE}; }
};

// Both need a memory manager. ChooseSettings does not check the values of the command line; ReadOptions has done so.
Settings ChooseSettings(const Options& options);
void KeepSettings(const Settings& settings);

// RunsBefore returns the number of good runs before this one. CountRun adds one.
unsigned int RunsBefore();
void CountRun();

void ReportSettings(const Settings& settings);
