// Checks a bank for damage.
//
// A bank is sound when its headers, its lists and its counters agree. An overflow is not damage: the bank was only
// too small. checkMemory returns MEMERR_OVERFLOW for such a bank and does not check the fallback blocks; CheckBank
// compares the fallback blocks with the counters too.
#pragma once

#include "demo/gamememory.h"

enum e_BankState : int {
    BANK_SOUND = 0,
    // MEMERR_BLOCK to MEMERR_FREE_COUNT: results of checkMemory, which CheckBank passes on
    BANK_LINK_BROKEN = -20, // a node's prev link is not the node before it in the list
    BANK_BLOCK_LOST = -21,  // the lists have more or fewer blocks than allocCount - freeCount
    BANK_BYTES_LOST = -22,  // the sizes of the blocks do not add up to bytesInUse
    BANK_NOT_EMPTY = -23,   // blocks are in use although expectEmpty is true
    BANK_NOT_JOINED = -24   // all bytes are free, but in more than one free node
};

// Returns BANK_SOUND, or the first fault. Call it between two frames, while no other thread uses the bank: a linear
// bank must be empty then. expectEmpty: a fault when a heap bank has blocks in use.
int CheckBank(GameMemory& memory, int bank, bool expectEmpty);
