// The journal: a file in shared memory, in which libcorewatch.so counts the events of a game for a tool.
//
// The tool makes the file and names it in the environment. The game maps the file and writes into the memory, so all that
// was written is there for the tool however the game ends. The file is a row of chunks of equal size. The first chunk
// begins with a JournalHead; after it, and in each further chunk, record follows record:
//
//     +------+------+-------+---------+---------------------+
//     | size | kind | count | process | the event's bytes   |   all numbers: 32 bits, in the byte order of the host
//     +------+------+-------+---------+---------------------+
//
// 1. A size is never 0 in a record, and it is stored first: the size 0 ends the records of the file.
// 2. A kind is stored last: a record of the kind 0 is torn, because its writer was stopped in the middle.
// 3. No record reaches into the next chunk. A record of the kind JOURNAL_SPACE fills the end of a chunk.
// 4. The form is the same for a 32-bit game and a 64-bit game of one host.
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
    uint32_t error; // the number of the system for the last of these
    uint32_t unused[11];
};

struct JournalRecord {
    uint32_t size;    // bytes, this head included
    uint32_t kind;    // e_JournalKind
    uint32_t count;   // how often the event happened; 0 if another record has the same event
    uint32_t process; // the process whose addresses are in the bytes: one number from the start of a program on
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

// A program or library that has places of events.
struct JournalModule {
    uint64_t begin; // address of its first byte
};

enum e_TextAnswer : uint32_t {
    TEXT_TRANSLATED, // the table had an entry; its text differs from the text that was asked for
    TEXT_SAME,       // the table had an entry with this text
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
