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
    StoreCheck check = {preferencesFile(domain), PreferencesState::Missing, 0, "", nullptr};
    if (!check.file.empty()) {
        check.state = checkPreferences(check.file);
    }
    if (check.state == PreferencesState::Good) { // another process can damage the file now, so repairs are forbidden
        PreferencesContents contents = readPreferencesFile(check.file, domain.user, false);
        check.state = contents.state; // the second read may fail although the first did not
        check.keys = contents.values->entries.size();
        check.values = check.state == PreferencesState::Good ? std::move(contents.values) : nullptr;
    }
    check.text = textOf(check.state, check.keys);
    return check;
}
