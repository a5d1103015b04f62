// The preferences store: values under names, in a property list for each domain.
//
//     const PreferencesDomain game = {"com.example.game", PreferencesUser::Current, PreferencesHost::Any};
//     setPreference(game, "Volume", makeInteger(7));     // pending: this process alone sees it
//     if (!synchronizePreferences(game)) {               // on the disk, or dropped
//         fprintf(stderr, "%s: cannot be written\n", preferencesFile(game).c_str());
//     }
//     for (const auto& [key, value] : copyPreferences(game)->entries) {
//         puts(key.c_str());
//     }
//
// What was set is pending until its domain is synchronised. A read sees it, and below it what the file says at that
// moment. A child begins without what is pending in its parent. All calls may come from any thread.
#pragma once

#include "macapi/src/objects/values.h"

#include <string>

namespace macapi {

enum class PreferencesUser { Any, Current };
enum class PreferencesHost { Any, Current };

// These two applications are no names: whoever runs, and what is common to all.
const char* const sc_currentApplication = "kCFPreferencesCurrentApplication";
const char* const sc_anyApplication = "kCFPreferencesAnyApplication";

struct PreferencesDomain {
    std::string application; // UTF-8
    PreferencesUser user;
    PreferencesHost host;
};

// The domain's file, whether it is there or not. Asks the environment at each call. Empty when it has none: the
// application's name is empty, or there is no folder for lack of a home.
std::string preferencesFile(const PreferencesDomain& domain);

// Null when there is no such value.
Ref<Object> copyPreference(const PreferencesDomain& domain, const std::string& key);

// All values there are.
Ref<__CFDictionary> copyPreferences(const PreferencesDomain& domain);

// Null removes the value. One that has no place in a property list, or nests too deep, is not taken.
void setPreference(const PreferencesDomain& domain, const std::string& key, Ref<Object> value);

// Writes what is pending, merged with what is on the disk by now, and waits until it will survive a loss of power.
// False when that failed: what was pending is dropped, and the file as it was. So it is when other processes hold the
// file's lock for 5 seconds. Reading never waits for a lock.
bool synchronizePreferences(const PreferencesDomain& domain);

enum class PreferencesState {
    Missing,
    Good,
    Damaged,   // no property list, or no dictionary; the next read or write sets it aside
    Unreadable // no rights, no regular file, behind another user's link, too large, a bad disk: left alone
};

// Looks at any file, and changes nothing.
PreferencesState checkPreferences(const std::string& path);

} // namespace macapi
