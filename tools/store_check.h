// The health of one file of preferences, for core-prefs and core-doctor.
#pragma once

#include "macapi/src/preferences/preferences_store.h"

#include <stddef.h>
#include <string>

struct StoreCheck {
    std::string file; // the path; empty if there is no such store
    macapi::PreferencesState state;
    size_t keys;                        // 0 unless the state is Good
    std::string text;                   // the state in words, such as "in order, 3 keys"
    macapi::Ref<__CFDictionary> values; // null unless the state is Good
};

// Looks at the domain's file, and changes nothing.
StoreCheck checkStore(const macapi::PreferencesDomain& domain);
