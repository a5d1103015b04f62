// Sums over a snapshot: what each place of the game's source holds, and how full each bank is.
#pragma once

#include "watch/snapshot.h"

#include <stddef.h>

namespace watch {

static const int sc_allBanks = -2;

// What one place of the source has in use: all blocks with one source name and line.
struct PlaceSum {
    std::string place; // "file:line"
    uint64_t blocks = 0;
    uint64_t bytes = 0;     // with headers, fallback blocks included
    uint64_t fallbacks = 0; // how many of the blocks are fallback blocks
    uint32_t largest = 0;   // bytes of the largest block
    int64_t firstSeen = -1; // the smallest Block::born of the blocks; -1: that of a block is not known
    uint32_t banks = 0;     // bit N: some of the blocks are in bank N; bit 31 also stands for the system bank
};

// Returns the places with blocks in one bank, or in sc_allBanks; most bytes first, then by name.
std::vector<PlaceSum> sumPlaces(const Snapshot& snapshot, int bank = sc_allBanks);

struct BankSum {
    uint64_t usedBlocks = 0;   // in the region
    uint64_t usedBytes = 0;    // in the region
    uint64_t freeNodes = 0;    // in the region; a linear bank has one while it has room
    uint64_t freeBytes = 0;    // in the region
    uint64_t largestFree = 0;  // bytes of the largest free node
    uint64_t damagedBytes = 0; // of the region
    uint64_t fallbackBlocks = 0;
    uint64_t fallbackBytes = 0;

    // 0 when all free bytes are one node, near 1 when they are many small ones: 1 - largestFree / freeBytes.
    double fragmentation() const;
};

BankSum sumBank(const Bank& bank);

// Returns the name of a bank for people: "level", or "(system)" for bank -1.
std::string bankTitle(const Bank& bank);

const char* typeName(const Bank& bank); // "heap", "linear" or "other"

// Returns a damage as text: a line `KIND: bank "level", offset 64: what is wrong`, and indented lines with the damaged
// block and its neighbours.
std::string describeDamage(const Snapshot& snapshot, const Damage& damage);

// Returns the size that the manager writes to the bank-size file: (s * s + p * p) / (s + p) in single precision, where
// s is the size and p the high-water mark. Returns 0 when both are 0.
uint32_t tunedSize(uint32_t size, uint32_t peakBytes);

} // namespace watch
