// Plays a recorded session, frame by frame, on the banks of the game.
//
//     Replay scripts(sc_scripts, session);
//     for (unsigned int frame = 0; frame < sc_frames; ++frame) {
//         scripts.playFrame(frame);
//         g_MemoryPtr->free(BANK_FRAME, nullptr);
//     }
//
// Each block is filled when it is made, and looked through before it is freed: nobody else may have written to it.
#pragma once

#include "demo/session.h"

// As many as the scripts were recorded for. Each gets an equal share of a session's operations.
static const unsigned int sc_frames = 280;

// Which blocks go to which bank.
struct BlockRule {
    unsigned int largest; // bytes asked for, at most this
    unsigned int frames;  // and freed no later than this many frames after its own
    int bank;
};

// One of the sessions that come with the demo.
struct Recording {
    const char* name;
    const char* fileName;
    const BlockRule* rules; // the first that fits counts, and the last one fits every block
};

extern const Recording sc_scripts; // Lua 5.4: 280 frames of a game's loop, entities, particles, tiles and texts
extern const Recording sc_records; // SQLite in memory: 1600 rounds of insert, select, update and delete

class Replay {
public:
    Replay(const Recording& recording, const Session& session);

    // Both stop at the first block that is not as it should be, and say so.
    bool playFrame(unsigned int frame);
    bool freeAll();

    const char* name() const { return m_recording.name; }
    unsigned int liveAtEnd() const; // the blocks that the session never frees

private:
    void make(unsigned int number);
    bool free(unsigned int number);
    int bankOf(const SessionBlock& block) const;
    unsigned int frameOf(unsigned int operation) const;

    const Recording& m_recording;
    const Session& m_session;
    std::vector<void*> m_blocks;  // null when it isn't there
    unsigned int m_operation = 0; // the next one
};
