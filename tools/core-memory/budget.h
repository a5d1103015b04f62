// The budgets of a game's memory: limits that a team's CI checks after each run.
//
//   # comment
//   level <= 4 MiB               the high-water mark of the bank "level"; B, KiB, MiB or GiB, without a unit bytes
//   level fallback <= 0          how many fallback blocks the bank has made
//   leaks <= 0                   how many blocks are in use at the end
//   leaks <= 2 from game/        the same, of source names that begin with "game/"
//
// A name with other words in it may stand in quotes: "leaks" <= 1 MiB is a bank.
#pragma once

#include "watch/snapshot.h"

#include <string>
#include <vector>

struct Budget {
    enum Kind { BYTES, FALLBACKS, LEAKS };

    Kind kind = BYTES;
    std::string name; // of the bank; for LEAKS the beginning of the source names, empty for all
    uint64_t most = 0;
    std::string text; // the line of the file
};

// Reads the text of a budget file. Returns false and stores a sentence in error that names the line.
bool readBudgets(const std::string& text, std::vector<Budget>* budgets, std::string* error);

// Returns a text for each budget that is exceeded, with the places that hold most: "budget: level <= 4 MiB: ...".
std::vector<std::string> exceededBudgets(const watch::Snapshot& snapshot, const std::vector<Budget>& budgets);
