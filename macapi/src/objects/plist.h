// Property lists, in their XML form.
//
// Strings, whole numbers, reals, booleans, dates, data, arrays and dictionaries come back from a file as they went
// in; what only shapes the file does not: comments, attributes, the order of a dictionary's keys. A file that holds
// anything else, or is no well-formed UTF-8 XML, does not parse, and nothing of it is used.
#pragma once

#include "macapi/src/objects/object.h"

#include <string>
#include <string_view>

namespace macapi {

const int sc_plistDepth = 128;     // values inside values; what nests deeper was made to do harm
const int sc_plistValues = 250000; // in all; each may take some 200 bytes of memory beside its text

// Null when the text does not parse. *isTooMuch, where it is asked for, tells whether the reason is that it holds more
// than sc_plistValues, or that there is no memory for it.
Ref<Object> readPlist(std::string_view text, bool* isTooMuch = nullptr);

// False, and nothing written, when the value or one inside it has no place in a property list or lies too deep, or when
// they are more than sc_plistValues.
bool writePlist(const Object& value, std::string* text);

} // namespace macapi
