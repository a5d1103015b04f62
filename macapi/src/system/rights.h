// Rights that the program has and the user who started it has not: those of a setuid or setgid file, and a file's
// capabilities. To such a program its environment is the word of a stranger.
#pragma once

namespace macapi {

// Whether the program was started with such rights. The answer is the same after the program has dropped them.
bool hasExtraRights();

// Drops such rights, so that only those of the user who started the program are left. False when the system refuses:
// then some of the rights may be left. For a child that is about to become another program.
bool dropExtraRights();

} // namespace macapi
