// What a game makes of a strings file. The library's own parser and string table read the file, so that the tool and
// a game cannot disagree.
#pragma once

#include <stddef.h>
#include <string>
#include <vector>

// A text between double quotes, as the parser returned it.
struct QuotedText {
    bool isPresent = false;
    size_t begin = 0; // offset in the text of the file: the byte after the opening quote
    size_t end = 0;   // offset of the closing quote
    std::string text; // without escapes, as the game gets it
};

// A line that the parser took. It is an entry when it has a value.
struct TakenLine {
    size_t begin = 0; // offsets in the text of the file; the end is the line feed or the end of the text
    size_t end = 0;
    bool isRepeated = false; // the parser took the end of this line before, or takes a part of the line
    QuotedText key;
    bool hasEquals = false;
    QuotedText value;
    bool isFound = false; // the string table answers the key with this line's value
};

struct GamesView {
    std::string text;             // of the file, without byte-order mark, up to the first NUL
    std::vector<TakenLine> lines; // in the order in which the parser took them
};

// Reads the bytes of a strings file as a game does.
GamesView readAsGame(const std::string& bytes);

// Reads one line. Returns true if it is an entry.
bool readEntry(const std::string& line, std::string* key, std::string* translation);

// Returns the text without escapes; false if the library does not know one of its escapes.
bool decodeEscapes(const std::string& escaped, std::string* text);

// Returns the text with the escapes that the string table's export writes.
std::string encodeEscapes(const std::string& text);
