// The main bundle, as other parts need it.
#pragma once

#include <string>

namespace macapi {

// What Info.plist says under CFBundleIdentifier; empty when that is nothing.
std::string bundleIdentifier();

} // namespace macapi
