// Tells the tool what the game reads from its files (watch/reads.h).
#pragma once

#include "watch/reads.h"

#include <stddef.h>

namespace watch {

// True when the tool wants to know what the game reads.
bool isWatchingReads();

// Adds an event. The bytes of the name are copied; name may be null. Any thread may call. errno does not change.
void noteRead(e_Read what, bool result, const void* text, uint32_t place, const void* name, size_t length);

// Adds the bytes of a text that a parser begins to read. Returns false and adds nothing when the same text was added
// four times before: a game can read a file in each frame, and these events would fill the journal.
bool noteText(const char* text);

// Adds a file that the game has opened. asked is the path in the game's call; file is the descriptor of the open
// file.
void noteFile(const char* asked, int file);

// Returns true if this is the first ask with this reader, text and name since the last call of forgetAsks. An ask is
// a comparison of a name with a token. Can also return true for a repeated ask, if there are so many asks that another
// one has replaced it in the table, or if another thread has called forgetAsks.
bool isNewAsk(e_Read what, const void* text, const char* name);
void forgetAsks();

} // namespace watch
