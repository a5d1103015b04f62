// Finds the places in files at which the library has complained about the bytes that a game has read.
#pragma once

#include "tools/core-config/gamereads.h"
#include "tools/shared/findings.h"

#include <set>
#include <string>
#include <vector>

namespace config {

class Complaints {
public:
    // Returns the findings for the calls that were not in reads at the last call, each place once.
    std::vector<Finding> next(const GameReads& reads);

private:
    void _addNew(const ReadText& text, size_t* done, std::vector<Finding>* findings);
    void _add(const Finding& finding, std::vector<Finding>* findings);

    std::vector<size_t> m_done; // calls of each text
    size_t m_preferencesDone = 0;
    std::set<std::string> m_told;
};

} // namespace config
