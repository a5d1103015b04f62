// Telling the tool what the game reads from its files (watch/reads.h).
#pragma once

#include "watch/reads.h"

#include <stddef.h>

namespace watch {

// True when the tool wants to know what the game reads.
bool isWatchingReads();

// Adds an event. The bytes of the name are copied; name may be null. Any thread may call. errno does not change.
void noteRead(e_Read what, bool result, const void* text, uint32_t place, const void* name, size_t length);

// Adds the bytes of a text that a parser begins to read. Returns false, and adds nothing, for a text that was added a few
// times before: a game can read a file in each frame, and its events would fill the journal.
bool noteText(const char* text);

// Adds a file that the game has opened. asked is the path of the game, file is its descriptor.
void noteFile(const char* asked, int file);

// Returns true if the game asks for this name in this way for the first time since the last call of forgetAsks.
bool isNewAsk(e_Read what, const void* text, const char* name);
void forgetAsks();

} // namespace watch
