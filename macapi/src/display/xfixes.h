// Changes to the cursor that the XFixes extension makes. The calls that change something only send requests; call
// ServerLock::succeeded to see whether the server has accepted them.
#pragma once

#include "macapi/src/display/windowserver_x11.h"

namespace macapi {

bool hasXFixes(const ServerLock& xserver);
bool hasBarriers(const ServerLock& xserver);

// Each hide needs one show. The server reports an error for a show of a visible cursor.
void hideCursorOnServer(const ServerLock& xserver);
void showCursorOnServer(const ServerLock& xserver);

// Confines the pointer to this pixel of the root window. An earlier confinement ends.
void makeBarriers(const ServerLock& xserver, int x, int y);
void removeBarriers(const ServerLock& xserver);
void forgetBarriers(); // the barriers themselves are not removed

} // namespace macapi
