// Our objects as Objective-C objects, in a program that has AppKit. README.md has the rules of this folder.
//
//     NSDictionary* mode = (NSDictionary*)CGDisplayCurrentMode(kCGDirectMainDisplay);
//     int width = [[mode objectForKey:@"Width"] intValue];
//
// These functions load no library. A program has AppKit if it links AppKit itself, or after its first window.
#pragma once

#include "macapi/src/objects/kinds.h"

#include <CoreFoundation/CoreFoundation.h>

#include <optional>
#include <string>

namespace macapi {

// Makes the classes, once, if Foundation is loaded. Call this only if hasObjectiveC returns true.
void makeClasses();

// Returns the Objective-C class for objects of a kind; null before Foundation is loaded. The first call after
// Foundation was loaded makes the classes.
const void* classOf(Kind kind);
bool isObjectClass(const void* objectsClass);

// Gives an immortal object its class: now if the classes exist, else when they are made.
void assignClass(const Object* object);

// Returns the text of a __CFString or an NSString in UTF-8; nothing for any other object.
std::optional<std::string> textOf(CFTypeRef string);

} // namespace macapi
