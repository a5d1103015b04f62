// The file of one preferences domain.
//
// Beside FILE lie FILE.lock, which is empty and held by whoever writes; FILE.bak, a copy of what was last written;
// FILE.damaged-1 and so on, files that were set aside because they did not parse; and, while somebody writes or after
// he was killed, FILE.new.
//
// Other users may be able to write to the folder. They can spoil what lies there, and nothing else: trust.h says which
// links are followed, and what is behind a link is never set aside. Files that root makes beside FILE belong to the
// folder's owner.
#pragma once

#include "macapi/src/preferences/preferences_store.h"

#include <chrono>
#include <map>
#include <string>
#include <sys/stat.h>

namespace macapi {

struct PreferencesContents {
    PreferencesState state;
    Ref<__CFDictionary> values; // never null
    struct stat status;         // of the file they came from; only where it was read
};

// What the file holds. One that is damaged is set aside first, and what was last written put in its place. Where that
// can't be done, its state stays Damaged and the values are those that were last written. So it is while another process
// has the lock, as reading does not wait, and where mayRepair is false.
PreferencesContents readPreferencesFile(const std::string& path, PreferencesUser user, bool mayRepair);

// What is to be set; null: to be removed.
using PreferencesChanges = std::map<std::string, Ref<Object>>;

// The values, changed.
Ref<__CFDictionary> applyChanges(const __CFDictionary& values, const PreferencesChanges& changes);

// Merges changes into what the file holds by then. False when they could not be written, as with replaceFile, or when
// other processes held the lock until then. One thread of a process at a time may change files or repair one.
bool changePreferencesFile(const std::string& path, const PreferencesChanges& changes, PreferencesUser user,
                           std::chrono::steady_clock::time_point end);

} // namespace macapi
