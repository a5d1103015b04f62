// Which bank locks of a game are held. A bank whose lock is held may be half changed.
#pragma once

#include "tools/core-memory/modules.h"
#include "watch/memoryreader.h"

#include <string>
#include <vector>

// Returns a sentence for each lock that is held, such as "the lock of bank 1 is held by thread 4711". Returns nothing
// when the locks are not found.
std::vector<std::string> heldLocks(const watch::MemoryReader& memory, const GameSymbols& symbols);
