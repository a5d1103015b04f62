// A game's own Objective-C++ next to core: what it needs to draw in a window. Its output is one line.
#include "core/platform.h"

#include <Cocoa/Cocoa.h>
#include <stdio.h>

int main()
{
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    NSRect frame = NSMakeRect(0, 0, 640, 480);
    const char* view = [NSStringFromClass([NSView class]) UTF8String];
    printf("%s %.0fx%.0f, %s\n", view, frame.size.width, frame.size.height, Platform::GetAppTitle());
    [pool release];
    return 0;
}
