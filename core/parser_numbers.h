// The numbers of the parser's readers, for core's own sources.
#pragma once

// Reads a number at text as sscanf does, but alike on every host and in every locale: leading white space is skipped, a
// number has a point, and an integer is one of 64 bits, whose low ones are kept. Answers where the number ends, or null
// where there is none, and *value stays.
const char* ReadNumber(const char* text, long long* value);
const char* ReadNumber(const char* text, unsigned long long* value);
const char* ReadNumber(const char* text, float* value);
