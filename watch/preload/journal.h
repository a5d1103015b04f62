// Counting events in the journal of the tool (watch/journal.h).
//
//   if (isJournalOpen()) {
//       const JournalText text = {...};
//       const bool isNew = countEvent(JOURNAL_TEXT, {{&text, sizeof(text)}, {language, length + 1}, ...});
//   }
//
// An event is its kind and its bytes. Two events that are equal share a record, so a call that is made in each frame
// takes no more memory than one call. Any thread may count, also after a fork. Nothing here takes a lock or allocates
// memory with malloc, and errno does not change. Between two calls the game has no file open for the journal.
#pragma once

#include "watch/journal.h"

#include <initializer_list>
#include <stddef.h>

namespace watch {

struct JournalPart {
    const void* bytes;
    size_t size;
};

// True when the tool has made a journal. The first call maps it.
bool isJournalOpen();

// Counts an event. Returns true when this process counts it for the first time, so that the caller can add what belongs
// to it. An event that finds no room is counted as lost.
bool countEvent(e_JournalKind kind, std::initializer_list<JournalPart> parts);

// Adds a record with so many bytes, all 0, which the caller fills while the tool may read them. Returns its bytes; null
// when there is no room, and then counts an event as lost.
char* addBlock(e_JournalKind kind, uint32_t size);

// Counts the program or library that contains a place. Does nothing when there is none.
void countModule(const void* place);

} // namespace watch
