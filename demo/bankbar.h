// A bank as a bar: where in it there is something, and how much didn't fit.
#pragma once

#include "demo/gamememory.h"

struct BankBar {
    std::string name;
    unsigned int size = 0;     // bytes of the bank
    unsigned int used = 0;     // bytes of it in use, headers included
    unsigned int fallback = 0; // bytes in blocks that it had no room for
    unsigned int blocks = 0;   // in use, fallback ones included; 0 in a linear bank, which doesn't tell them apart
    std::vector<float> cells;  // for equal parts of the bank, from its start: how much of each is in use, 0 to 1
};

// Between two calls of the bank's: it looks through the whole list of its blocks.
BankBar ReadBankBar(const GameMemory& memory, int bank, size_t cells);
