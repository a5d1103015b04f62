// Objects in a program that has AppKit: there they answer Objective-C's messages, as the Mac's do.
//
//     NSDictionary* mode = (NSDictionary*)CGDisplayCurrentMode(kCGDirectMainDisplay);
//     int width = [[mode objectForKey:@"Width"] intValue];
//
// A program without it never loads any of it for our sake.
#pragma once

#include "macapi/src/objects/kinds.h"

#include <CoreFoundation/CoreFoundation.h>

#include <optional>
#include <string>

namespace macapi {

// The class for objects of a kind, made at the first question after Foundation was loaded; null until then.
const void* classOf(Kind kind);
bool isObjectClass(const void* objectsClass);

// An immortal object made before there were classes gets its own once there are.
void assignClass(const Object* object);

// The text of a string, ours or an NSString, as in __CFString. None when it is neither.
std::optional<std::string> textOf(CFTypeRef string);

} // namespace macapi
