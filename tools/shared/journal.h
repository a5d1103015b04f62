// The tool's side of the journal (watch/journal.h): makes the journal, and reads the events that a game has counted.
//
//     Journal journal;
//     journal.create(&error);
//     game.start(command, {..., {"CORE_WATCH_JOURNAL", journal.path()}, {"CORE_WATCH_EVENTS", "strings"}}, &error);
//     game.wait();
//     for (const JournalEvent& event : journal.read().events) { ... }
#pragma once

#include "watch/journal.h"

#include <stddef.h>
#include <string>
#include <vector>

struct JournalEvent {
    uint32_t kind; // e_JournalKind
    uint32_t count;
    uint32_t process;
    std::string bytes; // with up to 7 NULs at the end
};

struct JournalContent {
    std::vector<JournalEvent> events; // the oldest first
    size_t torn = 0;                  // records whose writer was stopped in the middle
    size_t lost = 0;                  // events that the game could not count
    int error = 0;                    // errno of the last event that was lost, or of the reading
    bool isUnread = false;            // the journal could not be read; error is the reason
    bool isDamaged = false;           // the game has overwritten a record; later records are not read
};

class Journal {
public:
    Journal() = default;
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    // Makes an empty journal. Returns false and stores a sentence in error. The system removes the file when this
    // process and the game have ended.
    bool create(std::string* error);

    std::string path() const; // for the environment of the game, while this object exists

    JournalContent read() const; // also while the game runs

private:
    int m_file = -1;
};

// Reads the bytes of a journal, which may be damaged in any way.
JournalContent readJournal(const std::string& bytes);

// Returns a sentence that says what is missing in the content; empty when nothing is.
std::string troubleOf(const JournalContent& content);
