// What you learn: a window, its event loop, and drawing with AppKit.
//
// core makes the window; the void* of core/platform.h is an NSWindow. The game's own Objective-C++ gives it a view,
// fetches the events, and draws. Escape and the close button end the program.
#include "core/platform.h"

#import <Cocoa/Cocoa.h>

#include <stdio.h>

static bool s_running = true;
static float s_seconds; // since the start

@interface FieldView : NSView
@end

@implementation FieldView

- (void)drawRect:(NSRect)dirty
{
    (void)dirty;
    const NSRect field = [self bounds];
    [[NSColor colorWithCalibratedRed:0.2 green:0.5 blue:0.2 alpha:1] set];
    NSRectFill(field);
    const float x = 20 + 60 * s_seconds; // 60 pixels in a second, whatever the time between two frames
    [[NSColor orangeColor] set];
    [[NSBezierPath bezierPathWithOvalInRect:NSMakeRect(x, field.size.height / 2, 40, 40)] fill];
    [@"Escape ends the program" drawAtPoint:NSMakePoint(20, 20)
                             withAttributes:[NSDictionary dictionaryWithObject:[NSColor whiteColor]
                                                                        forKey:NSForegroundColorAttributeName]];
}

@end

// The application is the delegate of core's windows: AppKit asks it whether a window may close. The game closes its
// window itself, at the end.
@implementation NSApplication (Game)

- (BOOL)windowShouldClose:(id)window
{
    (void)window;
    s_running = false;
    return NO;
}

@end

static void handleEvents()
{
    while (NSEvent* event = [NSApp nextEventMatchingMask:NSAnyEventMask
                                               untilDate:[NSDate distantPast] // do not wait
                                                  inMode:NSDefaultRunLoopMode
                                                 dequeue:YES]) {
        if ([event type] == NSKeyDown) {
            s_running = s_running && Platform::RawKeyToLocalKey([event keyCode]) != 27; // 27: Escape
        } else {
            [NSApp sendEvent:event]; // a key that is sent on makes AppKit beep
        }
    }
}

int main()
{
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    Platform::SystemCheck();
    Platform::SetApp(1); // before the first window
    void* window =
        Platform::InitWindow(0, nullptr, "A window", nullptr, nullptr, 0, 0, 320, 200, false, false, nullptr);
    if (!window) {
        printf("there is no display\n");
        return 1;
    }
    Platform::SetWindow(window);
    NSView* view = [[[FieldView alloc] init] autorelease];
    [(NSWindow*)window setContentView:view];
    Platform::SetWindowPos(); // shows the window in the middle of the screen

    const unsigned int start = Platform::GetTime();
    while (s_running) {
        NSAutoreleasePool* frame =
            [[NSAutoreleasePool alloc] init]; // for the objects that AppKit makes in this frame
        handleEvents();
        s_seconds = static_cast<float>(Platform::GetTime() - start) / 1000;
        [view display];
        [(NSWindow*)window flushWindow];
        [frame release];
        Platform::Sleep(33); // about 30 frames in a second
    }
    Platform::DestructWindow(window);
    printf("the window is closed\n");
    [pool release];
    return 0;
}
