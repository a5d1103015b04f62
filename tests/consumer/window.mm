// A game's own Objective-C++ next to core: what it needs to draw in a window. check.sh compares its output.
#include "core/platform.h"

#include <Cocoa/Cocoa.h>
#include <stdio.h>

int main()
{
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    NSRect frame = NSMakeRect(0, 0, 640, 480);
    const char* view = [NSStringFromClass([NSView class]) UTF8String];
    printf("%s %.0fx%.0f, %s\n", view, frame.size.width, frame.size.height, Platform::GetAppTitle());
    // Without a window server the result is null. A static library brings the window class only to a game that calls this.
    void* window = Platform::InitWindow(0, nullptr, "Game", nullptr, nullptr, 0, 0, 640, 480, false, false, nullptr);
    printf("%s, core's window class: %s\n", window ? "a window" : "no window",
           NSClassFromString(@"BKWindow") ? "found" : "not found");
    [pool release];
    return 0;
}
