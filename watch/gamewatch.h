// The memory tools inside of a game: a snapshot, the blocks in use, and a check of all banks.
//
//     for (const std::string& fault : watch::verifyGameBanks()) {
//         fputs(fault.c_str(), stderr);                  // the damaged block and its neighbours
//     }
//     watch::printGameBlocks(stderr, 10);                // the ten places of the source that hold most
//     std::string error;
//     watch::writeGameSnapshot("level2.snapshot", "end of level 2", &error);
//
// A game that uses this header links the CMake target core::watch, or -lcore_watch before core's libraries. The calls
// look at the memory manager in g_MemoryPtr. They change nothing in it, and take no memory from a bank.
//
// The calls belong to the main thread, at a moment when no other thread uses the manager: they take no lock of a bank.
#pragma once

#include "watch/faulttext.h"
#include "watch/snapshot.h"
#include "watch/summary.h"

#include <stdio.h>

namespace watch {

// Returns the banks as they are now, and all damage. Without a manager there are no banks. cause says why, such as "end
// of level 2"; it may be empty.
Snapshot takeGameSnapshot(const std::string& cause);

// Writes a snapshot to a file, for core-memory report, diff and html. Returns false and stores a sentence in error when
// there is no manager or the file can't be written.
bool writeGameSnapshot(const std::string& path, const std::string& cause, std::string* error);

// Prints a line for each place of the source that holds blocks, most bytes first: bytes with headers, blocks, file and
// line. `most` is the number of lines; 0 prints all.
void printGameBlocks(FILE* out, size_t most);

// Checks the headers, lists and counters of all banks. Returns a text for each damage, see faultOf; none when all banks
// are sound. An overflow is no damage.
std::vector<std::string> verifyGameBanks();

} // namespace watch
