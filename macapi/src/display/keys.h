// Keys: the Mac's virtual key codes, 0 to 127. A code tells the place of a key, not the character printed on it.
//
// GNUstep's AppKit puts the X server's key code into its events. After translateKeyEvents has taken effect, key
// events from the server carry the Mac's code. Events that a program makes itself do not change.
#pragma once

namespace macapi {

// Replaces AppKit's method once, as soon as the program has loaded AppKit. Before that, a call only looks for
// AppKit's class.
void translateKeyEvents();

// Returns the Mac's code for a key code of the server; sc_noKey for a key that the Mac does not have or that is
// unknown.
unsigned short virtualKeyOf(unsigned int serversKey);
const unsigned short sc_noKey = 127;

} // namespace macapi
