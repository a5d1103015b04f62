#include "demo/settings.h"

#include "demo/language.h"
#include "demo/table.h"
#include "demo/texts.h"

#include "core/platform.h"
#include "core/preferences.h"

#include <algorithm>
#include <stdio.h>

DEMO_TEXT(sc_setting, "setting");
DEMO_TEXT(sc_value, "value");
DEMO_TEXT(sc_from, "comes from");
DEMO_TEXT(sc_commandLine, "the command line");
DEMO_TEXT(sc_preferences, "the preferences");
DEMO_TEXT(sc_ini, "demo.ini");
DEMO_TEXT(sc_game, "the game");
DEMO_TEXT(sc_yes, "yes");
DEMO_TEXT(sc_no, "no");
DEMO_TEXT(sc_runs, "Good runs before this one: %s.\n");
DEMO_TEXT(sc_passedOver, "%s can't be \"%s\"; this value comes from %s.\n");

// The section and key of each setting in the preferences and in demo.ini, and the game's own value.
static const struct {
    const char* section;
    const char* key;
    const char* value;
} sc_places[SETTING_COUNT] = {{"Window", "width", "960"},
                              {"Window", "height", "600"},
                              {"Window", "fullscreen", "0"},
                              {"Texts", "locale", "en"}};

static const char sc_runsSection[] = "demo"; // has no effect: the Reg calls of Platform ignore the section
static const char sc_runsKey[] = "runs";
static const unsigned int sc_mostRuns = 1000000000;

static const char* const sc_sources[] = {sc_commandLine, sc_preferences, sc_ini, sc_game};

// Returns true when the store has a value. Preferences::read reads the INI file when the store has no value, and its
// result does not show which of the two it used. So this function asks the store itself.
static bool isStored(const char* section, const char* key)
{
    const CFStringRef name = CreateKey(section, key);
    const CFPropertyListRef value =
        name ? CFPreferencesCopyAppValue(name, kCFPreferencesCurrentApplication) : nullptr;
    for (CFTypeRef object : {static_cast<CFTypeRef>(name), value}) {
        if (object) {
            CFRelease(object);
        }
    }
    return value != nullptr;
}

static bool isGood(e_Setting setting, const std::string& value, const Options& options)
{
    return IsGoodFor(setting, value) && (setting != SETTING_LOCALE || HasLanguage(options.folder, value));
}

// Returns the values of all sources except the command line, in the order of e_Source.
static std::vector<Setting> findValues(Preferences& preferences, e_Setting setting)
{
    const auto& place = sc_places[setting];
    std::vector<Setting> values;
    if (isStored(place.section, place.key)) {
        values.push_back({preferences.read(place.section, place.key, ""), SOURCE_PREFERENCES});
    }
    char text[1024];
    if (ReadKey(place.section, place.key, text)) {
        values.push_back({text, SOURCE_INI});
    }
    values.push_back({place.value, SOURCE_GAME});
    return values;
}

Settings ChooseSettings(const Options& options)
{
    Preferences preferences;
    preferences.init((options.folder + "demo.ini").c_str());
    Settings settings;
    for (int index = 0; index < SETTING_COUNT; ++index) {
        const e_Setting setting = static_cast<e_Setting>(index);
        if (!options.typed[setting].empty()) {
            settings.settings[setting] = {options.typed[setting], SOURCE_COMMAND_LINE};
            continue;
        }
        for (const Setting& found : findValues(preferences, setting)) {
            if (isGood(setting, found.value, options)) {
                settings.settings[setting] = found;
                break;
            }
            settings.refused.push_back({setting, found});
        }
    }
    return settings;
}

// Stores only what the player has chosen. Other settings follow demo.ini, which may change with a new release.
void KeepSettings(const Settings& settings)
{
    Preferences preferences;
    for (int setting = 0; setting < SETTING_COUNT; ++setting) {
        if (settings.settings[setting].source == SOURCE_COMMAND_LINE) {
            const auto& place = sc_places[setting];
            preferences.write(place.section, place.key, settings.settings[setting].value.c_str());
        }
    }
}

unsigned int RunsBefore()
{
    return static_cast<unsigned int>(std::max(0, Platform::RegGetInt32(sc_runsSection, sc_runsKey, 0)));
}

void CountRun()
{
    const unsigned int runs = std::min(RunsBefore(), sc_mostRuns - 1) + 1;
    Platform::RegSetInt32(sc_runsSection, sc_runsKey, static_cast<int>(runs));
}

static std::string shown(e_Setting setting, const std::string& value)
{
    return setting == SETTING_FULL_SCREEN && IsGoodFor(setting, value) ? Text(value == "1" ? sc_yes : sc_no) : value;
}

void ReportSettings(const Settings& settings)
{
    for (const auto& refused : settings.refused) {
        Complain(sc_passedOver, SwitchOf(refused.setting), refused.what.value.c_str(),
                 Text(sc_sources[refused.what.source]));
    }
    Table table("lrl");
    table.add({Text(sc_setting), Text(sc_value), Text(sc_from)});
    for (int index = 0; index < SETTING_COUNT; ++index) {
        const e_Setting setting = static_cast<e_Setting>(index);
        const Setting& chosen = settings.settings[setting];
        table.add({SwitchOf(setting), shown(setting, chosen.value), Text(sc_sources[chosen.source])});
    }
    table.print();
    Say(sc_runs, Grouped(RunsBefore()).c_str());
    printf("\n");
}
