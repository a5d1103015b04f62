// The form of a preferences file (INI).
#pragma once

#include "tools/core-config/fault.h"

#include <functional>
#include <string>

namespace config {

// An entry as Preferences reads it.
struct IniEntry {
    std::string section; // in lower case
    std::string name;
    std::string value;
    size_t place;      // of the name
    size_t valuePlace; // of the value
    bool isFirst;      // the entry that Preferences finds: no entry before it has the same section and name
};

// Adds the faults of the file's form, in no order. Calls onEntry, which may be empty, for each entry in a section.
void checkIni(const std::string& bytes, Faults* faults, const std::function<void(const IniEntry&)>& onEntry = {});

} // namespace config
