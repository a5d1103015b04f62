// Takes a snapshot of a game that runs, or of a game's core dump.
#pragma once

#include "watch/snapshot.h"

#include <string>

struct SnapshotSource {
    std::string target;     // the number of a process, or the path of a core dump
    std::string executable; // the program of a core dump; empty: the dump names it
};

// Takes a snapshot without the time. Stores in stoppedMs how many milliseconds the process was stopped; -1 for a core
// dump. Returns STATUS_FINE, or prints a message and returns STATUS_CANT_LOOK.
int takeSnapshotOf(const SnapshotSource& source, watch::Snapshot* snapshot, double* stoppedMs);
