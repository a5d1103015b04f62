// The differences of two texts, as the program patch reads them.
#pragma once

#include <string>

namespace config {

// Returns a unified diff with three lines of context; an empty text if the texts are equal.
std::string unifiedDiff(const std::string& file, const std::string& before, const std::string& after);

} // namespace config
