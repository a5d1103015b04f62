// The system's folders.
#pragma once

#include <Carbon/Carbon.h>

#include <string>

namespace macapi {

// The absolute path of Application Support or Preferences in kLocalDomain or kUserDomain, as the environment names it
// at this moment, whether it is there or not. In a program with more rights than its user, as the password file names
// the effective user's home. Empty when there is none.
std::string systemFolder(short domain, OSType type);

} // namespace macapi
