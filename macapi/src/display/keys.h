// Keys: the Mac's virtual key codes, 0 to 127, which tell where a key is and not what is printed on it.
//
// AppKit here hands on the X server's codes with its events. Once there is a server to talk to, the events that come
// from it carry the Mac's; those that a program makes itself stay as they are.
#pragma once

namespace macapi {

// Takes effect once, as soon as the program has loaded AppKit; costs next to nothing until then.
void translateKeyEvents();

// sc_noKey for a key that the Mac doesn't have, or that is unknown.
unsigned short virtualKeyOf(unsigned int serversKey);
const unsigned short sc_noKey = 127;

} // namespace macapi
