// What core-memory run prints on the standard error stream.
#pragma once

#include "watch/snapshot.h"

#include <map>
#include <string>
#include <vector>

// The blocks that one stack has allocated at one place.
struct StackSum {
    uint64_t blocks = 0;
    uint64_t bytes = 0;                 // as requested
    std::vector<std::string> functions; // innermost first
};

struct RunResult {
    std::vector<std::string> faults; // each of several lines
    bool hasSnapshot = false;
    watch::Snapshot snapshot;
    std::map<std::string, std::vector<StackSum>> stacks; // by place; most bytes first
};

// Prints one fault.
void printFault(const std::string& fault);

// Prints the blocks in use, the banks, and how many faults there were. Damage of the snapshot was told as faults.
void printSummary(const RunResult& result);
