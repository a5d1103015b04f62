// A game's banks over time: snapshots at equal distances, and the counters of all banks.
#pragma once

#include "tools/core-memory/takesnapshot.h"

#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

class Timeline {
public:
    explicit Timeline(pid_t process) : m_process(process) {}

    // Reads the counters of all banks. The game runs on meanwhile. Does nothing while the game has no manager.
    void readCounters(double seconds);

    // Stops the game for a moment and takes a snapshot. Returns false while the game has no manager.
    bool takeSnapshot(watch::Snapshot* snapshot);

    // The counters as a trace in Chrome's JSON form, and as CSV: a line for each moment and bank.
    std::string trace() const;
    std::string csv() const;

private:
    struct Sample {
        double seconds;
        std::string bank;
        watch::Bank counters;
    };

    bool _open();

    pid_t m_process;
    std::unique_ptr<LiveGame> m_game; // null before the game has loaded the library
    std::vector<Sample> m_samples;
};
