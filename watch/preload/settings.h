// What the tool asks of this library. It arrives in environment variables, because the game is another program.
//
//   CORE_WATCH              the name of the tool's socket; without it this library only passes all calls on
//   CORE_WATCH_CHECK        "1": bytes and headers are checked; "each": headers also at each operation
//   CORE_WATCH_STACKS       "1": the stack of each allocation is recorded
//   CORE_WATCH_QUARANTINE   how many freed blocks of each bank are kept out of reuse
//   CORE_WATCH_EVERY        milliseconds between two checks of all banks; 0 or none: only at the end
#pragma once

namespace watch {

enum Check { CHECK_NONE, CHECK_BLOCK, CHECK_EACH };

struct Settings {
    const char* socket = nullptr; // in the environment of the process; null: there is no tool
    Check check = CHECK_NONE;
    bool stacks = false;
    unsigned int quarantine = 0;
    unsigned int every = 0;

    // True when each block needs a record.
    bool needsRecords() const { return check != CHECK_NONE || stacks || quarantine != 0; }
};

// The first call reads the environment. Any thread may call it.
const Settings& settings();

} // namespace watch
