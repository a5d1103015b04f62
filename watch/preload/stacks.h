// The different stacks of allocations, each once, by number.
#pragma once

#include "watch/preload/stack.h"

namespace watch {

// Returns the number of the stack of this thread from `caller` on; 0 when there is no memory for one more. `frame` is the
// frame address of the function that was called: the same for two calls from one place of the same stack.
uint32_t numberOfStack(const void* caller, const void* frame);

uint32_t stackCount(); // the numbers run from 1 to this one

// Adds each place of a stack to a message, with a text before each.
void addStackTo(Message& message, uint32_t number, const char* before);

} // namespace watch
