// What the tool asks of this library. It arrives in environment variables, because the game is another program.
//
//   CORE_WATCH              the name of the tool's socket; without it this library only passes all calls on
//   CORE_WATCH_CHECK        "block": bytes and headers are checked; "each": headers also at each operation
//   CORE_WATCH_STACKS       "1": the stack of each allocation is recorded
//   CORE_WATCH_QUARANTINE   how many freed blocks of each bank are kept out of reuse
//   CORE_WATCH_JOURNAL      the path of the tool's journal (watch/journal.h)
//   CORE_WATCH_EVENTS       which events are counted in the journal: "strings" or "reads"
//   CORE_WATCH_CALLERS      how many callers of an event are recorded, 1 to 4; without it 1
//
// A tool needs the socket, or the journal, or both.
//
// The address sanitizer finds more than the check, and it would report the reads of the check. So it replaces the check.
#pragma once

#include <atomic>

namespace watch {

enum Check { CHECK_NONE, CHECK_BLOCK, CHECK_EACH };

enum Events { EVENTS_NONE, EVENTS_STRINGS, EVENTS_READS };

struct Settings {
    const char* socket = nullptr; // in the environment of the process; null: there is no tool
    Check check = CHECK_NONE;
    bool stacks = false;
    unsigned int quarantine = 0;
    bool announces = false;        // another tool listens; see announce.h
    const char* journal = nullptr; // the journal's path; the text lies in the environment. null: no journal
    Events events = EVENTS_NONE;
    unsigned int callers = 1;

    // True when each block needs a record.
    bool needsRecords() const { return check != CHECK_NONE || stacks || quarantine != 0 || announces; }
};

extern Settings g_settings;
extern std::atomic<bool> g_settingsAreRead;

void readSettings(); // once; any thread may call it

// The first call reads the environment. Any thread may call it.
inline const Settings& settings()
{
    if (!g_settingsAreRead.load(std::memory_order_acquire)) {
        readSettings();
    }
    return g_settings;
}

} // namespace watch
