// What you learn: OpenGL in core's window.
//
// The window gets an NSOpenGLView as its content. On a Mac this is the system's; elsewhere GNUstep's makes the
// context with GLX, and Mesa draws in software where there is no graphics card. Escape ends the program; window.mm
// explains the loop.
#include "core/platform.h"

#import <Cocoa/Cocoa.h>

#if __has_include(<OpenGL/gl.h>)
#include <OpenGL/gl.h>
#else
#include <GL/gl.h>
#endif
#include <stdio.h>

static bool s_running = true;

@implementation NSApplication (Game)

- (BOOL)windowShouldClose:(id)window
{
    (void)window;
    s_running = false;
    return NO;
}

@end

static void drawTriangle(NSOpenGLView* view)
{
    const NSSize size = [view bounds].size;
    [[view openGLContext] makeCurrentContext];
    glViewport(0, 0, static_cast<int>(size.width), static_cast<int>(size.height));
    glClearColor(0, 0, 0.4f, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    glBegin(GL_TRIANGLES);
    glColor3ub(255, 128, 0);
    glVertex2f(-0.8f, -0.8f);
    glVertex2f(0.8f, -0.8f);
    glVertex2f(0, 0.8f);
    glEnd();
}

// Prints the colour in the middle of the view, as a check that something was drawn.
static void printMiddle(NSOpenGLView* view)
{
    unsigned char colour[4] = {};
    const NSSize size = [view bounds].size;
    glReadPixels(static_cast<int>(size.width / 2), static_cast<int>(size.height / 2), 1, 1, GL_RGBA, GL_UNSIGNED_BYTE,
                 colour);
    printf("the middle is %s\n", colour[0] == 255 && colour[1] > 100 && colour[2] == 0 ? "orange" : "not orange");
}

static bool takeEvents()
{
    while (NSEvent* event = [NSApp nextEventMatchingMask:NSAnyEventMask
                                               untilDate:[NSDate distantPast]
                                                  inMode:NSDefaultRunLoopMode
                                                 dequeue:YES]) {
        if ([event type] == NSKeyDown) {
            s_running = s_running && Platform::RawKeyToLocalKey([event keyCode]) != 27;
        } else {
            [NSApp sendEvent:event];
        }
    }
    return s_running;
}

int main()
{
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    Platform::SetApp(1);
    void* window =
        Platform::InitWindow(0, nullptr, "OpenGL", nullptr, nullptr, 0, 0, 320, 200, false, false, nullptr);
    if (!window) {
        printf("there is no display\n");
        return 1;
    }
    Platform::SetWindow(window);
    NSOpenGLPixelFormatAttribute attributes[] = {NSOpenGLPFADoubleBuffer,
                                                 static_cast<NSOpenGLPixelFormatAttribute>(0)};
    NSOpenGLPixelFormat* format = [[[NSOpenGLPixelFormat alloc] initWithAttributes:attributes] autorelease];
    NSOpenGLView* view = [[NSOpenGLView alloc] initWithFrame:NSMakeRect(0, 0, 320, 200) pixelFormat:format];
    [(NSWindow*)window setContentView:view];
    Platform::SetWindowPos();

    for (int frame = 0; takeEvents(); ++frame) {
        drawTriangle(view);
        if (frame == 0) {
            printMiddle(view);
        }
        [[view openGLContext] flushBuffer]; // shows what was drawn
        Platform::Sleep(33);
    }
    [view release];
    Platform::DestructWindow(window);
    [pool release];
    return 0;
}
