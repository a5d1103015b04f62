// Checks a value against its entry in a schema.
#pragma once

#include "tools/core-config/fault.h"
#include "tools/core-config/schema.h"

namespace config {

struct Value {
    size_t place;     // of its first byte, with the quote
    std::string text; // as it stands in the file; a string with its quotes
};

// Adds the fault of a value, if there is one: a wrong type, a value that the game reads as another one, a value out
// of its range, or none of the choices.
void checkValue(const NameSchema& name, const Value& value, Faults* faults);

// The usual case, for speed: returns true for a short value that checkValue finds right. Returns false if only
// checkValue can say it. The bytes are the value as it stands in the file; a string has its quotes.
bool isPlainlyRight(const NameSchema& name, const char* bytes, size_t length);

} // namespace config
