// Counting events in the journal of the tool (watch/journal.h).
//
//   if (isJournalOpen()) {
//       const JournalText text = {...};
//       const bool isNew = countEvent(JOURNAL_TEXT, {{&text, sizeof(text)}, {language, length + 1}, ...});
//   }
//
// An event consists of its kind and its bytes. Equal events share a record, so a call that the game makes in each
// frame takes no more memory than one call. Any thread may count, also after a fork. After the first call of
// isJournalOpen, countEvent and addBlock take no lock; countModule takes the dynamic linker's lock. countEvent and
// addBlock do not call malloc. No function changes errno. The journal's file is open only during a call.
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

// Counts an event. Returns true when this process counts it for the first time: the caller can then add events that
// belong to it, such as its module. When the journal has no room for the event, counts it as lost and returns false.
bool countEvent(e_JournalKind kind, std::initializer_list<JournalPart> parts);

// Adds a record with `size` bytes, all 0. The caller fills the bytes later; the tool may read them at the same time.
// Returns the address of the bytes. When the journal has no room, counts an event as lost and returns null.
char* addBlock(e_JournalKind kind, uint32_t size);

// Counts the program or library that contains this address. Does nothing when no module contains it.
void countModule(const void* place);

} // namespace watch
