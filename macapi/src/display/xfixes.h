// What the X server can do to its cursor for us, where XFixes is at hand. Nothing here waits for the server.
#pragma once

#include "macapi/src/display/windowserver_x11.h"

namespace macapi {

bool hasXFixes(const Visit& visit);
bool hasBarriers(const Visit& visit);

// Each hide wants one show; to the server one too many is an error.
void hide(const Visit& visit);
void show(const Visit& visit);

// Keeps the pointer in this pixel of the root window, and no longer in the one of an earlier call.
void fence(const Visit& visit, int x, int y);
void unfence(const Visit& visit);
void forgetFence(); // leaves it standing

} // namespace macapi
