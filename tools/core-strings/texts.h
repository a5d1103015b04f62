// What a key and its translation must have in common.
#pragma once

#include <stddef.h>
#include <string>
#include <vector>

// The arguments that a printf format takes, one text for each: the type, such as "d", "ls" or "*" for a width that is
// an argument. "%2$s" names the second argument. A '%' that begins no conversion, or begins one with a blank ("100 %
// sure"), takes none.
struct Conversions {
    std::vector<std::string> types;
    bool isValid = true; // false: a '%' begins no conversion, or an argument has two types or none
};

Conversions conversionsOf(const std::string& text);

// Returns true if both texts take the same arguments. A text that takes none may have any '%'.
bool haveSameConversions(const std::string& key, const std::string& translation);

// Returns the conversions as in the text, for messages: "%d %s"; "none" if there are none.
std::string listConversions(const std::string& text);

// Returns the marks of colours in a text, sorted: "^CFF0000" and "^c".
std::vector<std::string> coloursOf(const std::string& text);

// Returns the length of the conversion or colour mark at a place of a text; 0 if neither begins there.
size_t lengthOfMark(const std::string& text, size_t at);

// Returns the offset of the first byte that is not valid UTF-8; std::string::npos if all are.
size_t findInvalidUtf8(const std::string& text);

// Returns the text with 'A' to 'Z' in lower case: two keys that differ in case alone are one key for a game.
std::string foldCase(const std::string& text);

// Returns the blanks and line feeds at the begin or at the end of a text.
std::string leadingBlanks(const std::string& text);
std::string trailingBlanks(const std::string& text);

// Returns how similar two texts are: 1 if they are equal, 0 if they have nothing in common. Both texts are truncated
// to 400 bytes.
double similarity(const std::string& left, const std::string& right);
