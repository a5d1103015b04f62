// The keyboard focus: AppKit's key window and the X server's focus window are the same window.
//
// AppKit here loses the focus where one window takes another one's place, as on a switch to full screen:
//
// 1. The old window goes, and the window manager has the focus for a moment. AppKit sees that and deactivates the
//    application. When the new window gets the focus, AppKit does not activate the application again.
// 2. AppKit asks for the focus with the time of the last event it has read. When a window manager has moved the focus
//    since then, the server ignores AppKit's request as out of date.
//
// So two methods of AppKit's X backend get a step of ours behind their own.
#pragma once

namespace macapi {

// Takes effect once, as soon as AppKit has loaded its X backend; costs next to nothing until then.
void followFocus();

} // namespace macapi
