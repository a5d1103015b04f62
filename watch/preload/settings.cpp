#include "watch/preload/settings.h"

#include "watch/preload/announce.h"

#include <pthread.h>
#include <stdlib.h>
#include <string.h>

namespace watch {

Settings g_settings;
std::atomic<bool> g_settingsAreRead{false};
static pthread_once_t s_once = PTHREAD_ONCE_INIT;

static unsigned int number(const char* name)
{
    const char* text = getenv(name);
    return text ? static_cast<unsigned int>(strtoul(text, nullptr, 10)) : 0;
}

// Returns the value of a variable; null when it is not set or empty.
static const char* textOf(const char* name)
{
    const char* text = getenv(name);
    return text && *text ? text : nullptr;
}

static void readJournal()
{
    const char* events = textOf("CORE_WATCH_EVENTS");
    g_settings.journal = events ? textOf("CORE_WATCH_JOURNAL") : nullptr;
    if (g_settings.journal && strcmp(events, "strings") == 0) {
        g_settings.events = EVENTS_STRINGS;
        g_settings.callers = number("CORE_WATCH_CALLERS");
    } else if (g_settings.journal && strcmp(events, "reads") == 0) {
        g_settings.events = EVENTS_READS;
    }
}

static void readEnvironment()
{
    readJournal();
    g_settings.socket = textOf("CORE_WATCH");
    if (!g_settings.socket) {
        return;
    }
    if (const char* check = getenv("CORE_WATCH_CHECK")) {
        g_settings.check = strcmp(check, "each") == 0 ? CHECK_EACH : CHECK_BLOCK;
    }
    g_settings.stacks = number("CORE_WATCH_STACKS") != 0;
    g_settings.quarantine = number("CORE_WATCH_QUARANTINE");
    g_settings.announces = listener() != LISTENER_NONE;
    if (listener() == LISTENER_SANITIZER) {
        g_settings.check = CHECK_NONE;
        g_settings.quarantine = 0;
    }
}

void readSettings()
{
    pthread_once(&s_once, readEnvironment);
    g_settingsAreRead.store(true, std::memory_order_release);
}

} // namespace watch
