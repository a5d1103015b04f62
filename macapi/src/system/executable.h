// Where the process is: its executable, and its working folder.
#pragma once

#include <string>

namespace macapi {

// The executable's path, also after the file was deleted or replaced; empty when the system doesn't tell.
std::string executablePath();

// The executable's file name, in UTF-8: a name that is none is taken for Mac Roman. Empty like the path.
std::string processName();

// path itself when it begins with a slash, else path in the working folder; empty when there is none.
std::string absolutePath(const std::string& path);

} // namespace macapi
