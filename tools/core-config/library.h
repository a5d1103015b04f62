// Asks the library what a game reads. The answers come from the library's own Parser and number reader, so the tool
// and a game cannot disagree.
#pragma once

#include "tools/core-config/configtext.h"
#include "tools/core-config/schema.h"
#include "watch/reads.h"

#include <string>
#include <vector>

namespace config {

// ---- A whole text, read as a game reads it

struct LineFacts {
    size_t firstWord;       // the place of the first word; NO_WORD for a line without words
    bool lacksValue;        // the line is "name =" and nothing more
    unsigned int taken = 0; // how often ParseLine took the line from its first word on
};

static const size_t NO_WORD = ~size_t(0);

// A word that a game gets although it does not stand where the author of the file expects it.
struct Taken {
    size_t line;  // the index of the line that the game was reading
    size_t place; // of the word; NO_WORD when the game gets none
    std::string text;
};

struct Reading {
    std::vector<Taken> pieces;   // the words with which ParseLine began in the middle of a line
    std::vector<Taken> swallows; // of the lines that lack a value: the word that the game takes for the value
};

// Reads text with Parser, as a game does: ParseLine, the first token and, of a line that lacks a value, "=" and
// the next token. Stores in each of the facts how often the line was taken.
Reading readAsGame(const ConfigText& text, std::vector<LineFacts>* facts);

// ---- Single values

// The messages that the library has logged since the last call, without colours. The tool's own log collects them.
std::vector<std::string> takeMessages();

// What the library's readers make of a word that begins like a number.
struct NumberFacts {
    bool isNumber;
    size_t integerLength; // bytes of the word that a reader of integers takes; 0 when it reads no number
    size_t length;        // bytes that a reader of floats takes
    float value;          // the float that it stores
};

// word ends at a space, a control character or a NUL.
NumberFacts numberFactsOf(const char* word);

// Returns what ParamEqualsInt32 stores for this word, as a text. The word must begin with an integer.
std::string asInt32(const std::string& word);

struct StoredValue {
    bool isRead;         // false: the reader has complained
    std::string text;    // what it stores
    std::string message; // its complaint
};

// Gives the line "name = word" to the library's reader of this type: one of TYPE_INT8 to TYPE_BOOL.
StoredValue readValue(e_ValueType type, const std::string& name, const std::string& word);

// Gives a text to one of the library's readers, as a game does: the line "name REST", of which the name was taken; for a
// reader of value lines REST alone. Returns the complaint without the line's number; an empty text if there is none.
std::string complaintOf(watch::e_Read reader, const std::string& name, const std::string& rest);

// Returns how a message shows a float: the shortest text that is read as the same float.
std::string shown(float value);

// Reads two lines by ParseInteger and its kin, the first with its blanks. Returns what the library takes for the
// second line.
std::string lineAfterValueLine(const std::string& first, const std::string& second);

// Returns the text of a string after its escapes are decoded.
std::string unescaped(const std::string& inside);

} // namespace config
