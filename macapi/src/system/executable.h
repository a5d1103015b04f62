// The place of the process: its executable and its working folder.
#pragma once

#include <string>

namespace macapi {

// Returns the executable's path, also after the file was deleted or replaced; empty if the system does not tell it.
std::string executablePath();

// Returns the executable's file name in UTF-8. A name that is not UTF-8 is read as Mac Roman. Empty if the path is
// unknown.
std::string processName();

// Returns path if it begins with a slash, else the working folder, a slash and path. Empty if there is no working
// folder.
std::string absolutePath(const std::string& path);

} // namespace macapi
