// Takes snapshots of a game that runs, or of a game's core dump.
#pragma once

#include "tools/core-memory/modules.h"
#include "watch/snapshot.h"

#include <string>
#include <sys/types.h>

// A game that runs.
class LiveGame {
public:
    // Returns false and stores a sentence in error when there is no such process, or no memory manager in it.
    bool open(pid_t process, std::string* error);

    // Stops the game, takes a snapshot without the time, and continues the game. When a bank's lock is held, it tries
    // again a few times. Stores in stoppedMs for how many milliseconds the last try has stopped the game.
    bool take(watch::Snapshot* snapshot, double* stoppedMs, std::string* error) const;

    // Takes the counters of the banks, without their blocks. Does not stop the game.
    bool takeCounters(watch::Snapshot* snapshot, std::string* error) const;

private:
    bool _try(bool isLastTry, watch::Snapshot* snapshot, std::string* error) const;

    pid_t m_process = 0;
    Modules m_modules;
    GameSymbols m_symbols;
};

struct SnapshotSource {
    std::string target;     // the number of a process, or the path of a core dump
    std::string executable; // the program of a core dump; empty: the dump names it
};

// Takes a snapshot without the time. Stores in stoppedMs how many milliseconds the process was stopped; -1 for a core
// dump. Returns STATUS_FINE, or prints a message and returns STATUS_CANT_LOOK.
int takeSnapshotOf(const SnapshotSource& source, watch::Snapshot* snapshot, double* stoppedMs);
