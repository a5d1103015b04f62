// The window class's plain C++ face: each call is a few messages to AppKit, and all rules stand above it.
//
// A build without AppKit has a stand-in for what is behind it.
#pragma once

// Whether windows and alerts can be shown; nothing else below may be called otherwise.
bool BKHasWindowServer();

// A modal alert with one button; its result, 1 for the button.
int BKRunAlert(const char* title, const char* message, const char* button);
