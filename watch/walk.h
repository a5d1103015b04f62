// Takes a snapshot of a memory manager, from memory that may be damaged or half changed.
//
// 1. Each byte comes from a MemoryReader, so memory that does not exist ends in a message.
// 2. Each number that was read is compared with the bank's bounds before it is used.
// 3. No list is followed for ever, also when its links form a circle.
//
//     watch::OwnMemory own;
//     watch::CachedMemory memory(own);
//     watch::Snapshot snapshot;
//     std::string error;
//     const watch::LinkTables tables = watch::findLinkTables(memory, watch::ownWritableMemory());
//     if (!watch::takeSnapshot(memory, tables, watch::addressOf(g_MemoryPtr), &snapshot, &error)) { ... }
#pragma once

#include "watch/linktables.h"
#include "watch/memoryreader.h"
#include "watch/snapshot.h"

namespace watch {

// Walks the memory manager at the address `manager`, and adds its banks and all damage to snapshot. Returns false and
// stores a sentence in error when there is no manager at that address.
bool takeSnapshot(const MemoryReader& memory, const LinkTables& tables, uint64_t manager, Snapshot* snapshot,
                  std::string* error);

// Adds the banks without their blocks, from their records alone. The game may run meanwhile: each number is right, but
// two numbers may be of different moments.
bool takeCounters(const MemoryReader& memory, uint64_t manager, Snapshot* snapshot, std::string* error);

// Walks one bank only, for a check of that bank. `index` is -1 or 0 to 31.
bool takeBank(const MemoryReader& memory, const LinkTables& tables, uint64_t manager, int index, Snapshot* snapshot,
              std::string* error);

} // namespace watch
