// The demo in its window, from the first frame to its exit status: on an X server of the test's own, with real keys.
#include "tests/support/becomes.h"
#include "tests/support/x_server.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <fstream>
#include <sstream>

class DemoWindow : public XServer {
protected:
    void SetUp() override
    {
        XServer::SetUp();
        if (!IsSkipped() && system("command -v xdotool > /dev/null") != 0) {
            GTEST_SKIP() << "there is no xdotool";
        }
        if (!IsSkipped()) {
            start("1024x768x24");
            m_display = XOpenDisplay(nullptr);
            ASSERT_NE(m_display, nullptr);
        }
    }

    void TearDown() override
    {
        if (m_demo > 0) {
            kill(m_demo, SIGKILL);
            waitpid(m_demo, nullptr, 0);
        }
        if (m_display) {
            XCloseDisplay(m_display);
        }
        XServer::TearDown();
    }

    // The demo with a small window, what it says in "demo.out". Returns when something is to be seen.
    void startDemo(const char* option = nullptr, const char* value = nullptr)
    {
        m_demo = fork();
        if (m_demo == 0) {
            const int out = open("demo.out", O_WRONLY | O_CREAT | O_TRUNC, 0644);
            dup2(out, STDOUT_FILENO);
            dup2(open("/dev/null", O_WRONLY), STDERR_FILENO); // AppKit misses a window manager, and says so
            execl(CORE_DEMO, CORE_DEMO, "-width", "640", "-height", "480", option, value, nullptr);
            _exit(127);
        }
        ASSERT_TRUE(becomes([this] { return brightIn(192, 144, 640, 480) > 1000; }));
    }

    int end()
    {
        int status = 0;
        waitpid(m_demo, &status, 0);
        m_demo = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    // Pixels that are not black.
    int brightIn(int x, int y, unsigned int width, unsigned int height)
    {
        XImage* image = XGetImage(m_display, DefaultRootWindow(m_display), x, y, width, height, AllPlanes, ZPixmap);
        int count = 0;
        for (unsigned int row = 0; row < height; ++row) {
            for (unsigned int column = 0; column < width; ++column) {
                count += (XGetPixel(image, static_cast<int>(column), static_cast<int>(row)) & 0xffffff) != 0;
            }
        }
        XDestroyImage(image);
        return count;
    }

    // Only full screen reaches so far up and to the left.
    bool isFullScreen() { return brightIn(0, 0, 150, 100) > 100; }

    static void press(const char* key) { ASSERT_EQ(system((std::string("xdotool key ") + key).c_str()), 0); }

    static void click(int x, int y)
    {
        const std::string place = std::to_string(x) + " " + std::to_string(y);
        ASSERT_EQ(system(("xdotool mousemove " + place + " click 1").c_str()), 0);
    }

    static bool said(const std::string& text)
    {
        std::ostringstream all;
        all << std::ifstream("demo.out").rdbuf();
        return all.str().find(text) != std::string::npos;
    }

    // The one with the size of the game's.
    Window findWindow(Window parent)
    {
        Window root, above, *children = nullptr, found = 0;
        unsigned int count = 0;
        XQueryTree(m_display, parent, &root, &above, &children, &count);
        for (unsigned int index = 0; index < count && !found; ++index) {
            XWindowAttributes window;
            XGetWindowAttributes(m_display, children[index], &window);
            const bool fits = window.width == 640 && window.height == 480 && window.map_state == IsViewable;
            found = fits ? children[index] : findWindow(children[index]);
        }
        XFree(children);
        return found;
    }

    // What a window manager sends for the close button.
    void askToClose(Window window)
    {
        XEvent event = {};
        event.xclient.type = ClientMessage;
        event.xclient.window = window;
        event.xclient.message_type = XInternAtom(m_display, "WM_PROTOCOLS", False);
        event.xclient.format = 32;
        event.xclient.data.l[0] = static_cast<long>(XInternAtom(m_display, "WM_DELETE_WINDOW", False));
        XSendEvent(m_display, window, False, NoEventMask, &event);
        XFlush(m_display);
    }

    Display* m_display = nullptr;
    pid_t m_demo = 0;
};

TEST_F(DemoWindow, EscapeEndsTheGameWithAllItsChecks)
{
    startDemo();
    press("Escape");
    EXPECT_EQ(end(), 0);
    EXPECT_TRUE(said("All 13 banks check out"));
    EXPECT_FALSE(said("1,927,824 operations")); // which all frames would have had
}

TEST_F(DemoWindow, TheCloseButtonEndsTheGameWithAllItsChecks)
{
    startDemo();
    const Window window = findWindow(DefaultRootWindow(m_display));
    ASSERT_NE(window, 0u);
    askToClose(window);
    EXPECT_EQ(end(), 0);
    EXPECT_TRUE(said("All 13 banks check out"));
    EXPECT_FALSE(said("1,927,824 operations"));
}

TEST_F(DemoWindow, AClickOnTheMapPlacesAUnitThatFights)
{
    startDemo();
    const Window window = findWindow(DefaultRootWindow(m_display));
    int x = 0, y = 0;
    Window child = 0;
    ASSERT_TRUE(XTranslateCoordinates(m_display, window, DefaultRootWindow(m_display), 0, 0, &x, &y, &child));
    click(x + 50, y + 240);
    press("Escape");
    EXPECT_EQ(end(), 0);
    EXPECT_TRUE(said("Marsh League has 24 of 24 units left")); // the level has 23
}

TEST_F(DemoWindow, TheKeyFSwitchesToFullScreenAndBack)
{
    startDemo();
    EXPECT_FALSE(isFullScreen());
    press("f");
    EXPECT_TRUE(becomes([this] { return isFullScreen(); }));
    press("f");
    EXPECT_TRUE(becomes([this] { return !isFullScreen() && brightIn(0, 0, 1024, 768) > 1000; }));
    press("Escape");
    EXPECT_EQ(end(), 0);
}

TEST_F(DemoWindow, TheNextRunBeginsInTheKindOfWindowThisOneEndedIn)
{
    startDemo();
    press("f");
    ASSERT_TRUE(becomes([this] { return isFullScreen(); }));
    press("Escape");
    ASSERT_EQ(end(), 0);
    startDemo();
    EXPECT_TRUE(becomes([this] { return isFullScreen(); }));
    press("Escape");
    EXPECT_EQ(end(), 0);
    EXPECT_TRUE(said("-fullscreen    yes  the preferences"));
}

TEST_F(DemoWindow, TheGameEndsAfterTheLastFrame)
{
    startDemo("-frames", "12");
    EXPECT_EQ(end(), 0);
    EXPECT_TRUE(said("All 13 banks check out"));
}
