// The cursor, seen through a second connection, and in the pixels of the server's screen.
#include "tests/support/x_server.h"

#include <ApplicationServices/ApplicationServices.h>

#include <gtest/gtest.h>

static void expectFailures()
{
    for (CGDirectDisplayID display : {kCGDirectMainDisplay, 1u}) {
        EXPECT_EQ(CGDisplayHideCursor(display), kCGErrorFailure);
        EXPECT_EQ(CGDisplayShowCursor(display), kCGErrorFailure);
        EXPECT_EQ(CGDisplayMoveCursorToPoint(display, CGPoint{10, 20}), kCGErrorFailure);
    }
    EXPECT_EQ(CGAssociateMouseAndMouseCursorPosition(true), kCGErrorFailure);
    EXPECT_EQ(CGAssociateMouseAndMouseCursorPosition(false), kCGErrorFailure);
}

#if __has_include(<X11/extensions/Xfixes.h>) && __has_include(<X11/extensions/Xrandr.h>)

#include <X11/XWDFile.h>
#include <X11/cursorfont.h>
#include <X11/extensions/Xfixes.h>

#include "tests/support/second_output.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>
#include <math.h>
#include <thread>
#include <vector>

using namespace std::chrono_literals;

static int s_hides;
static int s_barriers;
static bool s_hasNoXFixes; // the server is made to say so

extern "C" Bool XFixesQueryExtension(Display* display, int* event, int* error)
{
    return !s_hasNoXFixes && NEXT(XFixesQueryExtension)(display, event, error);
}

// The calls as macapi gets them, whose results the server keeps until it is told otherwise.
extern "C" void XFixesHideCursor(Display* display, Window window)
{
    s_hides++;
    NEXT(XFixesHideCursor)(display, window);
}

extern "C" void XFixesShowCursor(Display* display, Window window)
{
    s_hides--;
    NEXT(XFixesShowCursor)(display, window);
}

extern "C" PointerBarrier XFixesCreatePointerBarrier(Display* display, Window window, int x1, int y1, int x2, int y2,
                                                     int directions, int count, int* devices)
{
    s_barriers++;
    return NEXT(XFixesCreatePointerBarrier)(display, window, x1, y1, x2, y2, directions, count, devices);
}

extern "C" void XFixesDestroyPointerBarrier(Display* display, PointerBarrier barrier)
{
    s_barriers--;
    NEXT(XFixesDestroyPointerBarrier)(display, barrier);
}

class TheCursor : public XServer {
protected:
    void SetUp() override
    {
        XServer::SetUp();
        if (!IsSkipped() && !dlopen("libXfixes.so.3", RTLD_LAZY | RTLD_NOLOAD)) {
            GTEST_SKIP() << "macapi was built without XFixes";
        }
        m_mouse = dlopen("libXtst.so.6", RTLD_NOW);
        if (!IsSkipped() && !m_mouse) {
            GTEST_SKIP() << "there is no libXtst";
        }
        if (!IsSkipped()) {
            start("800x600x24", "-fbdir", ".");
            connect();
        }
    }

    // The test's own connection. A cursor that nobody has given a shape is never shown, so the screen gets one.
    void connect()
    {
        m_display = LOADED(XOpenDisplay)(nullptr);
        ASSERT_TRUE(m_display);
        LOADED(XDefineCursor)(m_display, root(), LOADED(XCreateFontCursor)(m_display, XC_X_cursor));
        LOADED(XWarpPointer)(m_display, None, root(), 0, 0, 0, 0, 400, 300);
        LOADED(XSync)(m_display, False);
    }

    Window root() { return DefaultRootWindow(m_display); }

    std::string position()
    {
        Window ignored;
        int x, y, inside;
        unsigned int buttons;
        LOADED(XQueryPointer)(m_display, root(), &ignored, &ignored, &x, &y, &inside, &inside, &buttons);
        return std::to_string(x) + ", " + std::to_string(y);
    }

    // Whether the pixels around the middle of the screen, which are black otherwise, come to show a cursor, or not.
    static bool comesToBeSeen(bool expected)
    {
        const auto limit = std::chrono::steady_clock::now() + 10s;
        while (isSeen() != expected && std::chrono::steady_clock::now() < limit) {
            std::this_thread::yield();
        }
        return isSeen() == expected;
    }

    void moveMouse(int right, int down)
    {
        using Move = int (*)(Display*, int, int, unsigned long);
        reinterpret_cast<Move>(dlsym(m_mouse, "XTestFakeRelativeMotionEvent"))(m_display, right, down, CurrentTime);
        LOADED(XSync)(m_display, False);
    }

    Display* m_display = nullptr;

private:
    void* m_mouse = nullptr; // XTest's

    static bool isSeen()
    {
        std::ifstream file("Xvfb_screen0", std::ios::binary);
        const std::vector<char> screen(std::istreambuf_iterator<char>(file), {});
        const auto* words = reinterpret_cast<const unsigned char*>(screen.data());
        const auto word = [words](size_t index) {
            return static_cast<size_t>(words[4 * index]) << 24 | words[4 * index + 1] << 16 |
                   words[4 * index + 2] << 8 | words[4 * index + 3];
        };
        // The header's own size, the line's, and the colours between header and pixels.
        const size_t pixels = word(0) + word(19) * sz_XWDColor;
        const size_t line = word(12);
        for (size_t y = 290; y < 310; y++) {
            const auto start = screen.begin() + static_cast<long>(pixels + y * line);
            if (std::any_of(start + 4 * 390, start + 4 * 410, [](char byte) { return byte != 0; })) {
                return true;
            }
        }
        return false;
    }
};

static CGDisplayErr moveTo(CGFloat x, CGFloat y)
{
    return CGDisplayMoveCursorToPoint(kCGDirectMainDisplay, CGPoint{x, y});
}

TEST_F(TheCursor, IsHiddenAndShown)
{
    ASSERT_TRUE(comesToBeSeen(true));
    EXPECT_EQ(CGDisplayHideCursor(kCGDirectMainDisplay), kCGErrorSuccess);
    EXPECT_TRUE(comesToBeSeen(false));
    EXPECT_EQ(CGDisplayShowCursor(kCGDirectMainDisplay), kCGErrorSuccess);
    EXPECT_TRUE(comesToBeSeen(true));
}

TEST_F(TheCursor, IsShownWhenItWasShownAsOftenAsHidden)
{
    CGDisplayHideCursor(kCGDirectMainDisplay);
    CGDisplayHideCursor(kCGDirectMainDisplay);
    CGDisplayShowCursor(kCGDirectMainDisplay);
    EXPECT_TRUE(comesToBeSeen(false));
    CGDisplayShowCursor(kCGDirectMainDisplay);
    EXPECT_TRUE(comesToBeSeen(true));
}

TEST_F(TheCursor, OneShowTooManyDoesNoHarm)
{
    EXPECT_EQ(CGDisplayShowCursor(kCGDirectMainDisplay), kCGErrorSuccess);
    CGDisplayHideCursor(kCGDirectMainDisplay);
    EXPECT_TRUE(comesToBeSeen(false));
}

TEST_F(TheCursor, MovesToAPointOfTheDisplay)
{
    EXPECT_EQ(moveTo(10, 20), kCGErrorSuccess);
    EXPECT_EQ(position(), "10, 20");
    EXPECT_EQ(moveTo(10.9f, 20.9f), kCGErrorSuccess); // inside that pixel
    EXPECT_EQ(position(), "10, 20");
}

TEST_F(TheCursor, IsBroughtToTheEdge)
{
    const struct {
        CGFloat x, y;
        const char* position;
    } moves[] = {
        {-1, -1, "0, 0"},
        {800, 600, "799, 599"},
        {1e9f, 300, "799, 300"},
        {300, -1e9f, "300, 0"},
        {static_cast<CGFloat>(INFINITY), static_cast<CGFloat>(-INFINITY), "799, 0"},
        {static_cast<CGFloat>(NAN), 5, "0, 5"},
    };
    for (const auto& move : moves) {
        EXPECT_EQ(moveTo(move.x, move.y), kCGErrorSuccess);
        EXPECT_EQ(position(), move.position);
    }
}

TEST_F(TheCursor, StaysAsItIsWhenItMoves)
{
    CGDisplayHideCursor(kCGDirectMainDisplay);
    moveTo(10, 10);
    moveTo(400, 300);
    EXPECT_TRUE(comesToBeSeen(false));
    EXPECT_EQ(s_hides, 1);
}

TEST_F(TheCursor, MovesOnTheMainDisplayWhereverThatIs)
{
    s_second = {600, 100, 200, 300};
    EXPECT_EQ(CGDisplayPixelsWide(kCGDirectMainDisplay), 200u);
    EXPECT_EQ(CGDisplayPixelsHigh(kCGDirectMainDisplay), 300u);
    moveTo(10, 20);
    EXPECT_EQ(position(), "610, 120");
    moveTo(-1000, -1000);
    EXPECT_EQ(position(), "600, 100");
    moveTo(1000, 1000);
    EXPECT_EQ(position(), "799, 399");
}

TEST_F(TheCursor, MovesToAPointOfAnotherDisplay)
{
    s_second = {600, 100, 200, 300}; // the other one shows the whole of the screen
    moveTo(-10, -90);
    EXPECT_EQ(position(), "590, 10");
    moveTo(-0.5, 20);
    EXPECT_EQ(position(), "599, 120");
    moveTo(50, 350.5);
    EXPECT_EQ(position(), "650, 450");
    moveTo(50, 500); // nothing is there
    EXPECT_EQ(position(), "650, 399");
}

TEST_F(TheCursor, ThatIsUntiedStaysWhenTheMouseMoves)
{
    moveTo(100, 200);
    EXPECT_EQ(CGAssociateMouseAndMouseCursorPosition(false), kCGErrorSuccess);
    moveMouse(30, 0);
    moveMouse(0, 30);
    moveMouse(-300, -300);
    moveMouse(5, 5);
    EXPECT_EQ(position(), "100, 200");
    EXPECT_EQ(moveTo(0, 0), kCGErrorSuccess); // the program may move it still
    moveMouse(30, 30);
    EXPECT_EQ(position(), "0, 0");
    EXPECT_EQ(CGAssociateMouseAndMouseCursorPosition(true), kCGErrorSuccess);
    moveMouse(30, 40);
    EXPECT_EQ(position(), "30, 40");
}

TEST_F(TheCursor, ThatIsTiedMayBeTiedAgain)
{
    EXPECT_EQ(CGAssociateMouseAndMouseCursorPosition(true), kCGErrorSuccess);
    EXPECT_EQ(CGAssociateMouseAndMouseCursorPosition(true), kCGErrorSuccess);
    moveTo(10, 10);
    moveMouse(30, 40);
    EXPECT_EQ(position(), "40, 50");
}

TEST_F(TheCursor, WhileItIsUntiedTheMouseStillSendsEvents)
{
    moveTo(100, 200);
    CGAssociateMouseAndMouseCursorPosition(false);
    LOADED(XSelectInput)(m_display, root(), PointerMotionMask | ButtonPressMask);
    moveMouse(30, 30);
    XEvent event = {};
    LOADED(XWindowEvent)(m_display, root(), PointerMotionMask, &event);
    EXPECT_EQ(event.xmotion.x_root, 100);
}

TEST_F(TheCursor, CallsForAnotherDisplayFail)
{
    for (CGDirectDisplayID display : {kCGNullDirectDisplay, kCGDirectMainDisplay + 1}) {
        EXPECT_EQ(CGDisplayHideCursor(display), kCGErrorIllegalArgument);
        EXPECT_EQ(CGDisplayShowCursor(display), kCGErrorIllegalArgument);
        EXPECT_EQ(CGDisplayMoveCursorToPoint(display, CGPoint{10, 20}), kCGErrorIllegalArgument);
    }
    EXPECT_EQ(position(), "400, 300");
    EXPECT_TRUE(comesToBeSeen(true));
}

// Runs in a process of its own, which hides and unties the cursor and waits for its end.
static pid_t startGame(int ready)
{
    const pid_t game = fork();
    if (game == 0) {
        CGDisplayHideCursor(kCGDirectMainDisplay);
        CGDisplayHideCursor(kCGDirectMainDisplay);
        CGAssociateMouseAndMouseCursorPosition(false);
        if (write(ready, "!", 1) != 1) {
            _exit(1);
        }
        pause();
    }
    return game;
}

TEST_F(TheCursor, IsAsItWasWhenAGameDies)
{
    for (int signal : {SIGTERM, SIGKILL}) {
        ASSERT_TRUE(comesToBeSeen(true));
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const pid_t game = startGame(ends[1]);
        char mark;
        ASSERT_EQ(read(ends[0], &mark, 1), 1);
        EXPECT_TRUE(comesToBeSeen(false));
        moveMouse(7, 7);
        EXPECT_EQ(position(), "400, 300");
        kill(game, signal);
        waitpid(game, nullptr, 0);
        EXPECT_TRUE(comesToBeSeen(true));
        moveMouse(7, 7);
        EXPECT_EQ(position(), "407, 307");
        moveMouse(-7, -7);
    }
}

TEST_F(TheCursor, IsAsItWasWhenAGameEnds)
{
    const pid_t game = fork();
    if (game == 0) {
        CGDisplayHideCursor(kCGDirectMainDisplay);
        exit(comesToBeSeen(false) ? 0 : 1);
    }
    int status = -1;
    waitpid(game, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(comesToBeSeen(true));
}

TEST_F(TheCursor, IsHiddenByAProcessAndNotByTheChildItForks)
{
    CGDisplayHideCursor(kCGDirectMainDisplay);
    CGAssociateMouseAndMouseCursorPosition(false);
    const pid_t child = fork();
    if (child == 0) {
        EXPECT_EQ(CGDisplayShowCursor(kCGDirectMainDisplay), kCGErrorSuccess);
        EXPECT_EQ(CGDisplayHideCursor(kCGDirectMainDisplay), kCGErrorSuccess);
        EXPECT_EQ(CGAssociateMouseAndMouseCursorPosition(true), kCGErrorSuccess);
        EXPECT_EQ(CGDisplayShowCursor(kCGDirectMainDisplay), kCGErrorSuccess);
        _exit(HasFailure() ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(comesToBeSeen(false));
    moveMouse(7, 7);
    EXPECT_EQ(position(), "400, 300");
    EXPECT_EQ(CGAssociateMouseAndMouseCursorPosition(true), kCGErrorSuccess);
    EXPECT_EQ(CGDisplayShowCursor(kCGDirectMainDisplay), kCGErrorSuccess);
    EXPECT_TRUE(comesToBeSeen(true));
}

TEST_F(TheCursor, LeavesNothingAtTheServerHoweverOftenItIsUsed)
{
    for (int turn = 0; turn < 200; turn++) {
        CGDisplayHideCursor(kCGDirectMainDisplay);
        CGAssociateMouseAndMouseCursorPosition(false);
        CGAssociateMouseAndMouseCursorPosition(false);
        moveTo(static_cast<CGFloat>(turn), 20);
        CGAssociateMouseAndMouseCursorPosition(true);
        CGDisplayShowCursor(kCGDirectMainDisplay);
    }
    EXPECT_EQ(s_hides, 0);
    EXPECT_EQ(s_barriers, 0);
}

TEST_F(TheCursor, MayBeUsedFromManyThreads)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; i++) {
        threads.emplace_back([] {
            for (int turn = 0; turn < 20; turn++) {
                EXPECT_EQ(CGDisplayHideCursor(kCGDirectMainDisplay), kCGErrorSuccess);
                EXPECT_EQ(moveTo(10, 10), kCGErrorSuccess);
                EXPECT_EQ(CGDisplayShowCursor(kCGDirectMainDisplay), kCGErrorSuccess);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(s_hides, 0);
}

TEST_F(TheCursor, EveryCallFailsAfterTheServerHasGone)
{
    CGDisplayHideCursor(kCGDirectMainDisplay);
    CGAssociateMouseAndMouseCursorPosition(false);
    end();
    testing::internal::CaptureStderr();
    expectFailures();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

class PlainCursor : public TheCursor {
protected:
    void SetUp() override { XServer::SetUp(); }
};

TEST_F(PlainCursor, MovesOnAServerWithoutXFixesButIsNotHidden)
{
    start("800x600x24"); // Xvfb does without XFixes too, but ends when a client of it goes
    s_hasNoXFixes = true;
    connect();
    testing::internal::CaptureStderr();
    EXPECT_EQ(moveTo(10, 20), kCGErrorSuccess);
    EXPECT_EQ(position(), "10, 20");
    EXPECT_EQ(CGDisplayHideCursor(kCGDirectMainDisplay), kCGErrorFailure);
    EXPECT_EQ(CGDisplayShowCursor(kCGDirectMainDisplay), kCGErrorSuccess); // it is to be seen
    EXPECT_EQ(CGAssociateMouseAndMouseCursorPosition(false), kCGErrorFailure);
    EXPECT_EQ(CGAssociateMouseAndMouseCursorPosition(true), kCGErrorSuccess);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

#endif

TEST(NoCursor, WithoutAServerEveryCallFails)
{
    unsetenv("DISPLAY");
    expectFailures();
}
