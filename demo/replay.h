// Plays a recorded session, frame by frame, with the banks of the game.
//
//     Replay scripts(sc_scripts, session, banks);
//     for (unsigned int frame = 0; frame < frames; ++frame) {
//         scripts.playFrame(frame);
//         g_MemoryPtr->free(banks.frameBank, nullptr);
//     }
//
// Each frame of the game plays an equal share of the session's operations. A Replay fills each block with a known
// byte after the allocation, and checks all bytes of the block before the free: a different byte means that other
// code has written into the block.
#pragma once

#include "demo/gamememory.h"
#include "recordings/session.h"

// One of the sessions that come with the demo.
struct Recording {
    const char* name;     // also the source name of its blocks
    const char* fileName; // in the folder "sessions" of the game's files
};

extern const Recording sc_scripts; // Lua 5.4: 280 frames of a game's loop, entities, particles, tiles and texts
extern const Recording sc_records; // SQLite in memory: 1600 rounds of insert, select, update and delete

class Replay {
public:
    // Each block goes to the first bank of banks that takes the block. The Replay keeps references to all three
    // arguments.
    Replay(const Recording& recording, const Session& session, const BankPlans& banks);

    bool hasBanks() const; // true when each block has a bank that takes it

    // Each returns false, and reports the block, at the first block that was overwritten or that free refuses.
    bool playFrame(unsigned int frame);
    bool freeAll();

    unsigned int operationsPlayed() const { return m_operation; }
    const char* name() const { return m_recording.name; }
    unsigned int liveNow() const; // the number of blocks in use

private:
    void make(unsigned int number);
    bool free(unsigned int number);
    int findBank(const SessionBlock& block) const; // returns a bank index; -1 when no bank takes the block
    unsigned int frameOf(unsigned int operation) const;

    const Recording& m_recording;
    const Session& m_session;
    const BankPlans& m_banks;
    std::vector<int> m_bankOf;    // for each block: the index of its bank
    std::vector<void*> m_blocks;  // for each block: its address while it is in use, else null
    unsigned int m_operation = 0; // the next operation to play
};
