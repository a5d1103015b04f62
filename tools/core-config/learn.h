// Adds the names and types that a game has asked its files for to a schema.
#pragma once

#include "tools/core-config/gamereads.h"
#include "tools/core-config/schema.h"

namespace config {

struct Learnt {
    size_t files = 0;    // that the game has read
    size_t names = 0;    // that it has asked for
    size_t newNames = 0; // that the schema did not have
};

// Adds what a game has read to a schema. The schema's entries stay. These facts of an entry can change:
//
//   type                 if the game has asked for another type than word or text
//   number of values     becomes wider
//   range                if the entry had none
//   default              if the entry had none; in a preferences file, the game's default replaces it
//   values seen          are added
//
// New names come after the schema's own, those that a line has in the order of the lines, and then the others in the
// order in which the game asks for them.
Learnt learn(const GameReads& reads, Schema* schema);

} // namespace config
