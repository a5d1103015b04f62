// What the player chose on the command line.
#pragma once

#include "core/commandline.h"

#include <string>

static const unsigned int sc_frames = 280; // as many as the scripts were recorded for

// What the game remembers, see settings.h.
enum e_Setting : int { SETTING_WIDTH, SETTING_HEIGHT, SETTING_FULL_SCREEN, SETTING_LOCALE, SETTING_COUNT };

struct Options {
    bool help = false;
    bool details = false; // more to read
    unsigned int frames = sc_frames;
    std::string folder;               // with the game's files, and a slash behind it
    std::string typed[SETTING_COUNT]; // empty where nothing was

    // A switch whose value is missing or no good; empty when all is well.
    std::string wrongSwitch;
    std::string wrongValue; // empty when it is missing

    // The first word, in argv, that is no switch and no switch's value, or a switch that is given again; null when there
    // is none.
    const char* strangeWord = nullptr;

    bool areGood() const { return wrongSwitch.empty() && !strangeWord; }
};

// commandLine may be an automatic object: then none of this needs memory of the memory manager's.
Options ReadOptions(CommandLine& commandLine, int argc, char** argv);

// Whether value is a number that the switch of this setting takes; of one that takes a text, any text but none.
bool IsGoodFor(e_Setting setting, const std::string& value);
const char* SwitchOf(e_Setting setting);

void ReportSwitches(const char* program);
void ReportWrongSwitch(const Options& options); // when they are not good
