// The switches of the command line.
#pragma once

#include "core/commandline.h"

#include <string>

static const unsigned int sc_frames = 280; // the length of the recorded session lua-game

// The settings that the game stores; see settings.h.
enum e_Setting : int { SETTING_WIDTH, SETTING_HEIGHT, SETTING_FULL_SCREEN, SETTING_LOCALE, SETTING_COUNT };

struct Options {
    bool help = false;
    bool details = false; // print more
    unsigned int frames = sc_frames;
    std::string folder;               // with the game's files; an absolute path that ends in a slash
    std::string typed[SETTING_COUNT]; // the value for each setting; empty when its switch was not given

    // The first switch whose value is missing or wrong; empty when there is none.
    std::string wrongSwitch;
    std::string wrongValue; // empty when the value is missing

    // Points to the first word of argv that is neither a switch nor the value of a switch, or that repeats a switch.
    // Null when there is no such word.
    const char* strangeWord = nullptr;

    bool areGood() const { return wrongSwitch.empty() && !strangeWord; }
};

// Needs no memory manager when commandLine is an automatic object.
Options ReadOptions(CommandLine& commandLine, int argc, char** argv);

// Returns true when value is valid for this setting: a number in the range of its switch, or a text that is not
// empty.
bool IsGoodFor(e_Setting setting, const std::string& value);
const char* SwitchOf(e_Setting setting);

void ReportSwitches(const char* program);
void ReportWrongSwitch(const Options& options); // call it only when options.areGood() is false
