// Telling the tool when a game ends: by its manager's end, by exit, _exit, abort, a crash or a signal.
//
// At the moment of such a message the memory of the game is whole, and this process waits while the tool reads it.
#pragma once

#include "core/memorymgr.h"

namespace watch {

// From here on the end of the process is told. Does nothing in a process without a tool.
void managerBegins(MemoryMgr* manager);

// The size in the game's code of the bank with this index, for the tool.
void bankIsDefined(int bank, unsigned int size);

// Tells the end of the manager, once; a manager that is not the one that began last is ignored.
void managerEnds(MemoryMgr* manager, const char* cause);

// Tells the end of the process, unless the manager's end was told before or the process is a forked child.
void processEnds(const char* cause);

} // namespace watch
