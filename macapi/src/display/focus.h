// The keyboard focus: AppKit's key window and the X server's focus window are the same window.
//
// GNUstep's AppKit loses the focus when one window replaces another, as in a switch to full screen:
//
// 1. The old window closes, and the window manager has the focus for a moment. AppKit sees this and deactivates the
//    application. When the new window gets the focus, AppKit does not activate the application again.
// 2. AppKit's request for the focus carries the time of the last event that AppKit has read. If a window manager has
//    moved the focus since that time, the server ignores the request as out of date.
//
// So this source adds one step each to two methods of AppKit's X back end, after the method's own work.
#pragma once

namespace macapi {

// Replaces the two methods, once, as soon as AppKit has loaded its X back end. Before that, a call only looks for
// AppKit's class.
void followFocus();

} // namespace macapi
