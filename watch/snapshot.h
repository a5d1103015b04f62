// A snapshot: what the banks of a game held at one moment, and the text file that stores it.
//
// A snapshot has no addresses of the game. A block of a bank has an offset in its bank, a fallback block has a number.
// So the same game gives the same snapshot on every host, byte for byte, and two snapshots can be compared with diff.
//
//     watch::Snapshot snapshot;
//     std::string error;
//     if (watch::readSnapshot(text, &snapshot, &error)) {
//         for (const watch::Bank& bank : snapshot.banks) { ... }
//     }
//
// docs/memory-tools.md ("The snapshot file") describes the form of the file.
#pragma once

#include <stdint.h>
#include <string>
#include <unordered_map>
#include <vector>

namespace watch {

enum BlockState : uint8_t {
    BLOCK_USED,     // in use, in the bank's region
    BLOCK_FREE,     // a free node
    BLOCK_DAMAGED,  // bytes of the region without a usable header
    BLOCK_FALLBACK, // in use, outside the region
};

static const uint32_t sc_noNumber = 0xffffffff; // stands for an offset, a number or an order that is not known

struct Block {
    BlockState state = BLOCK_FREE;
    uint32_t offset = sc_noNumber; // of the header: bytes from the start of the region; fallback: sc_noNumber
    uint32_t size = 0;             // bytes of the node, the header included
    uint32_t name = 0;             // the source name: an index of Snapshot::names
    uint32_t line = 0;
    uint32_t order = sc_noNumber; // 0 for the oldest block of its list, then 1, and so on; see Bank
    int64_t born = -1;            // milliseconds from the game's first memory manager on; -1: not known
};

enum BankType : uint32_t { BANK_HEAP = 0, BANK_LINEAR = 1 }; // other values: a bank without a region

struct Bank {
    int index = 0; // -1: the system bank
    uint32_t location = 0;
    uint32_t type = BANK_HEAP;
    std::string name;
    bool hasRegion = false;
    uint32_t size = 0;    // bytes
    uint32_t defined = 0; // bytes: the size in the game's code; 0: not known (only the watch library sees it)
    uint32_t allocCount = 0;
    uint32_t freeCount = 0;
    uint32_t usedNodeCount = 0;
    uint32_t freeNodeCount = 0;
    uint32_t extNodeCount = 0; // fallback blocks made so far
    uint32_t bytesInUse = 0;
    uint32_t peakBytes = 0;
    uint32_t cursor = 0; // linear: bytes of the region that were handed out

    // The nodes of a heap bank, by offset. They tile the region unless it is damaged. Linear banks have no headers, so
    // this list is empty for them unless the watch library has recorded their blocks.
    std::vector<Block> blocks;

    std::vector<Block> fallbacks; // oldest first; block number N of a message is fallbacks[N - 1]
};

enum DamageKind : uint8_t {
    DAMAGE_MAGIC,    // a header without the mark of a used or a free node
    DAMAGE_SIZE,     // a node whose size can't be right
    DAMAGE_LINK,     // a link that leads to no node of the list
    DAMAGE_LIST,     // a node that is not on its list, or a list that is not in order
    DAMAGE_NAME,     // a source name that can't be read
    DAMAGE_FALLBACK, // a fallback block
    DAMAGE_COUNTER,  // a counter of the bank that does not match its nodes
    DAMAGE_BANK,     // the record of the bank itself
};

const char* nameOf(DamageKind kind); // "magic", "size", ... as in the snapshot file

// One fault in the records of a bank, and the blocks that it concerns. The block that lies before a damaged header has
// often written over its own end.
struct Damage {
    DamageKind kind = DAMAGE_BANK;
    int bank = 0;
    uint32_t offset = sc_noNumber;   // of the damaged header in the region; sc_noNumber: no such header
    uint32_t fallback = sc_noNumber; // the number of the damaged fallback block, from 1; sc_noNumber: none
    std::string what;                // a sentence without a full stop
    std::string block;               // the place of the damaged block, such as "game/mesh.cpp:41"; empty: not known
    std::string before;              // the block before it in the region, such as "game/map.cpp:7, 128 bytes at 64"
    std::string after;               // the block after it
};

struct Snapshot {
    std::string game;              // the name of the program; may be empty
    std::string time;              // such as "2026-11-22T04:30:00Z"; may be empty
    std::string cause;             // why the snapshot was written, such as "exit"; may be empty
    std::vector<std::string> torn; // sentences: why the records may be half changed; empty: the moment was quiet
    std::vector<Bank> banks;       // by bank index; the system bank is the last
    std::vector<Damage> damages;

    Snapshot();

    // The source names, each once. The first is empty: a block without a source name.
    const std::vector<std::string>& names() const { return m_names; }

    uint32_t addName(const std::string& name); // returns the index of the name in names()

    // Returns "file:line" of a block; "(no name):line" for a block without a source name.
    std::string placeOf(const Block& block) const;

    const Bank* bankOf(int index) const; // null when there is no such bank

private:
    std::vector<std::string> m_names;
    std::unordered_map<std::string, uint32_t> m_numbers;
};

// Returns the text of the snapshot file.
std::string writeSnapshot(const Snapshot& snapshot);

// Reads the text of a snapshot file. Returns false and stores a sentence in error when the text is no snapshot; the
// sentence names the line.
bool readSnapshot(const std::string& text, Snapshot* snapshot, std::string* error);

} // namespace watch
