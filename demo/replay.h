// Plays a recorded session, frame by frame, on the banks of the game.
//
//     Replay scripts(sc_scripts, session, banks);
//     for (unsigned int frame = 0; frame < frames; ++frame) {
//         scripts.playFrame(frame);
//         g_MemoryPtr->free(banks.frameBank, nullptr);
//     }
//
// A session's operations are shared out evenly among all frames of the game. Each block is filled when it is made, and
// looked through before it is freed: nobody else may have written to it.
#pragma once

#include "demo/gamememory.h"
#include "recordings/session.h"

// One of the sessions that come with the demo.
struct Recording {
    const char* name;
    const char* fileName;
};

extern const Recording sc_scripts; // Lua 5.4: 280 frames of a game's loop, entities, particles, tiles and texts
extern const Recording sc_records; // SQLite in memory: 1600 rounds of insert, select, update and delete

class Replay {
public:
    // Of the banks the first that takes a block gets it.
    Replay(const Recording& recording, const Session& session, const BankPlans& banks);

    bool hasBanks() const; // for all its blocks

    // Both stop at the first block that is not as it should be, and say so.
    bool playFrame(unsigned int frame);
    bool freeAll();

    unsigned int operationsPlayed() const { return m_operation; }
    const char* name() const { return m_recording.name; }
    unsigned int liveNow() const; // the blocks that were made and not freed

private:
    void make(unsigned int number);
    bool free(unsigned int number);
    int findBank(const SessionBlock& block) const; // -1 when none takes it
    unsigned int frameOf(unsigned int operation) const;

    const Recording& m_recording;
    const Session& m_session;
    const BankPlans& m_banks;
    std::vector<int> m_bankOf;    // for each block
    std::vector<void*> m_blocks;  // null when it isn't there
    unsigned int m_operation = 0; // the next one
};
