// Damage as the text of a fault.
#pragma once

#include "watch/snapshot.h"

namespace watch {

// Returns a damage as the line "fault: damage: bank "level", the header at 128: what is wrong", and a line for the
// damaged block and for each of its neighbours.
std::string faultOf(const Snapshot& snapshot, const Damage& damage);

} // namespace watch
