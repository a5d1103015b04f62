// The preferences store: values under names, in one property list for each domain.
//
//     const PreferencesDomain game = {"com.example.game", PreferencesUser::Current, PreferencesHost::Any};
//     setPreference(game, "Volume", makeInteger(7));     // pending: only this process sees it
//     if (!synchronizePreferences(game)) {               // now it is on the disk, or dropped
//         fprintf(stderr, "%s: cannot be written\n", preferencesFile(game).c_str());
//     }
//     for (const auto& [key, value] : copyPreferences(game)->entries) {
//         puts(key.c_str());
//     }
//
// A value that was set is pending until its domain is synchronised. A read returns the pending value if there is one,
// else the value in the file at that moment. A child process does not inherit pending values. Any thread may call
// these functions.
#pragma once

#include "macapi/src/objects/values.h"

#include <string>

namespace macapi {

enum class PreferencesUser { Any, Current };
enum class PreferencesHost { Any, Current };

// Two names with a meaning of their own: the program that runs, and the values that all applications share.
const char* const sc_currentApplication = "kCFPreferencesCurrentApplication";
const char* const sc_anyApplication = "kCFPreferencesAnyApplication";

struct PreferencesDomain {
    std::string application; // UTF-8
    PreferencesUser user;
    PreferencesHost host;
};

// Returns the path of the domain's file, whether the file exists or not. Reads the environment at each call. Empty if
// the name of the application is empty, or if there is no folder because the user has no home.
std::string preferencesFile(const PreferencesDomain& domain);

// Returns the value; null if there is none.
Ref<Object> copyPreference(const PreferencesDomain& domain, const std::string& key);

// Returns the value of an application in the first of eight domains that has one, or null. The current user's domains
// come before those of any user, the application's before those of all applications, this host's before any host's.
Ref<Object> copyAppPreference(const std::string& application, const std::string& key);

// Returns all values of the domain.
Ref<__CFDictionary> copyPreferences(const PreferencesDomain& domain);

// Sets the value; null removes it. Does nothing if the value is not of a property-list type or nests too deep.
void setPreference(const PreferencesDomain& domain, const std::string& key, Ref<Object> value);

// Merges the pending values into the file as it is now, and waits until the result survives a loss of power. Returns
// false if this fails, or if other processes hold the file's lock for 5 seconds; the pending values are then dropped,
// and the file does not change. A read never waits for a lock.
bool synchronizePreferences(const PreferencesDomain& domain);

enum class PreferencesState {
    Missing,
    Good,
    Damaged,   // does not parse, or is no dictionary; the next read or write sets it aside
    Unreadable // no permission, not a regular file, another user's link, too large, or a disk error; not changed
};

// Returns the state of any file, and changes nothing.
PreferencesState checkPreferences(const std::string& path);

} // namespace macapi
