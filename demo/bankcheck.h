// Whether a bank is sound.
//
// A bank checks out when its headers, its lists and its counters agree with each other. To have overflowed is no
// damage: such a bank was too small. checkMemory stops there, though, so its fallback blocks are held against the
// counters here.
#pragma once

#include "demo/gamememory.h"

enum e_BankState : int {
    BANK_SOUND = 0,
    // MEMERR_BLOCK to MEMERR_FREE_COUNT as checkMemory returns them
    BANK_LINK_BROKEN = -20, // a list doesn't run back as it runs forth
    BANK_BLOCK_LOST = -21,  // there are more or fewer blocks than were made and not freed
    BANK_BYTES_LOST = -22,  // the blocks don't add up to the bytes in use
    BANK_NOT_EMPTY = -23,   // something is left where nothing should be
    BANK_NOT_JOINED = -24   // all is free, but in pieces
};

// For a quiet moment, between two frames.
int CheckBank(GameMemory& memory, int bank, bool expectEmpty);
