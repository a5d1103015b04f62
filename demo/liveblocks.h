// The blocks in use of all banks, counted by tag: the source name and line that alloc was given.
#pragma once

#include "demo/gamememory.h"

struct LivePlace {
    std::string file;
    unsigned int line;
    unsigned int blocks;
    unsigned int bytes; // headers included
};

// Returns the tags, those with the most bytes first.
std::vector<LivePlace> FindLiveBlocks(GameMemory& memory);
