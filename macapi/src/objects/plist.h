// Property lists in XML.
//
// Strings, whole numbers, reals, booleans, dates, data, arrays and dictionaries are the same after they were written
// and read again. Comments, attributes and the order of a dictionary's keys are lost. A file that holds anything
// else, or is not well-formed XML in UTF-8, does not parse, and none of its values is used.
#pragma once

#include "macapi/src/objects/object.h"

#include <string>
#include <string_view>

namespace macapi {

const int sc_plistDepth = 128;     // levels of values inside values; more is taken for an attack
const int sc_plistValues = 250000; // values in one list; each may take about 200 bytes of memory beside its text

// Returns the value; null if the text does not parse. *isTooMuch, if isTooMuch is not null, becomes true if there are
// more than sc_plistValues values or too little memory: the text may then be good. Otherwise it becomes false.
Ref<Object> readPlist(std::string_view text, bool* isTooMuch = nullptr);

// Returns false, and does not change *text, if the value or a value inside it is not a property-list type, if values
// nest deeper than sc_plistDepth, or if there are more than sc_plistValues.
bool writePlist(const Object& value, std::string* text);

} // namespace macapi
