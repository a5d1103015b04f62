// The main bundle, for other sources of this library.
#pragma once

#include <string>

namespace macapi {

// Returns the value of CFBundleIdentifier in Info.plist; empty if there is none.
std::string bundleIdentifier();

} // namespace macapi
