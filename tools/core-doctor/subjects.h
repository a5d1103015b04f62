// The subjects of core-doctor. Each looks at one subject, adds what it sees to the report, and changes nothing.
#pragma once

#include "tools/core-doctor/game.h"
#include "tools/core-doctor/report.h"

// Versions, how the libraries were built, and where the dynamic linker finds them. Returns the path of libcore; empty
// if there is none. game.path may be empty.
std::string lookAtLibraries(const Game& game, Report* report);

void lookAtAppKit(const std::string& libcore, Report* report);

void lookAtHost(Report* report);
void lookAtDisplay(Report* report);
void lookAtFolders(const Game& game, Report* report);
void lookAtStores(const Game& game, Report* report); // preferences and bank sizes
