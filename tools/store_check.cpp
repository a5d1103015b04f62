#include "tools/store_check.h"

#include "macapi/src/preferences/preferences_file.h"

using namespace macapi;

static std::string textOf(PreferencesState state, size_t keys)
{
    switch (state) {
    case PreferencesState::Missing:
        return "nothing has been stored yet";
    case PreferencesState::Damaged:
        return "no property list";
    case PreferencesState::Unreadable:
        return "can't be read, or is reached through a link that another user made";
    case PreferencesState::Good:
        break;
    }
    return "in order, " + std::to_string(keys) + (keys == 1 ? " key" : " keys");
}

StoreCheck checkStore(const PreferencesDomain& domain)
{
    StoreCheck check = {preferencesFile(domain), PreferencesState::Missing, 0, ""};
    if (!check.file.empty()) {
        check.state = checkPreferences(check.file);
    }
    if (check.state == PreferencesState::Good) { // another process can damage the file now, so repairs are forbidden
        check.keys = readPreferencesFile(check.file, domain.user, false).values->entries.size();
    }
    check.text = textOf(check.state, check.keys);
    return check;
}
