// Writing down in a schema what a game has asked its files for.
#pragma once

#include "tools/core-config/gamereads.h"
#include "tools/core-config/schema.h"

namespace config {

struct Learnt {
    size_t files = 0;    // that the game has read
    size_t names = 0;    // that it has asked for
    size_t newNames = 0; // that the schema did not have
};

// Adds what a game has read to a schema. The schema's entries stay. Two facts of an entry can change: its type, if the game
// has asked for another type; and the default of an entry of a preferences file.
Learnt learn(const GameReads& reads, Schema* schema);

} // namespace config
