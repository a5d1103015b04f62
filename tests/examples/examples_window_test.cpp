// The examples with a window: on an X server of the test's own, with real keys and a real mouse.
#include "tests/support/becomes.h"
#include "tests/support/x_server.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <fstream>
#include <sstream>

class ExampleWindow : public XServer {
protected:
    void SetUp() override
    {
        XServer::SetUp();
        if (!IsSkipped() && system("command -v xdotool > /dev/null") != 0) {
            GTEST_SKIP() << "there is no xdotool";
        }
        if (!IsSkipped()) {
            m_hasOpenGl = true;
            start("640x480x24");
            m_display = XOpenDisplay(nullptr);
            ASSERT_NE(m_display, nullptr);
        }
    }

    void TearDown() override
    {
        if (m_example > 0) {
            kill(m_example, SIGKILL);
            waitpid(m_example, nullptr, 0);
        }
        if (m_display) {
            XCloseDisplay(m_display);
        }
        XServer::TearDown();
    }

    // Starts an example. Its standard output goes to the file "out", line by line.
    void run(const char* name)
    {
        m_example = fork();
        if (m_example == 0) {
            dup2(open("out", O_WRONLY | O_CREAT | O_TRUNC, 0644), STDOUT_FILENO);
            dup2(open("/dev/null", O_WRONLY), STDERR_FILENO); // AppKit misses a window manager, and says so
            const std::string program = std::string(EXAMPLES "/example_") + name;
            execlp("stdbuf", "stdbuf", "-oL", program.c_str(), nullptr);
            _exit(127);
        }
    }

    int end()
    {
        int status = 0;
        waitpid(m_example, &status, 0);
        m_example = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    static std::string output()
    {
        std::ostringstream all;
        all << std::ifstream("out").rdbuf();
        return all.str();
    }

    static bool said(const std::string& text)
    {
        return becomes([&] { return output().find(text) != std::string::npos; });
    }

    unsigned long colourAt(int x, int y)
    {
        XImage* image = XGetImage(m_display, DefaultRootWindow(m_display), x, y, 1, 1, AllPlanes, ZPixmap);
        const unsigned long colour = XGetPixel(image, 0, 0) & 0xffffff;
        XDestroyImage(image);
        return colour;
    }

    bool shows(unsigned long colour, int x, int y)
    {
        return becomes([&] { return colourAt(x, y) == colour; });
    }

    static void xdotool(const char* words) { ASSERT_EQ(system((std::string("xdotool ") + words).c_str()), 0); }

    Display* m_display = nullptr;
    pid_t m_example = 0;
};

TEST_F(ExampleWindow, DrawsUntilEscape)
{
    run("window");
    EXPECT_TRUE(shows(0x338033, 320, 300)) << "the green field, in the middle of the screen";
    xdotool("mousemove 320 300 key Escape");
    EXPECT_EQ(end(), 0);
    EXPECT_EQ(output(), "the window is closed\n");
}

TEST_F(ExampleWindow, SwitchesToFullScreenAndReadsKeysAndMouse)
{
    run("fullscreen");
    EXPECT_TRUE(shows(0xffff00, 162, 338)) << "the cross, in the lower left corner of the window";
    xdotool("mousemove 320 300 key a key Up");
    EXPECT_TRUE(said("key 97\nkey 146\n"));
    xdotool("key f");
    EXPECT_TRUE(shows(0x0000ff, 600, 40)) << "the whole screen is blue";
    xdotool("mousemove 100 80 click 1");
    EXPECT_TRUE(shows(0xffff00, 100, 80)) << "the cross moves to the click";
    xdotool("key f");
    EXPECT_TRUE(shows(0x000000, 600, 40));
    EXPECT_TRUE(said("framed\n"));
    xdotool("mousemove 320 200 key Escape");
    EXPECT_EQ(end(), 0);
    EXPECT_EQ(output(), "key 97\nkey 146\nfull screen\nclick at 100, 400\nframed\n");
}

#ifdef WITH_OPENGL
TEST_F(ExampleWindow, DrawsWithOpenGl)
{
    run("opengl");
    EXPECT_TRUE(shows(0xff8000, 320, 250)) << "the triangle";
    EXPECT_TRUE(shows(0x000066, 180, 160)) << "its background";
    xdotool("mousemove 320 250 key Escape");
    EXPECT_EQ(end(), 0);
    EXPECT_EQ(output(), "the middle is orange\n");
}
#endif

// Without a display each of them says so.
TEST(ExampleWithoutADisplay, SaysSo)
{
    unsetenv("DISPLAY");
    for (const char* name : {"window", "fullscreen"}) {
        const std::string command = std::string(EXAMPLES "/example_") + name + " >out 2>/dev/null";
        EXPECT_EQ(WEXITSTATUS(system(command.c_str())), 1);
        EXPECT_EQ(system("grep -qx 'there is no display' out"), 0);
    }
}
