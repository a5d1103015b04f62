// The messages that our objects answer in a program with AppKit: one function for each set of methods.
#pragma once

#include "macapi/src/appkit/objc.h"

namespace macapi {

void addObjectMethods(Class to); // counting of references; every class gets these
void addArrayMethods(Class to);
void addDataMethods(Class to);
void addDictionaryMethods(Class to);
void addNumberMethods(Class to); // for numbers and booleans
void addStringMethods(Class to);

} // namespace macapi
