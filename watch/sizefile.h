// Reading the bank-size file as the memory manager reads it, with a remark on each line.
#pragma once

#include "watch/snapshot.h"

namespace watch {

struct SizeLine {
    uint32_t number; // from 1
    std::string name;
    uint32_t size;
    bool isRead;        // the manager reads a size from this line; else size is 0
    bool isWrong;       // the line is not of the form that the manager writes
    std::string remark; // what the manager does with the line; empty: it uses the size
};

// Returns the lines up to the one that ends the reading. With a snapshot, banks that the game does not have are told.
std::vector<SizeLine> readSizeFile(const std::string& text, const Snapshot* snapshot);

} // namespace watch
