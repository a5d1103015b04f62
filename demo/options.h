// What the player chose on the command line.
#pragma once

#include "core/commandline.h"

#include <string>

static const unsigned int sc_frames = 280; // as many as the scripts were recorded for

struct Options {
    bool help = false;
    bool details = false; // more to read
    unsigned int frames = sc_frames;
    unsigned int width = 72; // columns and lines of the battle's picture
    unsigned int height = 12;
    std::string locale; // a language's folder; empty for the game's own texts
    std::string folder; // with the game's files, and a slash behind it

    // A switch whose value is missing or no good; empty when all is well.
    std::string wrongSwitch;
    std::string wrongValue; // empty when it is missing
};

// commandLine may be an automatic object: then none of this needs memory of the memory manager's.
Options ReadOptions(CommandLine& commandLine, int argc, char** argv);

void ReportSwitches(const char* program);
void ReportWrongSwitch(const Options& options);
