// The kinds of objects, and what differs between them.
//
// A new kind gets an enumerator here and a row in the table of kinds.cpp. The compiler reports a missing or misplaced
// row.
#pragma once

#include "macapi/src/appkit/objc.h"

namespace macapi {

class Object;

enum class Kind { Array, Boolean, Bundle, Data, Date, Dictionary, Number, String, URL };
const int sc_kindCount = static_cast<int>(Kind::URL) + 1; // URL is the last

struct KindEntry {
    Kind kind;
    void (*destroy)(const Object* object); // deletes an object of this kind
    const char* className;                 // the Objective-C class of such objects in a program with AppKit
    const char* superclass;                // that class's superclass, one of Foundation's
    void (*addMethods)(Class to);          // adds the messages that such objects answer
};

const KindEntry& entryOf(Kind kind);

} // namespace macapi
