// The hooks of MemoryMgr.
#pragma once

#include "core/memorymgr.h"

namespace watch {

// Checks all that the records of the blocks allow to check, and tells the faults. Does nothing without records.
void checkAllBanks(MemoryMgr* manager);

class Channel;

// Sends what the records of the blocks have for the snapshot. Does nothing without records.
void sendRecords(MemoryMgr* manager, Channel& channel);

} // namespace watch
