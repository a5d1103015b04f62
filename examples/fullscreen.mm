// What you learn: full screen and back, keys, and the mouse. F switches, H hides the cursor, Escape ends the program.
//
// window.mm explains the window and its loop. SetFullscreenWindow closes the window and makes another one, so the
// view has to be attached again.
#include "core/platform.h"

#import <Cocoa/Cocoa.h>

#include <stdio.h>

static int s_mouseX, s_mouseY; // pixels from the lower left corner of the window's content
static bool s_isFullScreen, s_isCursorHidden, s_running = true;

@interface CrossView : NSView
@end

@implementation CrossView

- (void)drawRect:(NSRect)dirty
{
    (void)dirty;
    [(s_isFullScreen ? [NSColor blueColor] : [NSColor blackColor]) set];
    NSRectFill([self bounds]);
    [[NSColor yellowColor] set];
    NSRectFill(NSMakeRect(s_mouseX - 20, s_mouseY - 2, 40, 4));
    NSRectFill(NSMakeRect(s_mouseX - 2, s_mouseY - 20, 4, 40));
}

@end

static void setFullScreen(NSView* view, bool on)
{
    int width = 320, height = 200, bits = 0;
    if (on) {
        Platform::GetDesktopInfo(width, height, bits);
    }
    Platform::SetFullscreenWindow(Platform::GetWindow(), on, width, height);
    s_isFullScreen = on;
    s_running = Platform::GetWindow() != nullptr; // null when the new window could not be made
    [(NSWindow*)Platform::GetWindow() setContentView:view];
    printf("%s\n", on ? "full screen" : "framed");
}

static void handleKey(NSView* view, unsigned int key)
{
    if (key == 27) {
        s_running = false;
    } else if (key == 'f') {
        setFullScreen(view, !s_isFullScreen);
    } else if (key == 'h') {
        s_isCursorHidden = !s_isCursorHidden;
        Platform::ShowCursor(!s_isCursorHidden);
    } else {
        printf("key %u\n", key); // 'a' is 97; the arrow up is 146, F1 is 163
    }
}

static void handle(NSView* view, NSEvent* event)
{
    if ([event type] == NSKeyDown) {
        handleKey(view, Platform::RawKeyToLocalKey([event keyCode]));
        return;
    }
    if ([event type] == NSLeftMouseDown) {
        Platform::GetCursorPos(s_mouseX, s_mouseY); // where the cursor was at this event
        printf("click at %d, %d\n", s_mouseX, s_mouseY);
    }
    [NSApp sendEvent:event];
}

int main()
{
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    Platform::SystemCheck(); // saves the size of the desktop, from which a framed window gets its place
    Platform::SetApp(1);
    Platform::SetWindow(
        Platform::InitWindow(0, nullptr, "Full screen", nullptr, nullptr, 0, 0, 320, 200, false, false, nullptr));
    if (!Platform::GetWindow()) {
        printf("there is no display\n");
        return 1;
    }
    NSView* view = [[CrossView alloc] init];
    [(NSWindow*)Platform::GetWindow() setContentView:view];
    Platform::SetWindowPos();

    while (s_running && [view window]) { // the view has no window when the player has closed it
        NSAutoreleasePool* frame = [[NSAutoreleasePool alloc] init];
        while (NSEvent* event = s_running ? [NSApp nextEventMatchingMask:NSAnyEventMask
                                                               untilDate:[NSDate distantPast]
                                                                  inMode:NSDefaultRunLoopMode
                                                                 dequeue:YES]
                                          : nil) {
            handle(view, event);
        }
        [view display];
        [[view window] flushWindow];
        [frame release];
        Platform::Sleep(33);
    }
    Platform::ShowCursor(true);
    Platform::DestructWindow(Platform::GetWindow()); // ignores null, and a window that the player has closed
    [view release];
    [pool release];
    return 0;
}
