// Extra rights: rights that the program has and the user who started it does not have. They come from a setuid or
// setgid file, or from a file's capabilities. The environment of such a program is not to be trusted.
#pragma once

namespace macapi {

// Returns true if the program was started with extra rights, also after it has dropped them.
bool hasExtraRights();

// Drops the extra rights, so that only the rights of the user who started the program remain. Returns false if the
// system refuses; some of the rights may then remain. For a child process that is about to start another program.
bool dropExtraRights();

} // namespace macapi
