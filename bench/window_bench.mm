// The time to open a window until the screen shows its first frame, and to switch to full screen and back: with core,
// with messages to AppKit, and with Xlib alone, which is the limit.
//
// Each window is filled with green. A side has finished when the pixels of the screen are green, so all sides are
// measured in elapsed time. The program starts a virtual screen without a window manager: no window appears on the
// user's screen, and no window manager changes the times.
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

// Starts the virtual screen and connects to it. Returns false when that fails. The screen ends when this program
// ends.
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

// Looks at the pixels in a corner and in the middle of the screen.
static Shown shown()
{
    if (!isGreen(sc_screenWidth / 2, sc_screenHeight / 2)) {
        return NOTHING;
    }
    return isGreen(0, 0) ? FULL_SCREEN : A_WINDOW;
}

// ---- The sides

class Toolkit {
public:
    virtual ~Toolkit() = default;
    virtual void open() = 0;
    virtual void switchTo(bool fullScreen) = 0;
    virtual void close() = 0;
    virtual bool handleEvent() = 0; // returns false when no event waits
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

class AppKit : public Toolkit {
public:
    bool handleEvent() override
    {
        const Pool pool;
        NSEvent* event = [NSApp nextEventMatchingMask:NSAnyEventMask
                                            untilDate:[NSDate distantPast]
                                               inMode:NSDefaultRunLoopMode
                                              dequeue:YES];
        if (event) {
            [NSApp sendEvent:event];
        }
        return event != nil;
    }
};

class Core : public AppKit {
public:
    void open() override
    {
        const Pool pool;
        Platform::SetWindow(Platform::InitWindow(0, nullptr, "Brackenlow", nullptr, nullptr, 0, 0, sc_width,
                                                 sc_height, false, false, nullptr));
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

class BareAppKit : public AppKit {
public:
    void open() override
    {
        show(NSMakeRect(0, 0, sc_width, sc_height),
             NSTitledWindowMask | NSClosableWindowMask | NSMiniaturizableWindowMask);
    }

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
        [m_window setBackgroundColor:[NSColor blackColor]];
        [m_window setTitle:@"Brackenlow"];
        showGreen(m_window);
        if (style != NSBorderlessWindowMask) {
            [m_window center];
        }
        [m_window makeKeyAndOrderFront:nil];
    }

    NSWindow* m_window = nil; // AppKit releases the window when it closes
};

class Xlib : public Toolkit {
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

    bool handleEvent() override
    {
        XEvent event;
        if (XPending(s_display) == 0) {
            return false;
        }
        XNextEvent(s_display, &event);
        if (event.type == Expose && event.xexpose.window == m_window) {
            GC context = DefaultGC(s_display, 0);
            XSetForeground(s_display, context, 0x00ff00);
            XFillRectangle(s_display, m_window, context, 0, 0, sc_screenWidth, sc_screenHeight);
        }
        return true;
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

static void await(Toolkit& toolkit, Shown wanted)
{
    const double limit = Bench::now(CLOCK_MONOTONIC) + 20e9;
    while (shown() != wanted) {
        toolkit.handleEvent();
        if (Bench::now(CLOCK_MONOTONIC) > limit) {
            fprintf(stderr, "window_bench: a window did not open or close within 20 seconds\n");
            exit(1);
        }
    }
}

// Waits until the screen shows this, then handles all waiting events, so that the next side does not spend its time
// on them.
static void finish(Toolkit& toolkit, Shown wanted)
{
    await(toolkit, wanted);
    while (toolkit.handleEvent()) {
    }
}

static Toolkit* s_open; // the side whose window is open; null when there is none

static void closeAny()
{
    if (s_open) {
        s_open->close();
        finish(*s_open, NOTHING);
    }
    s_open = nullptr;
}

static Side opening(const char* name, Toolkit& toolkit)
{
    return {name,
            [&toolkit] {
                s_open = &toolkit;
                toolkit.open();
                await(toolkit, A_WINDOW);
                return 0;
            },
            closeAny};
}

static Side switching(const char* name, Toolkit& toolkit)
{
    return {name,
            [&toolkit] {
                toolkit.switchTo(true);
                await(toolkit, FULL_SCREEN);
                toolkit.switchTo(false);
                await(toolkit, A_WINDOW);
                return 0;
            },
            [&toolkit] {
                closeAny();
                s_open = &toolkit;
                toolkit.open();
                finish(toolkit, A_WINDOW);
            }};
}

int main(int argc, char** argv)
{
    const ScratchFolder folder;
    setenv("HOME", std::filesystem::current_path().c_str(), 1); // the folder of AppKit's defaults
    if (!openScreen()) {
        fprintf(stderr, "window_bench: not measured, Xvfb could not be started\n");
        return 0;
    }
    _NSLog_printf_handler = [](NSString*) {}; // AppKit logs many warnings on a screen without a window manager
    Platform::SystemCheck();
    Platform::SetApp(1);
    Core core;
    BareAppKit appKit;
    Xlib xlib;
    Bench bench(argc, argv);
    bench.compare("window, to its first frame", "window", 1,
                  {opening("core", core), opening("AppKit alone", appKit), opening("Xlib alone", xlib)},
                  CLOCK_MONOTONIC);
    bench.compare("window, to full screen and back", "switch", 2,
                  {switching("core", core), switching("AppKit alone", appKit), switching("Xlib alone", xlib)},
                  CLOCK_MONOTONIC);
    return bench.result();
}
