// Changes to the cursor that the XFixes extension makes. No call here waits for an answer to a change.
#pragma once

#include "macapi/src/display/windowserver_x11.h"

namespace macapi {

bool hasXFixes(const ServerLock& xserver);
bool hasBarriers(const ServerLock& xserver);

// Each call that hides needs one that shows. To the server, showing a visible cursor is an error.
void hideCursorOnServer(const ServerLock& xserver);
void showCursorOnServer(const ServerLock& xserver);

// Confines the pointer to this pixel of the root window. An earlier confinement ends.
void makeBarriers(const ServerLock& xserver, int x, int y);
void removeBarriers(const ServerLock& xserver);
void forgetBarriers(); // the barriers themselves are not removed

} // namespace macapi
