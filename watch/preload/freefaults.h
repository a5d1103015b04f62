// What can be said of a call of free without a record of each block: from the headers, the lists and the regions.
#pragma once

#include "watch/preload/managerview.h"

namespace watch {

// Tells of a block that belongs to another bank. Call it before the real free, which would accept the block. `caller` is
// the return address of free.
void examineFree(ManagerView& manager, int bank, const void* block, const void* caller);

// Tells that the block was freed before.
void tellDoubleFree(ManagerView& manager, int bank, const void* block, const void* caller);

// True for a buffer of libcore itself. Preferences gives one to free for each number that it reads; free refuses it, and
// nothing is wrong.
bool isLibraryBuffer(const void* address);

// Tells why the real free has returned MEMERR_BLOCK.
void explainRefusal(ManagerView& manager, int bank, const void* block, const void* caller);

} // namespace watch
