// The system's folders.
#pragma once

#include <Carbon/Carbon.h>

#include <string>

namespace macapi {

// Returns the absolute path of Application Support or Preferences in kLocalDomain or kUserDomain, whether the folder
// exists or not. Reads the environment at each call. A program with extra rights does not: it uses the home that the
// password file names for the effective user. Returns an empty path if there is no home.
std::string systemFolder(short domain, OSType type);

} // namespace macapi
