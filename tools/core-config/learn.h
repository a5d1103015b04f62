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

// Adds what a game has read to a schema. What the schema says about a name stays, but for its type and its default, if the
// game has asked for another one.
Learnt learn(const GameReads& reads, Schema* schema);

} // namespace config
