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

static void readEnvironment()
{
    g_settings.socket = getenv("CORE_WATCH");
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
    if (!g_settings.socket || g_settings.socket[0] == '\0') {
        g_settings = Settings();
    }
}

void readSettings()
{
    pthread_once(&s_once, readEnvironment);
    g_settingsAreRead.store(true, std::memory_order_release);
}

} // namespace watch
