// Who holds memory: the live blocks of all banks, by the file and line that asked for them.
#pragma once

#include "demo/gamememory.h"

struct LivePlace {
    std::string file;
    unsigned int line;
    unsigned int blocks;
    unsigned int bytes; // headers included
};

// The place that holds most comes first.
std::vector<LivePlace> FindLiveBlocks(GameMemory& memory);
