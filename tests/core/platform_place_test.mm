// Where windows and the cursor are when the main screen is not the whole X desktop: the server's pixels count from the
// desktop's upper left corner, the game's positions from the main screen's corners.
//
// Xvfb has one output, which may show any part of the desktop. A neighbour is a part of the desktop beside it, or a second
// output that this program adds to the server's answers.
#include "core/platform.h"
#include "macapi/src/appkit/bkwindow_library.h"
#include "tests/support/x_server.h"

#import <AppKit/AppKit.h>

#include <gtest/gtest.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <chrono>
#include <dlfcn.h>
#include <functional>
#include <objc/runtime.h>
#include <sstream>
#include <string>

// X11 defines words that GoogleTest uses, so these come after it.
#include "tests/support/openbox.h"
#include "tests/support/second_output.h"

static std::string textOf(const Box& box)
{
    std::ostringstream text;
    text << box.width << "x" << box.height << "+" << box.x << "+" << box.y;
    return text.str();
}

struct Arrangement {
    const char* name;
    int width; // of the desktop
    int height;
    Box main;
};

static const Arrangement sc_arrangements[] = {
    {"Alone", 800, 600, {0, 0, 800, 600}},
    {"LeftOfATallerOne", 1440, 768, {0, 0, 800, 600}},
    {"LeftOfAShorterOne", 1440, 768, {0, 0, 640, 768}},
    {"LeftAndLower", 1440, 768, {0, 168, 800, 600}},
    {"RightOfATallerOne", 1440, 768, {640, 100, 800, 600}},
    {"RightOfAShorterOne", 1440, 768, {800, 0, 640, 768}},
    {"Above", 1024, 1200, {0, 0, 800, 600}},
    {"AboveAndRight", 1024, 1200, {224, 0, 800, 600}},
    {"Below", 1024, 1200, {0, 600, 800, 600}},
    {"InTheMiddle", 1600, 1200, {300, 200, 1024, 768}},
};

class Places : public XServer {
protected:
    void open(const char* screen, bool managed)
    {
        XServer::SetUp();
        if (IsSkipped()) {
            return;
        }
        if (managed && system("command -v openbox > /dev/null") != 0) {
            GTEST_SKIP() << "there is no openbox";
        }
        setenv("HOME", ".", 1); // where AppKit keeps its defaults
        start(screen);
        m_display = XOpenDisplay(nullptr);
        ASSERT_TRUE(m_display);
        m_root = DefaultRootWindow(m_display);
        XSetErrorHandler([](Display*, XErrorEvent*) { return 0; }); // a window may go while it is asked for
        if (managed) {
            m_manager = startOpenbox(m_display, m_root);
        }
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

    // As xrandr does it: the output is switched off, the desktop gets its size, and the output shows its part of it.
    void arrange(const Arrangement& arrangement)
    {
        XRRScreenResources* resources = NEXT(XRRGetScreenResourcesCurrent)(m_display, m_root);
        const RROutput output = resources->outputs[0];
        const RRCrtc crtc = resources->crtcs[0];
        const RRMode mode = modeOf(resources, arrangement.main.width, arrangement.main.height);
        NEXT(XRRAddOutputMode)(m_display, output, mode);
        XRRSetCrtcConfig(m_display, resources, crtc, CurrentTime, 0, 0, 0, RR_Rotate_0, nullptr, 0);
        XRRSetScreenSize(m_display, m_root, arrangement.width, arrangement.height, 300, 200);
        ASSERT_EQ(XRRSetCrtcConfig(m_display, resources, crtc, CurrentTime, arrangement.main.x, arrangement.main.y,
                                   mode, RR_Rotate_0, resources->outputs, 1),
                  0);
        XRRFreeScreenResources(resources);
        XSync(m_display, False);
    }

    static NSWindow* window() { return static_cast<NSWindow*>(Platform::GetWindow()); }

    static void startGame(int width, int height)
    {
        Platform::SystemCheck();
        Platform::SetApp(1);
        Platform::SetWindow(Platform::InitWindow(0, nullptr, "Brackenlow", nullptr, nullptr, 100, 100, width, height,
                                                 false, false, nullptr));
        ASSERT_TRUE(window());
        Platform::SetWindowPos();
    }

    // What a game does with an event.
    static void handleEvent()
    {
        NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
        NSEvent* event = [NSApp nextEventMatchingMask:NSAnyEventMask
                                            untilDate:[NSDate dateWithTimeIntervalSinceNow:0.01]
                                               inMode:NSDefaultRunLoopMode
                                              dequeue:YES];
        if (event) {
            [NSApp sendEvent:event];
        }
        [pool release];
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

    // The current window's contents as the server has them. Empty when it shows no such window.
    std::string shown()
    {
        XWindowAttributes attributes;
        const Window number = static_cast<Window>(reinterpret_cast<uintptr_t>([window() windowRef]));
        if (!XGetWindowAttributes(m_display, number, &attributes) || attributes.map_state != IsViewable) {
            return "";
        }
        Box box = {0, 0, attributes.width, attributes.height};
        Window child;
        XTranslateCoordinates(m_display, number, m_root, 0, 0, &box.x, &box.y, &child);
        return textOf(box);
    }

    void expectShown(const Box& expected)
    {
        EXPECT_TRUE(waitFor([&] { return shown() == textOf(expected); })) << shown() << ", not " << textOf(expected);
    }

    std::string cursor()
    {
        Window root, child;
        int x, y, localX, localY;
        unsigned int buttons;
        XQueryPointer(m_display, m_root, &root, &child, &x, &y, &localX, &localY, &buttons);
        return std::to_string(x) + " " + std::to_string(y);
    }

    Display* m_display = nullptr; // the test's own connection
    Window m_root = 0;

private:
    RRMode modeOf(const XRRScreenResources* resources, int width, int height)
    {
        const std::string wanted = std::to_string(width) + " " + std::to_string(height);
        for (int i = 0; i < resources->nmode; i++) {
            if (resources->modes[i].name == wanted) {
                return resources->modes[i].id;
            }
        }
        XRRModeInfo mode = {};
        mode.width = static_cast<unsigned int>(width);
        mode.height = static_cast<unsigned int>(height);
        mode.hTotal = mode.width + 100;
        mode.vTotal = mode.height + 50;
        mode.hSyncStart = mode.width + 10;
        mode.hSyncEnd = mode.width + 20;
        mode.vSyncStart = mode.height + 1;
        mode.vSyncEnd = mode.height + 2;
        mode.dotClock = 60ul * mode.hTotal * mode.vTotal;
        std::string name = wanted;
        mode.name = name.data();
        mode.nameLength = static_cast<unsigned int>(name.size());
        return XRRCreateMode(m_display, m_root, &mode);
    }

    pid_t m_manager = 0;
    NSAutoreleasePool* m_pool = nil;
};

using Place = std::tuple<Arrangement, bool>; // with a window manager

static std::string nameOf(const testing::TestParamInfo<Place>& place)
{
    return std::string(std::get<0>(place.param).name) + (std::get<1>(place.param) ? "_managed" : "_plain");
}

class MainScreen : public Places, public testing::WithParamInterface<Place> {
protected:
    void SetUp() override
    {
        open("1600x1200x24", std::get<1>(GetParam()));
        if (!IsSkipped()) {
            arrange(std::get<0>(GetParam()));
        }
    }

    Box m_main = std::get<0>(GetParam()).main;
};
INSTANTIATE_TEST_SUITE_P(At, MainScreen,
                         testing::Combine(testing::ValuesIn(sc_arrangements), testing::Values(false, true)), nameOf);

TEST_P(MainScreen, ShowsTheWindowsAtAnyPlaceOfTheDesktop)
{
    startGame(200, 150);
    const Box middle = {m_main.x + (m_main.width - 200) / 2, m_main.y + (m_main.height - 150) / 2, 200, 150};
    EXPECT_TRUE(waitFor([&] { // centred with its frame, whose top is some 20 pixels higher than its bottom
        Box box = {};
        sscanf(shown().c_str(), "%dx%d+%d+%d", &box.width, &box.height, &box.x, &box.y);
        return abs(box.x - middle.x) <= 2 && abs(box.y - middle.y) <= 16 && box.width == 200 && box.height == 150;
    })) << shown();

    Platform::SetFullscreenWindow(window(), true, m_main.width, m_main.height);
    expectShown(m_main);
    Platform::SetFullscreenWindow(window(), true, 300, 200);
    expectShown({m_main.x, m_main.y + m_main.height - 200, 300, 200});
    Platform::SetFullscreenWindow(window(), false, 200, 150);
    expectShown({m_main.x + (m_main.width - 200) / 2, m_main.y + m_main.height / 8, 200, 150});
}

TEST_P(MainScreen, HoldsTheCursorAtAnyPlaceOfTheDesktop)
{
    startGame(200, 150);
    Platform::SetFullscreenWindow(window(), false, 200, 150);
    const Box framed = {m_main.x + (m_main.width - 200) / 2, m_main.y + m_main.height / 8, 200, 150};
    expectShown(framed);
    Platform::SetCursorPos(10, 20);
    EXPECT_EQ(cursor(), std::to_string(m_main.x + 10) + " " + std::to_string(m_main.y + 20));
    Platform::CaptureMouse(true);
    EXPECT_EQ(cursor(), std::to_string(framed.x) + " " + std::to_string(framed.y));

    int x = -1;
    int y = -1;
    int step = 0;
    EXPECT_TRUE(waitFor([&] {
        Platform::SetCursorPos(framed.x - m_main.x + 40 + step++ % 2, framed.y - m_main.y + 30); // until AppKit looks
        Platform::GetCursorPos(x, y);
        return [[NSApp currentEvent] type] == NSMouseMoved && y == 150 - 30 && (x == 40 || x == 41);
    })) << x
        << " " << y;

    Platform::SetFullscreenWindow(window(), true, m_main.width, m_main.height);
    expectShown(m_main);
    Platform::SetCursorPos(10, 20);
    Platform::CaptureMouse(true); // the main screen's corner lies in the window
    EXPECT_EQ(cursor(), std::to_string(m_main.x + 10) + " " + std::to_string(m_main.y + 20));
}

class TwoOutputs : public Places {
protected:
    void SetUp() override
    {
        open("1600x1200x24", false);
        if (!IsSkipped()) {
            arrange({"", 1440, 768, {0, 0, 800, 600}});
            s_second = {800, 100, 640, 480}; // the primary output
        }
    }
};

TEST_F(TwoOutputs, ThePrimaryOutputShowsTheWindows)
{
    startGame(200, 150);
    expectShown({800 + (640 - 200) / 2, 100 + (480 - 150) / 2, 200, 150});
    Platform::SetFullscreenWindow(window(), true, 640, 480);
    expectShown({800, 100, 640, 480});
    Platform::SetFullscreenWindow(window(), false, 200, 150);
    expectShown({800 + (640 - 200) / 2, 100 + 480 / 8, 200, 150});
}

TEST_F(TwoOutputs, AWindowOnTheOtherOneIsSwitchedToThePrimaryOne)
{
    for (bool fullScreen : {true, false}) {
        startGame(200, 150);
        ASSERT_TRUE(waitFor([&] { return shown() != ""; }));
        [window() setFrameOrigin:NSMakePoint(100, 768 - 250 - 150)]; // GNUstep counts from the desktop's lower left
        expectShown({100, 250, 200, 150});
        EXPECT_TRUE(waitFor([&] { return [window() screen] != [[NSScreen screens] objectAtIndex:0]; }));
        Platform::SetFullscreenWindow(window(), fullScreen, 200, 150);
        expectShown(fullScreen ? Box{800, 100 + 480 - 150, 200, 150}
                               : Box{800 + (640 - 200) / 2, 100 + 480 / 8, 200, 150});
        Platform::DestructWindow(window());
    }
}

TEST_F(TwoOutputs, ACursorIsCapturedInAWindowOnTheOther)
{
    startGame(200, 150);
    ASSERT_TRUE(waitFor([&] { return shown() != ""; }));
    [window() setFrameOrigin:NSMakePoint(100, 768 - 250 - 150)]; // GNUstep counts from the desktop's lower left
    expectShown({100, 250, 200, 150});
    Platform::CaptureMouse(true); // to the point nearest to the main screen's upper left corner
    EXPECT_EQ(cursor(), "300 250");
}

class PlainPlaces : public Places, public testing::WithParamInterface<bool> {
protected:
    void SetUp() override { open("1600x1200x24", GetParam()); }
};
INSTANTIATE_TEST_SUITE_P(On, PlainPlaces, testing::Values(false, true),
                         [](const auto& managed) { return managed.param ? "managed" : "plain"; });

TEST_P(PlainPlaces, TheMainScreenMayMoveWhileTheGameRuns)
{
    startGame(200, 150);
    ASSERT_TRUE(waitFor([&] { return shown() != ""; }));
    for (const Arrangement& arrangement : sc_arrangements) {
        SCOPED_TRACE(arrangement.name);
        const Box& main = arrangement.main;
        arrange(arrangement); // the game reads no event between this and the switch
        Platform::SetFullscreenWindow(window(), true, main.width, main.height);
        expectShown(main);
        Platform::SystemCheck(); // the desktop's size by which a framed window is placed
        Platform::SetFullscreenWindow(window(), false, 200, 150);
        const Box framed = {main.x + (main.width - 200) / 2, main.y + main.height / 8, 200, 150};
        expectShown(framed);
        Platform::CaptureMouse(true);
        EXPECT_EQ(cursor(), std::to_string(framed.x) + " " + std::to_string(framed.y));
    }
}

TEST_P(PlainPlaces, TheCursorsPositionCountsFromTheContentsAndNotTheFrame)
{
    startGame(200, 150);
    Platform::SetFullscreenWindow(window(), false, 200, 150);
    const Box framed = {(1600 - 200) / 2, 1200 / 8, 200, 150};
    expectShown(framed);
    for (const auto& [right, down] : {std::pair(0, 0), {199, 149}, {37, 80}}) {
        int x = -1;
        int y = -1;
        int step = 0;
        EXPECT_TRUE(waitFor([&] {
            Platform::SetCursorPos(framed.x + (step++ % 2 ? right : 100), framed.y + down); // until AppKit looks
            Platform::GetCursorPos(x, y);
            return [[NSApp currentEvent] type] == NSMouseMoved && x == right && y == 150 - down;
        })) << x
            << " " << y << ", not " << right << " " << 150 - down;
    }
}

// The functions of libcore-appkit, which is in the process because the test program uses Objective-C.
static const macapi::BKWindowFunctions& windowFunctions()
{
    return *static_cast<const macapi::BKWindowFunctions*>(dlsym(RTLD_DEFAULT, "core_appkit_functions"));
}

TEST_P(PlainPlaces, TheMousesPositionInTheKeyWindowCountsFromTheContentsAndNotTheFrame)
{
    BKPoint mouse = {-1, -1};
    EXPECT_FALSE(windowFunctions().BKKeyWindowMouseLocation(mouse)); // there is no window yet
    EXPECT_EQ(mouse.x, -1);
    EXPECT_FALSE(windowFunctions().BKIsWindow(nullptr));
    EXPECT_FALSE(windowFunctions().BKIsWindow(&mouse)); // there is no application object yet
    startGame(200, 150);
    Platform::SetFullscreenWindow(window(), false, 200, 150);
    const Box framed = {(1600 - 200) / 2, 1200 / 8, 200, 150};
    expectShown(framed);
    ASSERT_TRUE(waitFor([] { return [NSApp keyWindow] == window(); }));
    for (const auto& [right, down] : {std::pair(0, 0), {199, 149}, {37, 80}}) {
        Platform::SetCursorPos(framed.x + right, framed.y + down);
        EXPECT_TRUE(waitFor([&] { // until AppKit knows where the window manager has placed the window
            return windowFunctions().BKKeyWindowMouseLocation(mouse) && mouse.x == right && mouse.y == 150 - down;
        })) << mouse.x
            << " " << mouse.y << ", not " << right << " " << 150 - down;
    }
}

TEST_P(PlainPlaces, AWindowHasTheRequestedSizeOrIsNull)
{
    const auto make = [](int width, int height) {
        return Platform::InitWindow(0, nullptr, "Brackenlow", nullptr, nullptr, 0, 0, width, height, false, false,
                                    nullptr);
    };
    for (const auto& [width, height] : {std::pair(9900, 100), {100, 9900}}) { // room for a frame is left
        Platform::SetWindow(make(width, height));
        ASSERT_TRUE(window());
        Platform::SetWindowPos();
        const std::string size = std::to_string(width) + "x" + std::to_string(height) + "+";
        EXPECT_TRUE(waitFor([&] { return shown().rfind(size, 0) == 0; })) << shown();
        Platform::DestructWindow(window());
    }
    for (const auto& [width, height] : {std::pair(10001, 100), {100, 10001}, {32767, 32767}}) {
        EXPECT_EQ(make(width, height), nullptr);
        for (bool fullScreen : {true, false}) {
            Platform::SetFullscreenWindow(nullptr, fullScreen, width, height);
            EXPECT_EQ(Platform::GetWindow(), nullptr);
        }
    }
    for (const auto& [width, height] : {std::pair(10000, 100), {100, 10000}}) {
        Platform::SetFullscreenWindow(nullptr, true, width, height);
        ASSERT_TRUE(window());
        const std::string size = std::to_string(width) + "x" + std::to_string(height) + "+";
        EXPECT_TRUE(waitFor([&] { return shown().rfind(size, 0) == 0; })) << shown();
        Platform::DestructWindow(window());
    }
}

// AppKit's list of screens can change while AppKit still has an older screen as its main screen.
@interface OlderScreen : NSObject
- (NSRect)frame;
@end

@implementation OlderScreen
- (NSRect)frame
{
    return NSMakeRect(0, 0, 320, 240); // no screen of the test has this size
}
@end

static id olderScreen(id, SEL) { return [[[OlderScreen alloc] init] autorelease]; }

TEST_F(TwoOutputs, AMainScreenThatIsNotOnTheListStillHasItsOwnSize)
{
    startGame(200, 150);
    Method method = class_getClassMethod([NSScreen class], @selector(mainScreen));
    method_setImplementation(method, reinterpret_cast<IMP>(olderScreen));
    const BKRect frame = windowFunctions().BKMainScreenFrame();
    EXPECT_EQ(frame.width, 320);
    EXPECT_EQ(frame.height, 240);
}

class FewColours : public Places {
protected:
    void SetUp() override { open("640x480x8", false); }
};

TEST_F(FewColours, AWindowAppearsWithoutWaitingForFrames)
{
    testing::internal::CaptureStderr();
    startGame(200, 150);
    EXPECT_TRUE(waitFor([&] { return shown() != ""; }));
    Platform::SetFullscreenWindow(window(), true, 640, 480);
    expectShown({0, 0, 640, 480});
    EXPECT_EQ(testing::internal::GetCapturedStderr().find("Waited"), std::string::npos);
}
