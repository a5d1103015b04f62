// The window on a real screen, with a window manager and without one: AppKit's windows, the server's pixels, and what the
// user does to them. Pictures of the screen stay in the build folder, for people to look at.
#include "core/platform.h"
#include "tests/support/hostile_screen.h"
#include "tests/support/x_server.h"

#include <ApplicationServices/ApplicationServices.h>

#import <AppKit/AppKit.h>

#include <gtest/gtest.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <chrono>
#include <functional>
#include <malloc.h>
#include <new>
#include <objc/runtime.h>
#include <set>
#include <sstream>
#include <string>
#include <sys/prctl.h>
#include <vector>

#include "tests/support/openbox.h" // X11 defines words that GoogleTest uses, so it comes after it

@interface NSWindow (TheGamesView)
- (void)setGLView:(id)view;
- (id)getGLView;
@end

struct Desktop {
    int width;
    int height;
    bool manager; // openbox

    std::string name() const
    {
        return std::to_string(width) + "x" + std::to_string(height) + (manager ? "_managed" : "_plain");
    }
};

// A game on a desktop: white, so that black windows can be told from it.
class GameScreen : public XServer {
protected:
    void open(const Desktop& desktop)
    {
        m_name = desktop.name();
        XServer::SetUp();
        if (IsSkipped()) {
            return;
        }
        if (desktop.manager && system("command -v openbox > /dev/null") != 0) {
            GTEST_SKIP() << "there is no openbox";
        }
        setenv("HOME", ".", 1); // where AppKit keeps its defaults
        start((std::to_string(desktop.width) + "x" + std::to_string(desktop.height) + "x24").c_str());
        m_display = XOpenDisplay(nullptr);
        ASSERT_TRUE(m_display);
        m_root = DefaultRootWindow(m_display);
        XSetErrorHandler([](Display*, XErrorEvent*) { return 0; }); // a window may go while it is asked for
        if (desktop.manager) {
            m_manager = startOpenbox(m_display, m_root);
        }
        XSetWindowBackground(m_display, m_root, WhitePixel(m_display, 0));
        XClearWindow(m_display, m_root);
        XFlush(m_display);
        ASSERT_EQ(DisplayWidth(m_display, 0), desktop.width);
        ASSERT_EQ(DisplayHeight(m_display, 0), desktop.height);
        m_pool = [[NSAutoreleasePool alloc] init];
    }

    void TearDown() override
    {
        [m_pool release];
        if (m_manager > 0) {
            kill(m_manager, SIGKILL);
            waitpid(m_manager, nullptr, 0);
        }
        XServer::TearDown();
    }

    // The start of a game, up to its window, which is current then.
    static NSWindow* startGame(int width = 800, int height = 600)
    {
        Platform::SystemCheck();
        Platform::SetApp(1);
        Platform::SetWindow(Platform::InitWindow(0, nullptr, "Brackenlow", nullptr, nullptr, 100, 100, width, height,
                                                 false, false, nullptr));
        return window();
    }

    static NSWindow* window() { return static_cast<NSWindow*>(Platform::GetWindow()); }

    // What a game does with an event. False when none comes.
    static bool handleEvent()
    {
        NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
        NSDate* soon = [NSDate dateWithTimeIntervalSinceNow:0.01];
        NSEvent* event = [NSApp nextEventMatchingMask:NSAnyEventMask
                                            untilDate:soon
                                               inMode:NSDefaultRunLoopMode
                                              dequeue:YES];
        if (event) {
            [NSApp sendEvent:event];
        }
        [pool release];
        return event != nil;
    }

    // Goes on with events meanwhile. False when it takes too long.
    static bool waitFor(const std::function<bool()>& condition)
    {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        bool met = false;
        while (!(met = condition()) && std::chrono::steady_clock::now() < limit) {
            handleEvent();
        }
        return met;
    }

    // x, y, width and height of a window's contents as the server has them, y down. Empty when it shows no such window.
    std::string onScreen(NSWindow* shown)
    {
        XWindowAttributes attributes;
        const Window number = static_cast<Window>(reinterpret_cast<uintptr_t>([shown windowRef]));
        if (!XGetWindowAttributes(m_display, number, &attributes) || attributes.map_state != IsViewable) {
            return "";
        }
        int x = 0;
        int y = 0;
        Window child;
        XTranslateCoordinates(m_display, number, m_root, 0, 0, &x, &y, &child);
        return std::to_string(x) + " " + std::to_string(y) + " " + std::to_string(attributes.width) + " " +
               std::to_string(attributes.height);
    }

    // Red, green and blue of the screen there, y down.
    unsigned long pixel(int x, int y)
    {
        XImage* image = XGetImage(m_display, m_root, x, y, 1, 1, AllPlanes, ZPixmap);
        const unsigned long color = XGetPixel(image, 0, 0) & 0xffffff;
        XDestroyImage(image);
        return color;
    }

    std::string cursor()
    {
        Window root, child;
        int x, y, localX, localY;
        unsigned int buttons;
        XQueryPointer(m_display, m_root, &root, &child, &x, &y, &localX, &localY, &buttons);
        return std::to_string(x) + " " + std::to_string(y);
    }

    void photograph(const char* what)
    {
        system("mkdir -p " SCREENSHOTS);
        system(("import -window root " SCREENSHOTS "/" + m_name + "_" + what + ".png 2> /dev/null").c_str());
    }

    unsigned int windowsOnServer()
    {
        Window root, parent;
        Window* children = nullptr;
        unsigned int count = 0;
        XQueryTree(m_display, m_root, &root, &parent, &children, &count);
        XFree(children);
        return count;
    }

    // An alert's panel: the one window of that size. Only without a manager, who would put it into another one.
    bool findPanel(int& x, int& y, int& width, int& height)
    {
        Window root, parent;
        Window* children = nullptr;
        unsigned int count = 0;
        XQueryTree(m_display, m_root, &root, &parent, &children, &count);
        bool found = false;
        for (unsigned int i = 0; i < count && !found; i++) {
            XWindowAttributes attributes;
            found = XGetWindowAttributes(m_display, children[i], &attributes) && attributes.map_state == IsViewable &&
                    attributes.width > 200;
            x = attributes.x;
            y = attributes.y;
            width = attributes.width;
            height = attributes.height;
        }
        XFree(children);
        return found;
    }

    Display* m_display = nullptr; // the test's own connection
    Window m_root = 0;

private:
    std::string m_name;
    pid_t m_manager = 0;
    NSAutoreleasePool* m_pool = nil;
};

static std::string describe(const NSRect& rect)
{
    char text[128];
    snprintf(text, sizeof(text), "%g %g %g %g", rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
    return text;
}

static std::string contentOf(NSWindow* window) { return describe([window contentRectForFrameRect:[window frame]]); }

// The list keeps its windows alive for as long as it lives itself: here, not longer than it takes to look.
static NSUInteger countWindows(NSWindow* wanted = nil)
{
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    NSArray* windows = [NSApp windows];
    const NSUInteger count = wanted ? [windows indexOfObjectIdenticalTo:wanted] != NSNotFound : [windows count];
    [pool release];
    return count;
}

static void expectDressed(NSWindow* window, const char* title)
{
    EXPECT_STREQ(class_getName(object_getClass(window)), "BKWindow");
    EXPECT_TRUE([[window backgroundColor] isEqual:[NSColor blackColor]]);
    EXPECT_STREQ([[window title] UTF8String], title);
    EXPECT_TRUE([window acceptsMouseMovedEvents]);
    EXPECT_TRUE([window isReleasedWhenClosed]);
    EXPECT_EQ([window delegate], NSApp);
    EXPECT_EQ([window backingType], NSBackingStoreBuffered);
    EXPECT_TRUE([window canBecomeKeyWindow]);
    EXPECT_EQ([window getGLView], nil);
}

// A process for a game that doesn't outlive the test's.
static pid_t forkGame()
{
    const pid_t game = fork();
    if (game == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
    }
    return game;
}

class AnyScreen : public GameScreen, public testing::WithParamInterface<Desktop> {
protected:
    void SetUp() override { open(GetParam()); }
};

static const Desktop s_desktops[] = {{1024, 768, false}, {1025, 768, false}, {1920, 1080, false},
                                     {1024, 768, true},  {1025, 768, true},  {1920, 1080, true}};
INSTANTIATE_TEST_SUITE_P(On, AnyScreen, testing::ValuesIn(s_desktops),
                         [](const auto& desktop) { return desktop.param.name(); });

TEST_P(AnyScreen, AWindowIsMadeShownAndSwitched)
{
    const int screenWidth = GetParam().width;
    const int screenHeight = GetParam().height;

    NSWindow* framed = startGame();
    ASSERT_TRUE(framed);
    expectDressed(framed, "Brackenlow");
    EXPECT_EQ([framed styleMask], 7u);
    EXPECT_EQ([framed level], NSNormalWindowLevel);
    EXPECT_FALSE([framed isVisible]);
    EXPECT_EQ(onScreen(framed), "");

    Platform::SetWindowPos();
    EXPECT_TRUE([framed isVisible]);
    EXPECT_TRUE(waitFor([&] { return onScreen(framed) != "" && pixel(screenWidth / 2, screenHeight / 2) == 0; }));
    const NSRect content = [framed contentRectForFrameRect:[framed frame]];
    EXPECT_NEAR(content.origin.x, (screenWidth - 800) / 2, 1);
    EXPECT_EQ(content.size.width, 800);
    EXPECT_EQ(content.size.height, 600);
    const int top = static_cast<int>(screenHeight - NSMaxY(content));
    EXPECT_EQ(onScreen(framed),
              std::to_string(static_cast<int>(content.origin.x)) + " " + std::to_string(top) + " 800 600");
    photograph("shown");

    Platform::SetFullscreenWindow(framed, true, screenWidth, screenHeight);
    NSWindow* full = window();
    ASSERT_TRUE(full);
    expectDressed(full, "Brackenlow");
    EXPECT_EQ([full styleMask], 0u);
    EXPECT_EQ([full level], CGShieldingWindowLevel());
    EXPECT_TRUE([full isVisible]);
    EXPECT_EQ(contentOf(full), describe(NSMakeRect(0, 0, screenWidth, screenHeight)));
    const std::string whole = "0 0 " + std::to_string(screenWidth) + " " + std::to_string(screenHeight);
    EXPECT_TRUE(waitFor([&] { return onScreen(full) == whole && pixel(1, 1) == 0; })) << onScreen(full);
    for (int x : {0, screenWidth / 2, screenWidth - 1}) {
        for (int y : {0, screenHeight / 2, screenHeight - 1}) {
            EXPECT_EQ(pixel(x, y), 0u) << x << " " << y;
        }
    }
    photograph("full");

    Platform::SetFullscreenWindow(full, false, 800, 600);
    framed = window();
    ASSERT_TRUE(framed);
    expectDressed(framed, "Brackenlow");
    EXPECT_EQ([framed styleMask], 7u);
    EXPECT_EQ([framed level], NSNormalWindowLevel);
    const int x = (screenWidth - 800) / 2; // 112 on a screen 1025 wide, too
    const std::string rectangle = describe(NSMakeRect(x, screenHeight - (screenHeight / 8 + 600), 800, 600));
    EXPECT_TRUE(waitFor([&] { return contentOf(framed) == rectangle; })) // a manager's frame may come in between
        << contentOf(framed);
    const std::string place = std::to_string(x) + " " + std::to_string(screenHeight / 8) + " 800 600";
    EXPECT_TRUE(waitFor([&] {
        return onScreen(framed) == place && pixel(x + 400, screenHeight / 2) == 0 && pixel(1, 1) != 0;
    })) << onScreen(framed);
    photograph("framed");

    int width = 0;
    int height = 0;
    int bitsPerPixel = 0;
    Platform::GetDesktopInfo(width, height, bitsPerPixel);
    EXPECT_EQ(width, screenWidth);
    EXPECT_EQ(height, screenHeight);
    EXPECT_EQ(bitsPerPixel, 32);
    EXPECT_EQ(Platform::GetWindowWidth(), 800); // as InitWindow was asked

    Platform::DestructWindow(framed);
    EXPECT_EQ(Platform::GetWindow(), nullptr);
    EXPECT_TRUE(waitFor([&] { return pixel(screenWidth / 2, screenHeight / 2) == 0xffffff; }));
}

TEST_P(AnyScreen, TheCursorIsCapturedInTheCornerOfTheWindowsContents)
{
    startGame();
    Platform::SetWindowPos();
    ASSERT_TRUE(waitFor([&] { return onScreen(window()) != ""; }));
    Platform::SetCursorPos(10, 20);
    EXPECT_EQ(cursor(), "10 20");
    EXPECT_TRUE(waitFor([&] { // a manager frames it a moment after it was shown
        Platform::CaptureMouse(true);
        return cursor() + " 800 600" == onScreen(window());
    }));
    Platform::SetFullscreenWindow(window(), true, GetParam().width, GetParam().height);
    Platform::SetCursorPos(10, 20);
    Platform::CaptureMouse(true); // the desktop's corner is in the window
    EXPECT_EQ(cursor(), "10 20");
}

class ManagedScreen : public GameScreen {
protected:
    void SetUp() override { open({1024, 768, true}); }
};

class PlainScreen : public GameScreen {
protected:
    void SetUp() override { open({1024, 768, false}); }
};

static int countHandles()
{
    int count = 0;
    for (int handle = 0; handle < 256; handle++) {
        count += fcntl(handle, F_GETFD) != -1;
    }
    return count;
}

// Without what Foundation's run loop says on a busy machine, of events that nobody waits for any more.
static std::string withoutRunLoop(const std::string& text)
{
    std::istringstream lines(text);
    std::string rest;
    for (std::string line; std::getline(lines, line);) {
        rest += line.find("No handle for event") == std::string::npos ? line + "\n" : "";
    }
    return rest;
}

TEST_F(ManagedScreen, ManySwitchesLeakNothingAndPrintNothing)
{
    startGame();
    Platform::SetWindowPos();
    testing::internal::CaptureStderr();
    const auto cycle = [&](int turn) {
        Platform::SetFullscreenWindow(window(), turn % 2 == 0, 1024, 768);
        Platform::ShowCursor(turn % 2 != 0);
        Platform::CaptureMouse(turn % 2 == 0);
        NSWindow* made = window();
        ASSERT_TRUE(waitFor([&] { return onScreen(made) != ""; }));
        while (handleEvent()) { // those that nobody reads pile up
        }
    };
    for (int turn = 0; turn < 20; turn++) {
        cycle(turn);
    }
    const unsigned int windows = windowsOnServer();
    const int handles = countHandles();
    const NSUInteger listed = countWindows();
    const size_t bytes = mallinfo2().uordblks;
    for (int turn = 0; turn < 200; turn++) {
        cycle(turn);
    }
    EXPECT_LE(windowsOnServer(), windows + 2); // the manager's own come and go
    EXPECT_EQ(countHandles(), handles);
    EXPECT_EQ(countWindows(), listed);
    EXPECT_LT(mallinfo2().uordblks, bytes + 200 * 512); // a window alone takes more than that
    EXPECT_EQ(withoutRunLoop(testing::internal::GetCapturedStderr()), "");
}

TEST_F(ManagedScreen, CallsLeakNothingInAGameWithoutAutoreleasePools)
{
    startGame();
    Platform::SetWindowPos();
    const auto callAll = [](int turn) {
        int x, y, bits;
        Platform::SetCursorPos(turn % 1000, 5);
        Platform::GetCursorPos(x, y);
        Platform::CaptureMouse(true);
        Platform::CaptureMouse(false);
        Platform::ShowCursor(turn % 2 != 0);
        Platform::GetDesktopInfo(x, y, bits);
    };
    for (int turn = 0; turn < 100; turn++) {
        callAll(turn);
    }
    const size_t bytes = mallinfo2().uordblks;
    for (int turn = 0; turn < 10000; turn++) {
        callAll(turn);
    }
    EXPECT_LT(mallinfo2().uordblks, bytes + 64 * 1024); // not 10,000 of anything
}

TEST_F(ManagedScreen, AWindowThatItsUserClosesIsSentNothingMore)
{
    NSWindow* closed = startGame();
    Platform::SetWindowPos();
    ASSERT_TRUE(waitFor([&] { return onScreen(closed) != ""; }));
    // What the frame's close button comes to.
    XEvent event = {};
    event.xclient.type = ClientMessage;
    event.xclient.window = static_cast<Window>(reinterpret_cast<uintptr_t>([closed windowRef]));
    event.xclient.message_type = XInternAtom(m_display, "_NET_CLOSE_WINDOW", False);
    event.xclient.format = 32;
    XSendEvent(m_display, m_root, False, SubstructureNotifyMask | SubstructureRedirectMask, &event);
    XFlush(m_display);
    ASSERT_TRUE(waitFor([&] { return countWindows(closed) == 0; }));

    EXPECT_EQ(window(), closed); // nobody has told the platform
    Platform::SetWindowPos();
    Platform::SetCursorPos(10, 20);
    EXPECT_EQ(cursor(), "10 20");
    Platform::CaptureMouse(true);
    EXPECT_EQ(cursor(), "10 20");
    Platform::DestructWindow(closed);
    EXPECT_EQ(Platform::GetWindow(), nullptr);
    Platform::SetFullscreenWindow(closed, true, 1024, 768);
    EXPECT_STREQ([[window() title] UTF8String], "");
}

// What a BKWindow is sent from outside AppKit: this message is put in front of NSWindow's own.
static std::vector<std::string> s_sent;
static int s_depth;

static std::string wordFor(BOOL value) { return value ? "YES" : "NO"; }

static std::string wordFor(NSInteger value) { return std::to_string(value); }

static std::string wordFor(id value)
{
    return value == nil                             ? "nil"
           : value == NSApp                         ? "NSApp"
           : [value isKindOfClass:[NSWindow class]] ? "window"
                                                    : "object";
}

template <class... Argument> static void watched(id window, SEL message, Argument... argument)
{
    if (s_depth++ == 0) {
        s_sent.push_back((sel_getName(message) + ... + wordFor(argument)));
    }
    const IMP own = class_getMethodImplementation([NSWindow class], message);
    reinterpret_cast<void (*)(id, SEL, Argument...)>(reinterpret_cast<void (*)()>(own))(window, message, argument...);
    s_depth--;
}

template <class... Argument> static void watch(SEL message)
{
    class_addMethod(NSClassFromString(@"BKWindow"), message,
                    reinterpret_cast<IMP>(reinterpret_cast<void (*)()>(watched<Argument...>)),
                    method_getTypeEncoding(class_getInstanceMethod([NSWindow class], message)));
}

static void watchWindows()
{
    watch<>(@selector(center));
    watch<>(@selector(makeKeyWindow));
    watch<>(@selector(close));
    watch<BOOL>(@selector(setAcceptsMouseMovedEvents:));
    watch<BOOL>(@selector(setReleasedWhenClosed:));
    watch<NSInteger>(@selector(setLevel:));
    watch<id>(@selector(setBackgroundColor:));
    watch<id>(@selector(setTitle:));
    watch<id>(@selector(setDelegate:));
    watch<id>(@selector(makeKeyAndOrderFront:));
}

TEST_F(PlainScreen, AWindowIsSentTheseMessagesInOrder)
{
    typedef std::vector<std::string> Messages;
    watchWindows();
    [NSApplication sharedApplication];
    startGame();
    EXPECT_EQ(s_sent, (Messages{"setBackgroundColor:object", "setTitle:object", "center", "makeKeyWindow",
                                "setAcceptsMouseMovedEvents:YES", "setReleasedWhenClosed:YES", "setDelegate:NSApp"}));
    s_sent.clear();
    Platform::SetWindowPos();
    EXPECT_EQ(s_sent, (Messages{"center", "makeKeyAndOrderFront:window"}));
    s_sent.clear();
    Platform::SetFullscreenWindow(window(), true, 1024, 768);
    const std::string level = std::to_string(CGShieldingWindowLevel());
    EXPECT_EQ(s_sent, (Messages{"setDelegate:nil", "close", "setLevel:" + level, "setBackgroundColor:object",
                                "setTitle:object", "makeKeyAndOrderFront:window", "setAcceptsMouseMovedEvents:YES",
                                "setReleasedWhenClosed:YES", "setDelegate:NSApp"}));
    s_sent.clear();
    Platform::DestructWindow(window());
    EXPECT_EQ(s_sent, Messages{"close"});
}

static int s_conversions;
static int s_closings;

@interface GamesOwnWindow : NSWindow
@end
@implementation GamesOwnWindow
- (NSPoint)convertBaseToScreen:(NSPoint)point
{
    s_conversions++;
    return point;
}
- (void)close
{
    s_closings++;
    [super close];
}
@end

// AppKit may not list a window before it is shown.
@interface UnlistedWindow : NSObject
- (void)close;
@end
@implementation UnlistedWindow
- (void)close
{
    s_closings++;
}
@end

TEST_F(PlainScreen, AWindowOfTheGamesOwnWillDoAsWell)
{
    [NSApplication sharedApplication];
    NSWindow* own = [[GamesOwnWindow alloc] initWithContentRect:NSMakeRect(0, 0, 320, 240)
                                                      styleMask:7
                                                        backing:NSBackingStoreBuffered
                                                          defer:YES];
    Platform::SetWindow(own);
    Platform::SetCursorPos(10, 20);
    EXPECT_EQ(s_conversions, 1);
    EXPECT_EQ(cursor(), "10 20");
    Platform::DestructWindow(own);
    EXPECT_EQ(s_closings, 1);
    id unlisted = [[[UnlistedWindow alloc] init] autorelease];
    Platform::DestructWindow(unlisted);
    EXPECT_EQ(s_closings, 2);
    ASSERT_TRUE(startGame());
    Platform::DestructWindow(unlisted);
    EXPECT_EQ(s_closings, 3);
}

TEST_F(PlainScreen, AWindowClosedTwiceIsClosedOnce)
{
    NSWindow* first = startGame();
    Platform::SetFullscreenWindow(first, true, 1024, 768);
    Platform::SetFullscreenWindow(window(), false, 800, 600);
    NSWindow* third = window();
    if (first != third) { // its memory may have been used again
        Platform::DestructWindow(first);
    }
    EXPECT_EQ(window(), third);
    Platform::DestructWindow(third);
    Platform::DestructWindow(third);
    EXPECT_EQ(window(), nil);
}

TEST_F(PlainScreen, AWindowThatCannotBeMadeIsNullAndNothingIsRemembered)
{
    startGame(640, 480);
    // No window can be initialised from here on.
    const auto refuse = [](id made, SEL) -> id {
        [made release];
        return nil;
    };
    class_addMethod(NSClassFromString(@"BKWindow"), @selector(initWithContentRect:styleMask:backing:defer:),
                    reinterpret_cast<IMP>(+refuse), "@@:");
    EXPECT_EQ(Platform::InitWindow(0, nullptr, "Brackenlow", nullptr, nullptr, 1, 2, 3, 4, false, false, nullptr),
              nullptr);
    EXPECT_EQ(Platform::GetWindowWidth(), 640);
    for (bool fullScreen : {true, false}) {
        Platform::SetFullscreenWindow(window(), fullScreen, 800, 600);
        EXPECT_EQ(Platform::GetWindow(), nullptr);
    }
}

static size_t s_refused; // the size of the blocks for which there is no memory; 0: none

void* operator new(size_t size)
{
    if (s_refused != 0 && size == s_refused) {
        throw std::bad_alloc();
    }
    static const auto s_next = reinterpret_cast<void* (*)(size_t)>(dlsym(RTLD_NEXT, "_Znwm"));
    return s_next(size);
}

TEST_F(PlainScreen, AWindowThatTheresNoMemoryToNoteIsNull)
{
    startGame();
    const NSUInteger count = countWindows();
    s_refused = sizeof(std::_Rb_tree_node<const void*>); // of the library's set of windows
    EXPECT_EQ(Platform::InitWindow(0, nullptr, "Brackenlow", nullptr, nullptr, 1, 2, 300, 400, false, false, nullptr),
              nullptr);
    s_refused = 0;
    EXPECT_EQ(countWindows(), count);
}

static bool s_hasTitles = true;

static id titleOfNSWindow(id window)
{
    const IMP own = class_getMethodImplementation([NSWindow class], @selector(title));
    return reinterpret_cast<id (*)(id, SEL)>(reinterpret_cast<void (*)()>(own))(window, @selector(title));
}

TEST_F(PlainScreen, ATitleThatTheresNoMemoryForIsEmptyAfterTheSwitch)
{
    const auto title = [](id window, SEL) -> id { return s_hasTitles ? titleOfNSWindow(window) : nil; };
    const char longTitle[] = "Brackenlow, with more than 15 bytes";
    [startGame() setTitle:[NSString stringWithUTF8String:longTitle]];
    class_addMethod(object_getClass(window()), @selector(title), reinterpret_cast<IMP>(+title), "@@:");
    s_refused = sizeof(longTitle); // of the library's copy
    Platform::SetFullscreenWindow(window(), true, 1024, 768);
    s_refused = 0;
    EXPECT_STREQ([titleOfNSWindow(window()) UTF8String], "");

    [window() setTitle:[NSString stringWithUTF8String:longTitle]];
    s_hasTitles = false; // AppKit has no memory for the text
    Platform::SetFullscreenWindow(window(), false, 800, 600);
    EXPECT_STREQ([titleOfNSWindow(window()) UTF8String], "");
}

static int s_resets;

// The Mac's AppKit has no such method.
TEST_F(PlainScreen, TheScreensAreReadAgainIfAppKitHasAMethodForIt)
{
    const auto reset = [](id, SEL) { s_resets++; };
    const auto responds = [](id, SEL, SEL) -> BOOL { return NO; };
    Class screens = object_getClass([NSScreen class]);
    class_replaceMethod(screens, @selector(resetScreens), reinterpret_cast<IMP>(reinterpret_cast<void (*)()>(+reset)),
                        "v@:");
    ASSERT_TRUE(startGame());
    s_resets = 0;
    ASSERT_TRUE(startGame());
    EXPECT_EQ(s_resets, 1);
    class_addMethod(screens, @selector(respondsToSelector:),
                    reinterpret_cast<IMP>(reinterpret_cast<void (*)()>(+responds)), "c@::");
    ASSERT_TRUE(startGame());
    EXPECT_EQ(s_resets, 1);
}

TEST_F(PlainScreen, ATitleIsUtf8OrMacRomanAndSurvivesTheSwitch)
{
    const struct {
        const char* title;
        const char* utf8;
    } titles[] = {{"Brackenlow", "Brackenlow"},
                  {"caf\xc3\xa9", "caf\xc3\xa9"},
                  {"caf\x8e", "caf\xc3\xa9"}, // Mac Roman
                  {"100% %@ %s", "100% %@ %s"},
                  {"", ""},
                  {nullptr, ""}};
    Platform::SystemCheck();
    for (const auto& t : titles) {
        Platform::SetWindow(
            Platform::InitWindow(0, nullptr, t.title, nullptr, nullptr, 0, 0, 640, 480, false, false, nullptr));
        ASSERT_TRUE(window());
        expectDressed(window(), t.utf8);
        Platform::SetFullscreenWindow(window(), true, 640, 480);
        expectDressed(window(), t.utf8);
        Platform::DestructWindow(window());
    }
}

TEST_F(PlainScreen, TheSwitchBringsAWindowWithoutTheViewOfTheOldOne)
{
    id view = [[[NSObject alloc] init] autorelease];
    const NSUInteger owners = [view retainCount];
    [startGame() setGLView:view];
    EXPECT_EQ([window() getGLView], view);
    EXPECT_EQ([view retainCount], owners); // lent
    Platform::SetFullscreenWindow(window(), true, 1024, 768);
    EXPECT_EQ([window() getGLView], nil);
    EXPECT_EQ([view retainCount], owners);
}

TEST_F(PlainScreen, TheSwitchBringsAWindowAtAnotherAddress)
{
    startGame();
    for (const bool fullScreen : {true, false, true}) {
        const void* former = Platform::GetWindow();
        Platform::SetFullscreenWindow(Platform::GetWindow(), fullScreen, 640, 480);
        EXPECT_NE(Platform::GetWindow(), nullptr);
        EXPECT_NE(Platform::GetWindow(), former);
    }
}

TEST_F(PlainScreen, TheWindowClassHasOneViewAndThreeMethods)
{
    Class windowClass = NSClassFromString(@"BKWindow");
    EXPECT_EQ(class_getSuperclass(windowClass), [NSWindow class]);
    unsigned int count = 0;
    free(class_copyMethodList(windowClass, &count));
    EXPECT_EQ(count, 3u);
    Ivar* fields = class_copyIvarList(windowClass, &count);
    ASSERT_EQ(count, 1u);
    EXPECT_STREQ(ivar_getName(fields[0]), "_glView");
    EXPECT_EQ(ivar_getTypeEncoding(fields[0])[0], '@'); // an object
    free(fields);
}

static NSDictionary* s_mode; // what the display is made to show; nil: what it shows

extern "C" CFDictionaryRef CGDisplayCurrentMode(CGDirectDisplayID display)
{
    return s_mode ? (CFDictionaryRef)s_mode : NEXT(CGDisplayCurrentMode)(display);
}

TEST_F(PlainScreen, AModeIsAnyDictionaryThatHasTheSizes)
{
    s_mode =
        [NSDictionary dictionaryWithObjectsAndKeys:[NSNumber numberWithInt:1024], @"Width", @"768", @"Height", nil];
    startGame();
    Platform::SetFullscreenWindow(window(), false, 800, 600);
    EXPECT_EQ(contentOf(window()), "112 72 800 600");
    s_mode =
        [NSDictionary dictionaryWithObjectsAndKeys:@"640", @"Width", [NSNumber numberWithInt:480], @"Height", nil];
    Platform::SetFullscreenWindow(window(), true, 640, 480);
    EXPECT_EQ(contentOf(window()), "0 288 640 480"); // the screen isn't there yet: at its top
    Platform::SetFullscreenWindow(window(), false, 640, 480);
    EXPECT_EQ(contentOf(window()), "192 192 640 480"); // from the screen's 768, by the desktop's 1024 and 768
    s_mode = [NSDictionary dictionary];
    Platform::SetFullscreenWindow(window(), true, 640, 480);
    EXPECT_EQ(contentOf(window()), "0 288 640 480");
}

TEST_F(PlainScreen, TheCurrentEventHasThePositionOfTheMouseInItsWindow)
{
    int x = -1;
    int y = -1;
    Platform::GetCursorPos(x, y);
    EXPECT_EQ(x, -1); // there is no application object, so nobody has events
    EXPECT_EQ(y, -1);

    startGame();
    Platform::SetFullscreenWindow(window(), true, 1024, 768);
    ASSERT_TRUE(waitFor([&] { return onScreen(window()) != ""; }));
    int step = 0;
    EXPECT_TRUE(waitFor([&] {
        Platform::SetCursorPos(300 + step++ % 2, 100); // until AppKit looks
        Platform::GetCursorPos(x, y);
        return [[NSApp currentEvent] type] == NSMouseMoved;
    }));
    EXPECT_NEAR(x, 300, 1);
    EXPECT_NEAR(y, 668, 1); // from the bottom
}

TEST_F(PlainScreen, KeysComeAsTheEnginesCodes)
{
    const struct {
        const char* key;
        unsigned int code;
    } keys[] = {{"a", 97},       {"Return", 13},     {"F1", 163}, {"Up", 146},
                {"Delete", 156}, {"BackSpace", 127}, {"Home", 0}};
    if (system("command -v xdotool > /dev/null") != 0) {
        GTEST_SKIP() << "there is no xdotool";
    }
    [NSApplication sharedApplication];
    [NSApp finishLaunching];
    startGame();
    Platform::SetFullscreenWindow(window(), true, 1024, 768);
    ASSERT_TRUE(waitFor([&] { return onScreen(window()) != ""; }));
    Platform::SetCursorPos(300, 100); // keys go to the window below the cursor as long as there is no manager
    for (const auto& k : keys) {
        ASSERT_EQ(system((std::string("xdotool key ") + k.key).c_str()), 0);
        int step = 0;
        unsigned int code = 4711;
        EXPECT_TRUE(waitFor([&] {
            Platform::SetCursorPos(300 + step++ % 2, 100); // AppKit may sleep on a key until something else happens
            NSEvent* event = [NSApp currentEvent];
            if ([event type] == NSKeyUp) {
                code = Platform::RawKeyToLocalKey([event keyCode]);
            }
            return [event type] == NSKeyUp;
        }));
        EXPECT_EQ(code, k.code) << k.key;
        waitFor([&] {
            Platform::SetCursorPos(300 + step++ % 2, 100);
            return [[NSApp currentEvent] type] == NSMouseMoved;
        });
    }
}

TEST_F(PlainScreen, TheScreenIsRestoredWhenTheGameIsKilled)
{
    const unsigned int windows = windowsOnServer();
    const pid_t game = forkGame();
    if (game == 0) {
        startGame();
        Platform::SetFullscreenWindow(window(), true, 1024, 768);
        Platform::ShowCursor(false);
        Platform::CaptureMouse(true);
        waitFor([] { return false; });
        _exit(0);
    }
    ASSERT_TRUE(waitFor([&] { return pixel(1, 1) == 0; }));
    EXPECT_GT(windowsOnServer(), windows);
    kill(game, SIGKILL);
    waitpid(game, nullptr, 0);
    EXPECT_TRUE(waitFor([&] { return windowsOnServer() == windows; }));
    EXPECT_EQ(XGrabKeyboard(m_display, m_root, False, GrabModeAsync, GrabModeAsync, CurrentTime), GrabSuccess);
    EXPECT_EQ(XGrabPointer(m_display, m_root, False, 0, GrabModeAsync, GrabModeAsync, None, None, CurrentTime),
              GrabSuccess);
    XWarpPointer(m_display, None, m_root, 0, 0, 0, 0, 700, 500);
    EXPECT_EQ(cursor(), "700 500");
    EXPECT_TRUE(waitFor([&] { return pixel(1, 1) == 0xffffff; }));
}

// An alert in a game of its own, whose exit status is the answer.
static pid_t alertFrom(bool ownApplication)
{
    const pid_t game = forkGame();
    if (game == 0) {
        if (ownApplication) {
            [NSApplication sharedApplication];
        }
        _exit(Platform::MessageBox("caption", "The units are lost."));
    }
    return game;
}

TEST_F(PlainScreen, AnAlertIsAnsweredByTheMouse)
{
    const pid_t game = alertFrom(true);
    int status = -1;
    EXPECT_TRUE(waitFor([&] {
        int x, y, width, height;
        if (findPanel(x, y, width, height)) {
            photograph("alert");
            XWarpPointer(m_display, None, m_root, 0, 0, 0, 0, x + width - 40, y + height - 20); // its one button
            XSync(m_display, False);
            system("xdotool click 1"); // the first brings the panel to the front
        }
        return waitpid(game, &status, WNOHANG) == game;
    }));
    EXPECT_EQ(WEXITSTATUS(status), 1);
}

TEST_F(ManagedScreen, AnAlertIsAnsweredByReturnWhereThePlatformMakesTheApplication)
{
    const pid_t game = alertFrom(false);
    int status = -1;
    EXPECT_TRUE(waitFor([&] {
        int x, y, width, height;
        if (findPanel(x, y, width, height)) {
            XWarpPointer(m_display, None, m_root, 0, 0, 0, 0, x + width / 2, y + height / 2);
            XSync(m_display, False);
            system("xdotool key Return");
        }
        return waitpid(game, &status, WNOHANG) == game;
    }));
    EXPECT_EQ(WEXITSTATUS(status), 1);
}

TEST_F(PlainScreen, AServerThatBecomesSilentShowsNoAlertAndDoesNotStopTheGame)
{
    startGame();
    kill(m_process, SIGSTOP);
    testing::internal::CaptureStderr();
    EXPECT_EQ(Platform::MessageBox("caption", "The units are lost."), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "The units are lost.\n");
    Platform::SetFullscreenWindow(window(), true, 800, 600);
}

TEST_F(PlainScreen, WithoutAppKitsBackEndThereAreNoWindows)
{
    [[NSUserDefaults standardUserDefaults] registerDefaults:[NSDictionary dictionaryWithObject:@"libnone"
                                                                                        forKey:@"GSBackend"]];
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(startGame(), nil);
        Platform::SetFullscreenWindow(nullptr, true, 1024, 768);
        EXPECT_EQ(window(), nil);
    }
    testing::internal::CaptureStderr();
    EXPECT_EQ(Platform::MessageBox("caption", "The units are lost."), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "The units are lost.\n");
}

TEST(NoScreen, ASilentWindowServerCountsAsNoScreen)
{
    HostileScreen screen; // never accepts a connection
    setenv("DISPLAY", screen.onSocket().c_str(), 1);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Platform::InitWindow(0, nullptr, "Brackenlow", nullptr, nullptr, 0, 0, 800, 600, false, false, nullptr),
              nullptr);
    testing::internal::CaptureStderr();
    EXPECT_EQ(Platform::MessageBox("caption", "The units are lost."), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "The units are lost.\n");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10)); // the server is waited for once
}

TEST(NoScreen, MeansNoWindowAndNoMessage)
{
    unsetenv("DISPLAY");
    testing::internal::CaptureStderr();
    Platform::SystemCheck();
    Platform::SetApp(1);
    EXPECT_EQ(Platform::InitWindow(0, nullptr, "Brackenlow", nullptr, nullptr, 0, 0, 800, 600, false, false, nullptr),
              nullptr);
    EXPECT_EQ(Platform::GetWindowWidth(), 0);
    for (bool fullScreen : {true, false}) {
        Platform::SetFullscreenWindow(nullptr, fullScreen, 800, 600);
        EXPECT_EQ(Platform::GetWindow(), nullptr);
    }
    int x = 3;
    int y = 4;
    int bits = 5;
    char storage; // no window
    Platform::SetWindow(&storage);
    Platform::SetWindowPos();
    Platform::SetCursorPos(1, 2);
    Platform::CaptureMouse(true);
    Platform::CaptureMouse(false);
    Platform::GetCursorPos(x, y);
    EXPECT_EQ(x, 3);
    EXPECT_EQ(y, 4);
    Platform::SetFullscreenWindow(&storage, true, 800, 600);
    EXPECT_EQ(Platform::GetWindow(), nullptr);
    Platform::DestructWindow(&storage);
    Platform::GetDesktopInfo(x, y, bits);
    EXPECT_EQ(x, 0);
    EXPECT_EQ(y, 0);
    EXPECT_EQ(bits, 0);
    Platform::ShowCursor(false);
    Platform::ShowCursor(true);
    EXPECT_EQ(NSApp, nil);
    EXPECT_EQ(withoutRunLoop(testing::internal::GetCapturedStderr()), "");
}
