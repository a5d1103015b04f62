// The operations of a bank with a record of each block in use: for --check, --stacks and --quarantine.
//
// With --check:
//
//   +--------+-------------------+-------+--------+----------------------------+
//   | header | what was asked    | spare | header | free                       |
//   +--------+-------------------+-------+--------+----------------------------+
//   compared  the game's bytes    0xb5    compared  0xdf in all bytes
//
// Each bank has a lock in recordedbank.cpp. An operation holds the lock while the real operation runs. A location's
// callback may use another bank, so a thread may hold several locks; it takes them in the same order as the manager's
// own.
#pragma once

#include "core/memorymgr.h"

namespace watch {

// The real functions that the operations call.
typedef void* RealAlloc(MemoryMgr* manager, int bank, unsigned long size, const char* file, unsigned int line);
typedef int RealFree(MemoryMgr* manager, int bank, void* block);

struct Call {
    MemoryMgr* manager;
    int bank;                    // -1 to 31
    const void* caller;          // the return address of the game's call
    const void* frame = nullptr; // alloc: the frame address of the hook; see stacks.h
};

extern MemoryMgr* g_recordedManager; // null: no records

// True when this manager's blocks have records: the options ask for them, and it is the last manager that began.
inline bool hasRecords(const MemoryMgr* manager)
{
    return manager == g_recordedManager;
}

// Call it when a manager is constructed. From now on, only the blocks of this manager have records. Forgets the
// blocks of other managers. Does nothing if the options need no records.
void recordManager(MemoryMgr* manager);

// Do the same as MemoryMgr's alloc and free, and keep the records. recordGetSize notes a call of getSize.
void* recordedAlloc(const Call& call, unsigned long size, const char* file, unsigned int line, RealAlloc* real);
int recordedFree(const Call& call, void* block, RealFree* real);
void recordGetSize(const Call& call, void* block, unsigned int size); // after the game has asked

// Call regionsEnd before the manager gives the regions of its banks back: only fallback blocks stay in use. Call
// regionsBegin when the banks have new regions.
void regionsEnd(MemoryMgr* manager);
void regionsBegin(MemoryMgr* manager);

// Checks all blocks in use and all free bytes of all banks, and reports the faults. Frees the blocks in quarantine.
void checkRecords(MemoryMgr* manager, RealFree* real);

class Channel;

// Sends a line for each block in use; then the stacks:
//
//   block 2 64 104 name 12 41 7 1500      bank, offset of the node in the region, bytes, source name and line of the
//                                         tag, stack (0: none), milliseconds from the first memory manager on
//   stack 7 {code 0x55d0c04444} {code 0x55d0c05555}
//
// A block without a header has its own offset, and "text" and the address of its source name. A fallback block has the
// offset -1.
void sendBlocks(MemoryMgr* manager, Channel& channel);

} // namespace watch
