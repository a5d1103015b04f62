// The findings in a strings file.
#pragma once

#include "tools/core-strings/game.h"
#include "tools/shared/findings.h"

#include <string>
#include <vector>

struct CheckRules {
    bool findsUnchanged = false; // a translation that equals its key is a finding
};

// Returns what makes an entry unreadable, changed or unfindable for a game, and what a translation has not in common
// with its key. name is the file's name in the findings.
std::vector<Finding> checkStrings(const std::string& name, const std::string& bytes, const CheckRules& rules);

// Returns the entries that one of two files has and the other one lacks. Both files are as readAsGame returned them.
std::vector<Finding> compareLanguages(const std::string& name, const GamesView& file,
                                      const std::string& referenceName, const GamesView& reference);

// Returns the findings with which a file can't be rewritten, because an entry or a part of a line would get lost.
std::vector<Finding> findUnreadable(const std::string& name, const std::string& bytes);
