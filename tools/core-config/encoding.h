// Faults of a file's bytes, which config files and INI files have in common.
#pragma once

#include "tools/core-config/fault.h"

#include <string>

namespace config {

// Finds UTF-16, a byte-order mark of UTF-8, and NULs. Returns false for UTF-16: then no other check makes sense.
bool checkEncoding(const std::string& bytes, Faults* faults);

} // namespace config
