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
    printf("core's window class: %s\n", NSClassFromString(@"BKWindow") ? "found" : "not found");
    [pool release];
    return 0;
}
