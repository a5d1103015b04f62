// Reads numbers for the parser. Not for games.
#pragma once

// Reads a number like sscanf, but with the same result on every host and in every locale. Skips leading white
// space. The decimal separator is a point, and an integer is read with 64 bits: out of range it is the largest or
// smallest 64-bit integer. Returns the end of the number. Returns null, and does not change *value, if text does
// not begin with a number.
const char* ReadNumber(const char* text, long long* value);
const char* ReadNumber(const char* text, unsigned long long* value);
const char* ReadNumber(const char* text, float* value);
