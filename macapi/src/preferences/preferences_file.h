// The file of one preferences domain, FILE, and the files beside it:
//
//   FILE.lock        empty; locked by the process that writes
//   FILE.bak         a copy of the contents that were written last
//   FILE.damaged-1   (then -2, and so on) a file that did not parse and was set aside
//   FILE.new         exists while a process writes, and after a process was killed while it wrote
//
// Other users may be able to write to the folder. They can spoil the files in it, but reach no file elsewhere:
// trust.h says which links are followed, and a file that is reached through a link is never set aside. Files that
// root makes beside FILE belong to the owner of the folder.
#pragma once

#include "macapi/src/preferences/preferences_store.h"

#include <chrono>
#include <map>
#include <string>
#include <sys/stat.h>

namespace macapi {

struct PreferencesContents {
    PreferencesState state;
    Ref<__CFDictionary> values; // never null; empty if nothing was read
    struct stat status;         // of the file that was read; undefined if none was
};

// Reads the file. A damaged file is first set aside and replaced by its copy, FILE.bak. In three cases the state is
// Damaged and the values are those of the copy: the repair fails; another process holds the lock, for which a read
// does not wait; mayRepair is false.
PreferencesContents readPreferencesFile(const std::string& path, PreferencesUser user, bool mayRepair);

// The new value for each key; null: the value is removed.
using PreferencesChanges = std::map<std::string, Ref<Object>>;

// Returns a dictionary with the changes applied.
Ref<__CFDictionary> applyChanges(const __CFDictionary& values, const PreferencesChanges& changes);

// Merges changes into the values of the file at that moment. Returns false if they could not be written (see
// replaceFile), or if other processes hold the lock until end. Only one thread of a process at a time may change or
// repair files.
bool changePreferencesFile(const std::string& path, const PreferencesChanges& changes, PreferencesUser user,
                           std::chrono::steady_clock::time_point end);

} // namespace macapi
