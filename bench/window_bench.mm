// What a window costs until the screen shows its first frame, and a switch to full screen and back: with core, with
// AppKit's own messages, and with the X server's window alone, which is the limit.
//
// The frame is green. A side is done when the pixels of the screen are, so all are told in time on the clock. The screen
// is a virtual one without a window manager: nobody's own flickers, and none is in the way.
//
//     window_bench [PART OF A SUBJECT]
#include "core/platform.h"

#include "peers.h"
#include "scratch.h"

#import <AppKit/AppKit.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <stdio.h>
#include <stdlib.h>
#include <string>

static const int sc_screenWidth = 1280;
static const int sc_screenHeight = 800;
static const int sc_width = 800;
static const int sc_height = 600;

// ---- The screen

enum Shown { NOTHING, A_WINDOW, FULL_SCREEN };

static Display* s_display;

// Whether there is a screen now. It ends with its last program, which is this one.
static bool openScreen()
{
    const std::string size = std::to_string(sc_screenWidth) + "x" + std::to_string(sc_screenHeight) + "x24";
    FILE* server = popen(("exec Xvfb -displayfd 1 -terminate -screen 0 " + size + " 2>/dev/null").c_str(), "r");
    int number = 0;
    if (!server || fscanf(server, "%d", &number) != 1) {
        return false;
    }
    setenv("DISPLAY", (":" + std::to_string(number)).c_str(), 1);
    s_display = XOpenDisplay(nullptr);
    return s_display != nullptr;
}

static bool isGreen(int x, int y)
{
    XImage* image = XGetImage(s_display, DefaultRootWindow(s_display), x, y, 1, 1, AllPlanes, ZPixmap);
    const unsigned long colour = XGetPixel(image, 0, 0) & 0xffffff;
    XDestroyImage(image);
    return colour == 0x00ff00;
}

// By a corner and the middle.
static Shown shown()
{
    if (!isGreen(sc_screenWidth / 2, sc_screenHeight / 2)) {
        return NOTHING;
    }
    return isGreen(0, 0) ? FULL_SCREEN : A_WINDOW;
}

// ---- The sides

class Side_i {
public:
    virtual ~Side_i() = default;
    virtual void open() = 0;
    virtual void switchTo(bool fullScreen) = 0;
    virtual void close() = 0;
    virtual void handleEvent() = 0; // if there is one
};

@interface GreenView : NSView
@end

@implementation GreenView

- (BOOL)isOpaque
{
    return YES;
}

- (void)drawRect:(NSRect)dirty
{
    [[NSColor greenColor] set];
    NSRectFill(dirty);
}

@end

class Pool {
public:
    ~Pool() { [m_pool release]; }

private:
    NSAutoreleasePool* m_pool = [[NSAutoreleasePool alloc] init];
};

static void showGreen(void* window)
{
    [static_cast<NSWindow*>(window) setContentView:[[[GreenView alloc] init] autorelease]];
}

class AppKitSide : public Side_i {
public:
    void handleEvent() override
    {
        const Pool pool;
        NSEvent* event = [NSApp nextEventMatchingMask:NSAnyEventMask
                                            untilDate:[NSDate distantPast]
                                               inMode:NSDefaultRunLoopMode
                                              dequeue:YES];
        if (event) {
            [NSApp sendEvent:event];
        }
    }
};

class CoreSide : public AppKitSide {
public:
    void open() override
    {
        const Pool pool;
        Platform::SetWindow(Platform::InitWindow(0, nullptr, "Brackenlow", nullptr, nullptr, 0, 0, sc_width, sc_height,
                                                 false, false, nullptr));
        showGreen(Platform::GetWindow());
        Platform::SetWindowPos();
    }

    void switchTo(bool fullScreen) override
    {
        const Pool pool;
        Platform::SetFullscreenWindow(Platform::GetWindow(), fullScreen, fullScreen ? sc_screenWidth : sc_width,
                                      fullScreen ? sc_screenHeight : sc_height);
        showGreen(Platform::GetWindow());
    }

    void close() override { Platform::DestructWindow(Platform::GetWindow()); }
};

class BareAppKitSide : public AppKitSide {
public:
    void open() override { show(NSMakeRect(0, 0, sc_width, sc_height), 7); }

    void switchTo(bool fullScreen) override
    {
        close();
        fullScreen ? show([[NSScreen mainScreen] frame], NSBorderlessWindowMask) : open();
    }

    void close() override
    {
        const Pool pool;
        [m_window close];
    }

private:
    void show(NSRect contents, unsigned int style)
    {
        const Pool pool;
        m_window = [[NSWindow alloc] initWithContentRect:contents
                                               styleMask:style
                                                 backing:NSBackingStoreBuffered
                                                   defer:NO];
        showGreen(m_window);
        if (style != NSBorderlessWindowMask) {
            [m_window center];
        }
        [m_window makeKeyAndOrderFront:nil];
    }

    NSWindow* m_window = nil; // it is released when it closes
};

class XSide : public Side_i {
public:
    void open() override
    {
        show((sc_screenWidth - sc_width) / 2, (sc_screenHeight - sc_height) / 2, sc_width, sc_height);
    }

    void switchTo(bool fullScreen) override
    {
        close();
        fullScreen ? show(0, 0, sc_screenWidth, sc_screenHeight) : open();
    }

    void close() override { XDestroyWindow(s_display, m_window); }

    void handleEvent() override
    {
        XEvent event;
        if (XPending(s_display) == 0) {
            return;
        }
        XNextEvent(s_display, &event);
        if (event.type == Expose && event.xexpose.window == m_window) {
            GC context = DefaultGC(s_display, 0);
            XSetForeground(s_display, context, 0x00ff00);
            XFillRectangle(s_display, m_window, context, 0, 0, sc_screenWidth, sc_screenHeight);
        }
    }

private:
    void show(int x, int y, unsigned int width, unsigned int height)
    {
        m_window = XCreateSimpleWindow(s_display, DefaultRootWindow(s_display), x, y, width, height, 0, 0, 0);
        XSelectInput(s_display, m_window, ExposureMask);
        XMapRaised(s_display, m_window);
    }

    Window m_window = 0;
};

// ---- The subjects

static void await(Side_i& side, Shown wanted)
{
    while (shown() != wanted) {
        side.handleEvent();
    }
}

static Side_i* s_open; // whose window is on the screen

static void closeAny()
{
    if (s_open) {
        s_open->close();
        await(*s_open, NOTHING);
    }
    s_open = nullptr;
}

static void open(Side_i& side)
{
    side.open();
    await(side, A_WINDOW);
    s_open = &side;
}

static Side opening(const char* name, Side_i& side)
{
    return {name,
            [&side] {
                open(side);
                return 0;
            },
            closeAny};
}

static Side switching(const char* name, Side_i& side)
{
    return {name,
            [&side] {
                side.switchTo(true);
                await(side, FULL_SCREEN);
                side.switchTo(false);
                await(side, A_WINDOW);
                return 0;
            },
            [&side] {
                closeAny();
                open(side);
            }};
}

int main(int argc, char** argv)
{
    const ScratchFolder folder;
    setenv("HOME", std::filesystem::current_path().c_str(), 1); // where AppKit keeps its defaults
    if (!openScreen()) {
        fprintf(stderr, "window_bench: left out, there is no Xvfb\n");
        return 0;
    }
    Platform::SystemCheck();
    Platform::SetApp(1);
    CoreSide core;
    BareAppKitSide appKit;
    XSide x;
    Bench bench(argc, argv);
    bench.compare("window, to its first frame", "window", 1,
                  {opening("core", core), opening("AppKit alone", appKit), opening("Xlib alone", x)}, CLOCK_MONOTONIC);
    bench.compare("window, to full screen and back", "switch", 2,
                  {switching("core", core), switching("AppKit alone", appKit), switching("Xlib alone", x)},
                  CLOCK_MONOTONIC);
    return bench.result();
}
