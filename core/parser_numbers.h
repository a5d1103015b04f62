// Reading numbers for the parser. Not for games.
#pragma once

// Reads a number as sscanf does, with the same result on every host and in every locale: leading white space is skipped,
// the decimal point is a point, and an integer is read with 64 bits. Returns the place behind the number. Returns null,
// and leaves *value unchanged, when text does not begin with a number.
const char* ReadNumber(const char* text, long long* value);
const char* ReadNumber(const char* text, unsigned long long* value);
const char* ReadNumber(const char* text, float* value);
