// The hooks of Preferences.
//
// If the store has no value, Preferences::read calls ReadKey, which reads the value from the preferences file.
// ReadKey opens this file with fopen_mac. So the hook of ReadKey sees the values in the file, and the hooks of
// Preferences::read see the defaults.
#include "watch/preload/journal.h"
#include "watch/preload/message.h"
#include "watch/preload/reads.h"
#include "watch/preload/realfunction.h"
#include "watch/reads.h"

#include <stdio.h>
#include <string.h>

class Preferences;

// The path in the game's last call of Preferences::init. The library has a copy, but no call returns it.
static char s_path[watch::sc_readsName];

// The results of ReadKey for the current call of Preferences::read.
struct PreferenceCall {
    bool isRunning;
    bool isOpened; // the preferences file
    bool isMissing;
    bool hasValue;
    char value[1024];
};

static thread_local PreferenceCall s_call __attribute__((tls_model("initial-exec")));

// Copies as much of a text as fits, and a NUL.
static void copyText(const char* text, char* copy, size_t size)
{
    const size_t length = strnlen(text, size - 1);
    memcpy(copy, text, length);
    copy[length] = '\0';
}

static size_t lengthOf(const char* text)
{
    return strnlen(text, watch::sc_readsName);
}

static void note(bool isNumber, const char* section, const char* key, const char* defaultText)
{
    if (!section || !key) {
        return;
    }
    const char end[] = "";
    const watch::PreferenceEvent event = {isNumber, defaultText != nullptr, s_call.hasValue, s_call.isMissing};
    const char* text = defaultText ? defaultText : "";
    const char* value = s_call.hasValue ? s_call.value : "";
    watch::countEvent(watch::JOURNAL_PREFERENCE, {{&event, sizeof(event)},
                                                  {s_path, lengthOf(s_path)},
                                                  {end, 1},
                                                  {section, lengthOf(section)},
                                                  {end, 1},
                                                  {key, lengthOf(key)},
                                                  {end, 1},
                                                  {text, lengthOf(text)},
                                                  {end, 1},
                                                  {value, lengthOf(value)},
                                                  {end, 1}});
}

WATCH_FUNCTION("_ZN11Preferences4initEPKc", bool, initPreferences, (Preferences * preferences, const char* path))
{
    const bool result = s_initPreferences.real()(preferences, path);
    if (watch::isWatchingReads()) {
        copyText(path ? path : "", s_path, sizeof(s_path));
    }
    return result;
}

WATCH_FUNCTION("_Z9fopen_macPKcS0_", FILE*, fopenMac, (const char* path, const char* mode))
{
    FILE* file = s_fopenMac.real()(path, mode);
    if (file && watch::isWatchingReads()) {
        s_call.isOpened = true;
        watch::noteFile(path, fileno(file));
    }
    return file;
}

WATCH_FUNCTION("_Z7ReadKeyPKcS0_Pc", bool, readKey, (const char* section, const char* key, char* out))
{
    if (!watch::isWatchingReads()) {
        return s_readKey.real()(section, key, out);
    }
    s_call.isOpened = false;
    s_call.hasValue = s_readKey.real()(section, key, out);
    s_call.isMissing = !s_call.isOpened;
    copyText(s_call.hasValue ? out : "", s_call.value, sizeof(s_call.value));
    if (!s_call.isRunning) {
        note(false, section, key, nullptr);
    }
    return s_call.hasValue;
}

static void beginCall()
{
    s_call.isRunning = true;
    s_call.hasValue = false; // ReadKey is not called if the store has a value
    s_call.isMissing = false;
}

WATCH_FUNCTION("_ZN11Preferences4readEPKcS1_S1_", const char*, readText,
               (Preferences * preferences, const char* section, const char* key, const char* defaultText))
{
    if (s_call.isRunning || !watch::isWatchingReads()) {
        return s_readText.real()(preferences, section, key, defaultText);
    }
    beginCall();
    const char* result = s_readText.real()(preferences, section, key, defaultText);
    s_call.isRunning = false;
    note(false, section, key, defaultText);
    return result;
}

WATCH_FUNCTION("_ZN11Preferences4readEPKcS1_i", int, readNumber,
               (Preferences * preferences, const char* section, const char* key, int defaultValue))
{
    if (s_call.isRunning || !watch::isWatchingReads()) {
        return s_readNumber.real()(preferences, section, key, defaultValue);
    }
    beginCall();
    const int result = s_readNumber.real()(preferences, section, key, defaultValue);
    s_call.isRunning = false;
    watch::Message text;
    text.add(defaultValue);
    note(true, section, key, text.text());
    return result;
}
