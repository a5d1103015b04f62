// Words that begin like a number and that the game reads as another number.
#pragma once

#include "tools/core-config/configtext.h"
#include "tools/core-config/fault.h"

namespace config {

// True for a word that begins with a digit, or with a sign or a point before a digit.
bool isLikeNumber(const ConfigText& text, const Word& word);

// True for a word that a reader of floats takes as a whole.
bool isNumber(const ConfigText& text, const Word& word);

// Adds the fault of a word that is like a number. isValue is false for the first word of a line, which can be a name
// such as "3d": then only a likely typing mistake is a fault.
void checkNumber(const ConfigText& text, const Word& word, bool isValue, Faults* faults);

} // namespace config
