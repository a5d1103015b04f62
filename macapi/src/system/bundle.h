// The main bundle, for other sources of this library.
#pragma once

#include <optional>
#include <string>

namespace macapi {

// Returns the value of CFBundleIdentifier in Info.plist; empty if there is none. Returns nothing if it is not known at
// this moment: the executable's place is not known, or the file could not be read, for example because the process has
// too many open files.
std::optional<std::string> bundleIdentifier();

} // namespace macapi
