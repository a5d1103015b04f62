// The journal: a file in shared memory, in which libcorewatch.so counts the events of a game for a tool.
//
// The tool makes the file and stores its path in an environment variable of the game. The game maps the file and
// writes into the memory. So the tool can read everything that was written, even if the game crashes. The file
// consists of chunks of equal size. The first chunk begins with a JournalHead. The rest of this chunk and all further
// chunks are filled with records:
//
//     +------+------+-------+---------+---------------------+
//     | size | kind | count | process | the event's bytes   |   all numbers: 32 bits, in the byte order of the host
//     +------+------+-------+---------+---------------------+
//
// 1. The size of a record is stored first and is never 0. A size of 0 marks the end of the records.
// 2. The kind of a record is stored last. A record of the kind 0 is torn: its writer was stopped before the end.
// 3. No record reaches into the next chunk. A record of the kind JOURNAL_SPACE fills the end of a chunk.
// 4. A 32-bit game and a 64-bit game of one host write the same format.
#pragma once

#include <stdint.h>

namespace watch {

static const char sc_journalMark[8] = {'c', 'o', 'r', 'e', 'j', 'r', 'n', 'l'};
static const uint32_t sc_journalVersion = 1;
static const uint32_t sc_journalChunk = 256 * 1024; // bytes
static const uint32_t sc_journalChunks = 1024;      // at most
static const uint32_t sc_journalAlignment = 8;      // of each record, and of its size

struct JournalHead {
    char mark[8];
    uint32_t version;
    uint32_t lost;  // events that could not be counted
    uint32_t error; // errno of the last event that could not be counted
    uint32_t unused[11];
};

struct JournalRecord {
    uint32_t size;    // bytes, this head included
    uint32_t kind;    // e_JournalKind
    uint32_t count;   // how often the event happened; 0 if another record has the same event
    uint32_t process; // the id of the process that opened the journal; forked children keep it
};

static_assert(sizeof(JournalHead) == 64, "the records begin at byte 64");
static_assert(sizeof(JournalRecord) == 16, "the bytes of an event begin at byte 16 of its record");

enum e_JournalKind : uint32_t {
    JOURNAL_TORN = 0,
    JOURNAL_SPACE = 1,
    JOURNAL_MODULE = 2,       // JournalModule, path
    JOURNAL_TEXT = 3,         // JournalText, language, NUL, text
    JOURNAL_STRINGS_FILE = 4, // language, NUL, path that the string table asked for, NUL, path of the file or nothing
    JOURNAL_READS = 16,       // a block of ReadEvent (watch/reads.h)
    JOURNAL_PREFERENCE = 17,  // PreferenceEvent (watch/reads.h)
};

// A program or library that contains return addresses of events.
struct JournalModule {
    uint64_t begin; // address of its first byte
};

enum e_TextAnswer : uint32_t {
    TEXT_TRANSLATED, // the table had an entry; its text differs from the text that was asked for
    TEXT_SAME,       // the table had an entry; its text is the text that was asked for
    TEXT_ADDED,      // the table had no entry and has one now
    TEXT_REFUSED,    // the table could not add an entry
};

static const unsigned int sc_journalCallers = 4;

// A call of StringTable::translate.
struct JournalText {
    uint64_t callers[sc_journalCallers]; // return addresses, the innermost first; 0: not asked for, or none
    uint32_t answer;                     // e_TextAnswer
    uint32_t length;                     // bytes; at most sc_journalText of them are in the event
    uint32_t table;                      // the number of the string table in its process
    uint32_t unused;
};

static const uint32_t sc_journalText = 16 * 1024;

} // namespace watch
