// "Did you mean": the name that is most like another one.
#pragma once

#include <string>
#include <vector>

namespace config {

// Returns the name that needs the fewest changes to become text: letters added, left out, replaced, or two neighbours
// exchanged; upper and lower case are equal. Returns an empty text if each name needs too many.
std::string nearest(const std::string& text, const std::vector<std::string>& names);

} // namespace config
