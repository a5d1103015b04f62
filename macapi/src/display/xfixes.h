// What the X server can do to its cursor for us, where XFixes is at hand. Nothing here waits for the server.
#pragma once

#include "macapi/src/display/windowserver_x11.h"

namespace macapi {

bool hasXFixes(const ServerLock& xserver);
bool hasBarriers(const ServerLock& xserver);

// Each hide wants one show; to the server one too many is an error.
void hideCursorOnServer(const ServerLock& xserver);
void showCursorOnServer(const ServerLock& xserver);

// Keeps the pointer in this pixel of the root window, and no longer in the one of an earlier call.
void makeBarriers(const ServerLock& xserver, int x, int y);
void removeBarriers(const ServerLock& xserver);
void forgetBarriers(); // leaves it standing

} // namespace macapi
