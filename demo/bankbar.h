// A bank as a bar: which parts of the bank are in use, and how many bytes are in fallback blocks.
#pragma once

#include "demo/gamememory.h"

struct BankBar {
    std::string name;
    unsigned int size = 0;     // bytes of the bank
    unsigned int used = 0;     // bytes in use inside the bank, headers included
    unsigned int fallback = 0; // bytes in fallback blocks, headers included
    unsigned int blocks = 0;   // in use, with fallback blocks; 0 for a linear bank, which does not count its blocks
    std::vector<float> cells;  // the bank in equal parts, from its start: the share of each that is in use, 0 to 1
};

// Walks all lists of the bank's blocks, so no other thread may use the bank during the call.
BankBar ReadBankBar(const GameMemory& memory, int bank, size_t cells);
