// What a game reads from its files: the events that libcorewatch.so writes for core-config.
//
// The events are in records of the journal (watch/journal.h) of the kind JOURNAL_READS. Such a record is a block that the
// game fills from its beginning, event by event. The bytes after the last event are 0. The events of a process are in the
// order in which they happened, also across blocks:
//
//     +------+------+--------+-------+------+------------------+
//     | size | what | result | place | text | name, or bytes   |   the head is a ReadEvent; size is stored last
//     +------+------+--------+-------+------+------------------+
//
// 1. The address of its first byte identifies a text. When a parser begins to read a text, READ_TEXT events contain
//    the text's bytes. Later events with the same address belong to this text.
// 2. A place is a number of bytes from the start of the text. Exceptions: in READ_FILE and READ_TEXT, place is the
//    number of bytes after the event. In READ_FILE, result is 1 if the absolute path is known.
#pragma once

#include <stdint.h>

namespace watch {

static const uint32_t sc_readsBlock = 64 * 1024; // bytes of a record
static const uint32_t sc_readsPiece = 16 * 1024; // bytes of a text in one event, at most
static const uint32_t sc_readsName = 1024;       // bytes of a name or a path, at most
static const uint32_t sc_noPlace = 0xffffffff;

enum e_Read : uint8_t {
    READ_FILE = 1, // the game has opened a file. After the event: the path in the game's call, NUL, the absolute path
    READ_TEXT,     // a piece of a text that a parser begins to read. result: 1 for the first piece; place: its size
    READ_LINE,     // ParseLine. place: the line without leading blanks
    READ_TOKEN,    // GetToken. place: the token
    READ_STRING,   // GetString. place: the first byte after the opening quote
    READ_EQUALS,   // GetEqualsToken
    READ_OPEN,     // GetOpenBrace
    READ_CLOSE,    // GetCloseBrace
    READ_ASK,      // the game compared the first token of the line with a name, and they differ
    READ_NAME,     // the game compared the first token of the line with a name, and they are equal

    // Readers of named parameters. result: 1 if the token equals the name. place: the line position before the call.
    // After the event: the name, NUL, the size of the game's buffer for a text (0 for other types), NUL, and if
    // result is 0 the value in the game's variable. A float is written as its bits, in eight hexadecimal digits.
    READ_INT8,
    READ_INT16,
    READ_INT32,
    READ_UINT32,
    READ_INT64,
    READ_FLOAT32,
    READ_BOOL,
    READ_TEXTVALUE, // ParamEqualsString
    READ_INT32_2,
    READ_INT32_2X,
    READ_FLOAT32_2,
    READ_FLOAT32_2X,

    // Readers of numbers at the line position. result: 1 if all values were read. place: the line position before the
    // call.
    READ_GET_INT,
    READ_GET_INT2,
    READ_GET_INT3,
    READ_GET_FLOAT,
    READ_GET_FLOAT2,
    READ_GET_BOOL, // result: the value

    // Readers of value lines. result: 1 if all values were read. place: the line.
    READ_LINE_STRING,
    READ_LINE_CHAR,
    READ_LINE_UTF8,
    READ_LINE_INT,
    READ_LINE_INT2,
    READ_LINE_INT2X,
    READ_LINE_INT3,
    READ_LINE_FLOAT,
    READ_LINE_FLOAT2,
    READ_LINE_FLOAT2X,
    READ_COUNT
};

struct ReadEvent {
    uint16_t size; // of the event, a multiple of 8
    uint8_t what;  // e_Read
    uint8_t result;
    uint32_t place;
    uint64_t text;
};

static_assert(sizeof(ReadEvent) == 16, "the name begins at byte 16 of its event");

// A call of Preferences::read or ReadKey: an event of the kind JOURNAL_PREFERENCE in the journal. After it come the
// path of the preferences file, as the game passed it to Preferences::init, the section, the key, the default, and
// the value in the file. Each ends in a NUL.
struct PreferenceEvent {
    uint8_t isNumber;
    uint8_t hasDefault;
    uint8_t hasValue;  // the preferences file has the entry
    uint8_t isMissing; // the preferences file can't be opened
};

} // namespace watch
