#include "watch/preload/settings.h"

#include "watch/preload/announce.h"

#include <pthread.h>
#include <stdlib.h>
#include <string.h>

namespace watch {

static Settings s_settings;
static pthread_once_t s_once = PTHREAD_ONCE_INIT;

static unsigned int number(const char* name)
{
    const char* text = getenv(name);
    return text ? static_cast<unsigned int>(strtoul(text, nullptr, 10)) : 0;
}

static void readSettings()
{
    s_settings.socket = getenv("CORE_WATCH");
    if (const char* check = getenv("CORE_WATCH_CHECK")) {
        s_settings.check = strcmp(check, "each") == 0 ? CHECK_EACH : CHECK_BLOCK;
    }
    s_settings.stacks = number("CORE_WATCH_STACKS") != 0;
    s_settings.quarantine = number("CORE_WATCH_QUARANTINE");
    s_settings.announces = listener() != LISTENER_NONE;
    if (listener() == LISTENER_SANITIZER) {
        s_settings.check = CHECK_NONE;
        s_settings.quarantine = 0;
    }
    if (!s_settings.socket || s_settings.socket[0] == '\0') {
        s_settings = Settings();
    }
}

const Settings& settings()
{
    pthread_once(&s_once, readSettings);
    return s_settings;
}

} // namespace watch
