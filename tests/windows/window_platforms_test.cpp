// One game on many window platforms: where its windows are, whether they have the keyboard, where the cursor goes, and
// whether the desktop is as before when the game has ended or was killed.
//
// WINDOW_CYCLES says how often each platform's game goes to full screen and back (2).
#include "window_platform.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <poll.h>
#include <sstream>

static const int sc_width = 400; // of the framed window's contents
static const int sc_height = 300;

static const PlatformKind s_platforms[] = {
    {"Plain", {"Xvfb", "-screen", "0", "1024x768x24"}, {}, {0, 0, 1024, 768}, 0, 0, false},
    {"Openbox", {"Xvfb", "-screen", "0", "1024x768x24"}, {"openbox", "--sm-disable"}, {0, 0, 1024, 768}, 0, 0, false},
    {"Icewm", {"Xvfb", "-screen", "0", "1024x768x24"}, {"icewm"}, {0, 0, 1024, 768}, 0, 0, false},
    {"Depth16", {"Xvfb", "-screen", "0", "800x600x16"}, {}, {0, 0, 800, 600}, 0, 0, false},
    {"Depth16Openbox",
     {"Xvfb", "-screen", "0", "800x600x16"},
     {"openbox", "--sm-disable"},
     {0, 0, 800, 600},
     0,
     0,
     false},
    // Two screens. Xvfb puts its second one to the right of the first, which is the main screen; in the other two
    // arrangements the desktop's other half is one that no output shows.
    {"LeftOfATallerScreen",
     {"Xvfb", "+xinerama", "-screen", "0", "800x600x24", "-screen", "1", "640x768x24"},
     {},
     {0, 0, 800, 600},
     0,
     0,
     false},
    {"LeftOfAShorterScreen",
     {"Xvfb", "+xinerama", "-screen", "0", "800x768x24", "-screen", "1", "640x600x24"},
     {},
     {0, 0, 800, 768},
     0,
     0,
     false},
    {"RightOfAnotherScreen", {"Xvfb", "-screen", "0", "1600x1200x24"}, {}, {640, 0, 800, 600}, 1440, 600, false},
    {"BelowAnotherScreen", {"Xvfb", "-screen", "0", "1600x1200x24"}, {}, {0, 480, 800, 600}, 800, 1080, false},
    {"OffsetOutput", {"Xvfb", "-screen", "0", "1600x1200x24"}, {}, {800, 100, 640, 480}, 1600, 1200, false},
};

// Started without input devices: the session then gives no window the keyboard.
static const PlatformKind s_xwayland = {"Xwayland",
                                        {"weston", "--backend=headless-backend.so", "--width=1024", "--height=768",
                                         "--xwayland", "--idle-time=0", "--no-config", "--socket=wayland-test"},
                                        {},
                                        {0, 0, 1024, 768},
                                        0,
                                        0,
                                        true};

static void PrintTo(const PlatformKind& kind, std::ostream* to)
{
    *to << kind.name;
}

static std::string textOf(const Rectangle& its)
{
    std::ostringstream text;
    text << its.x << " " << its.y << " " << its.width << " " << its.height;
    return text.str();
}

static bool endsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

static bool waitFor(const std::function<bool()>& condition)
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) {
            return false;
        }
        usleep(2000);
    }
    return true;
}

// What window_player answers to "state".
struct State {
    Window window = None;
    bool isKey = false;
    bool isActive = false;
    int keys = 0;
    unsigned int code = 0;
    bool isOurs = false; // whether the last key named the current window
    int cursorX = 0, cursorY = 0;
};

// The game, in a process of its own.
class Player {
public:
    Player() { m_process.start({WINDOW_PLAYER}); }

    // Its answer; "hangs" or "ended" when there is none.
    std::string say(const std::string& command)
    {
        const std::string line = command + "\n";
        if (write(m_process.input(), line.data(), line.size()) < 0) {
            return "ended";
        }
        std::string answer;
        for (;;) {
            pollfd output = {m_process.output(), POLLIN, 0};
            char letter;
            if (poll(&output, 1, 10000) <= 0) {
                return "hangs";
            }
            if (read(m_process.output(), &letter, 1) != 1) {
                return "ended";
            }
            if (letter == '\n') {
                return answer;
            }
            answer += letter;
        }
    }

    std::string say(const std::string& command, int first, int second)
    {
        return say(command + " " + std::to_string(first) + " " + std::to_string(second));
    }

    State state()
    {
        State its;
        std::istringstream words(say("state"));
        words >> its.window >> its.isKey >> its.isActive >> its.keys >> its.code >> its.isOurs >> its.cursorX >>
            its.cursorY;
        return its;
    }

    // Says "end", and waits for that.
    int end()
    {
        say("end");
        EXPECT_TRUE(waitFor([&] { return !m_process.isAlive(); }));
        return m_process.status();
    }

    void kill() { m_process.kill(); }
    bool isAlive() { return m_process.isAlive(); }

private:
    Process m_process;
};

class WindowPlatforms : public testing::TestWithParam<PlatformKind> {
protected:
    void SetUp() override
    {
        signal(SIGPIPE, SIG_IGN);
        const std::string missing = WindowPlatform::missing(GetParam());
        if (!missing.empty()) {
            GTEST_SKIP() << "there is no " << missing;
        }
        void* library = dlopen("libXtst.so.6", RTLD_NOW);
        if (!library) {
            GTEST_SKIP() << "there is no libXtst";
        }
        m_fakeKey = reinterpret_cast<FakeKey>(dlsym(library, "XTestFakeKeyEvent"));
        ASSERT_TRUE(m_platform.start(GetParam()));
    }

    Display* display() { return m_platform.display(); }
    Window root() { return m_platform.root(); }
    const Rectangle& main() { return GetParam().main; }

    // A window's contents as the server has them. Empty when it shows no such window.
    std::string onScreen(Window window)
    {
        XWindowAttributes attributes;
        if (!window || !XGetWindowAttributes(display(), window, &attributes) || attributes.map_state != IsViewable) {
            return "";
        }
        Rectangle place = {0, 0, attributes.width, attributes.height};
        Window child;
        XTranslateCoordinates(display(), window, root(), 0, 0, &place.x, &place.y, &child);
        return textOf(place);
    }

    std::string cursor()
    {
        Window ignored;
        int x, y, inside;
        unsigned int buttons;
        XQueryPointer(display(), root(), &ignored, &ignored, &x, &y, &inside, &inside, &buttons);
        return std::to_string(x) + " " + std::to_string(y);
    }

    std::string onMain(int x, int y) { return std::to_string(main().x + x) + " " + std::to_string(main().y + y); }

    Window focus()
    {
        Window window = None;
        int revertTo;
        XGetInputFocus(display(), &window, &revertTo);
        return window;
    }

    // The window is where it belongs and has the keyboard, without a click or a motion. A Wayland session puts windows
    // where it likes, and one without input devices gives no window the keyboard: only the size is certain then.
    void expectWindow(Player& player, const Rectangle& place, const char* what)
    {
        State state;
        if (GetParam().isWayland) {
            const std::string size = " " + std::to_string(place.width) + " " + std::to_string(place.height);
            ASSERT_TRUE(waitFor([&] { return endsWith(onScreen((state = player.state()).window), size); }))
                << what << " is at " << onScreen(state.window) << "; the game says " << player.say("state");
            return;
        }
        ASSERT_TRUE(waitFor([&] { return onScreen((state = player.state()).window) == textOf(place); }))
            << what << " is at " << onScreen(state.window) << ", not at " << textOf(place);
        ASSERT_TRUE(waitFor([&] { return (state = player.state()).isKey && state.isActive; }))
            << what << ": key " << state.isKey << ", active " << state.isActive;
        ASSERT_TRUE(waitFor([&] { return focus() == state.window; })) << what << ": the focus is at " << focus();
        expectKey(player, what);
    }

    void expectKey(Player& player, const char* what)
    {
        const unsigned int sc_a = 38; // the server's number of the key A
        const int before = player.state().keys;
        m_fakeKey(display(), sc_a, True, CurrentTime);
        m_fakeKey(display(), sc_a, False, CurrentTime);
        XSync(display(), False);
        State state;
        ASSERT_TRUE(waitFor([&] { return (state = player.state()).keys == before + 1; })) << what << ": no key";
        EXPECT_EQ(state.code, static_cast<unsigned int>('a'));
        EXPECT_TRUE(state.isOurs) << what << ": the key names no window, or another one";
    }

    void expectCursor(Player& player)
    {
        player.say("hide");
        player.say("unhide");
        if (!GetParam().isWayland) {
            player.say("move", 10, 20);
            EXPECT_EQ(cursor(), onMain(10, 20));
        }
    }

    Rectangle framed()
    {
        return {main().x + (main().width - sc_width) / 2, main().y + main().height / 8, sc_width, sc_height};
    }

    // The cursor is brought to the corner of the framed window's contents.
    void expectCapture(Player& player)
    {
        if (!GetParam().isWayland) {
            EXPECT_TRUE(waitFor([&] { // a manager frames the window a moment after it was shown
                player.say("capture");
                return cursor() == onMain(framed().x - main().x, framed().y - main().y);
            })) << cursor();
            player.say("release");
        }
    }

    void cycle(Player& player)
    {
        player.say("full", main().width, main().height);
        expectWindow(player, main(), "the full-screen window");
        if (HasFailure()) {
            return;
        }
        expectCursor(player);
        player.say("framed", sc_width, sc_height);
        expectWindow(player, framed(), "the framed window");
        if (!HasFailure()) {
            expectCapture(player);
        }
    }

    // Desktop and keyboard as far as a game could leave them different.
    std::string desktop()
    {
        Window ignored;
        int x, y;
        unsigned int width, height, border, depth;
        XGetGeometry(display(), root(), &ignored, &x, &y, &width, &height, &border, &depth);
        XKeyboardState keyboard;
        XGetKeyboardControl(display(), &keyboard);
        char keys[32];
        XQueryKeymap(display(), keys);
        int pressed = 0;
        for (char eight : keys) {
            pressed += eight != 0;
        }
        std::ostringstream text;
        text << "desktop " << width << "x" << height << ", the game's windows " << gameWindows() << ", repeat "
             << keyboard.global_auto_repeat << ", lamps " << keyboard.led_mask << ", pressed keys " << pressed
             << ", grabs " << canGrab();
        return text.str();
    }

    // Those of a game, a manager's frames around them or not. parent: null for the desktop.
    int gameWindows(Window parent = None)
    {
        Window ignored;
        Window* children = nullptr;
        unsigned int count = 0;
        XQueryTree(display(), parent ? parent : root(), &ignored, &ignored, &children, &count);
        int windows = 0;
        for (unsigned int i = 0; i < count; i++) {
            XClassHint its = {};
            XGetClassHint(display(), children[i], &its);
            windows += (its.res_name && std::string(its.res_name) == "window_player") + gameWindows(children[i]);
            XFree(its.res_name);
            XFree(its.res_class);
        }
        XFree(children);
        return windows;
    }

    std::string canGrab()
    {
        const int keyboard = XGrabKeyboard(display(), root(), False, GrabModeAsync, GrabModeAsync, CurrentTime);
        const int mouse =
            XGrabPointer(display(), root(), False, 0, GrabModeAsync, GrabModeAsync, None, None, CurrentTime);
        XUngrabKeyboard(display(), CurrentTime);
        XUngrabPointer(display(), CurrentTime);
        return keyboard == GrabSuccess && mouse == GrabSuccess ? "free" : "taken";
    }

    // The pointer goes wherever it is sent: no barrier is left.
    void expectFreePointer()
    {
        if (!GetParam().isWayland) {
            XWarpPointer(display(), None, root(), 0, 0, 0, 0, main().x + 300, main().y + 200);
            EXPECT_EQ(cursor(), onMain(300, 200));
        }
    }

    void startPlayer(Player& player)
    {
        ASSERT_EQ(player.say("start", sc_width, sc_height), "window");
        player.say("show");
        State state;
        ASSERT_TRUE(waitFor([&] { return onScreen((state = player.state()).window) != ""; }));
    }

    WindowPlatform m_platform;

private:
    using FakeKey = int (*)(Display*, unsigned int number, int isDown, unsigned long delay);
    FakeKey m_fakeKey = nullptr;
};

class XServers : public WindowPlatforms {};
class WaylandSession : public WindowPlatforms {};

static std::string nameOf(const testing::TestParamInfo<PlatformKind>& kind)
{
    return kind.param.name;
}

INSTANTIATE_TEST_SUITE_P(On, WindowPlatforms, testing::ValuesIn(s_platforms), nameOf);
INSTANTIATE_TEST_SUITE_P(OnWayland, WindowPlatforms, testing::Values(s_xwayland), nameOf);
INSTANTIATE_TEST_SUITE_P(On, XServers, testing::ValuesIn(s_platforms), nameOf);
INSTANTIATE_TEST_SUITE_P(On, WaylandSession, testing::Values(s_xwayland), nameOf);

static int cycles()
{
    const char* told = getenv("WINDOW_CYCLES");
    return told ? atoi(told) : 2;
}

TEST_P(WindowPlatforms, ShowTheGameAndAreRestoredAfterItsEnd)
{
    const int perGame = cycles() < 20 ? 1 : 10;
    const std::string before = desktop();
    for (int turn = 0; turn < cycles() && !HasFailure(); turn += perGame) {
        Player player;
        startPlayer(player);
        for (int i = 0; i < perGame && !HasFailure(); i++) {
            cycle(player);
        }
        player.say("full", main().width, main().height);
        player.say("hide");
        if (!GetParam().isWayland) {
            player.say("capture");
        }
        if (turn / perGame % 2 == 0) {
            EXPECT_EQ(player.end(), 0);
        } else {
            player.kill();
        }
        EXPECT_TRUE(waitFor([&] { return desktop() == before; })) << desktop() << "\nbefore: " << before;
        expectFreePointer();
    }
}

TEST_P(XServers, GiveTheKeyboardToTheFullScreenWindowOnAFreshServer)
{
    Player player;
    startPlayer(player); // no key, click or motion so far
    player.say("full", main().width, main().height);
    State state;
    EXPECT_TRUE(waitFor([&] { return (state = player.state()).isKey && state.isActive && focus() == state.window; }))
        << "key " << state.isKey << ", active " << state.isActive << ", focus " << (focus() == state.window);
    expectKey(player, "the full-screen window");
}

TEST_P(WindowPlatforms, TheGameAnswersOrEndsWhenItsServerEnds)
{
    Player player;
    startPlayer(player);
    player.say("full", main().width, main().height);
    m_platform.endServer();
    // AppKit may end the game then. What must not be is a game that does not answer.
    for (const char* command : {"state", "framed 400 300", "hide", "capture", "state"}) {
        EXPECT_NE(player.say(command), "hangs") << command;
    }
    player.say("end");
    EXPECT_TRUE(waitFor([&] { return !player.isAlive(); }));
}

// Xwayland 22 ends when the cursor is moved in a session that has no mouse.
TEST_P(WaylandSession, TheGameAnswersOrEndsWhenMovingTheCursorEndsTheServer)
{
    Player player;
    startPlayer(player);
    player.say("full", main().width, main().height);
    m_platform.disconnect();
    for (const char* command : {"move 10 20", "capture", "hide", "unhide", "state"}) {
        EXPECT_NE(player.say(command), "hangs") << command;
    }
    player.say("end");
    EXPECT_TRUE(waitFor([&] { return !player.isAlive(); }));
}

TEST(WindowPlatform, MayBeMissing)
{
    signal(SIGPIPE, SIG_IGN);
    unsetenv("DISPLAY");
    Player player;
    EXPECT_EQ(player.say("start", sc_width, sc_height), "none");
    EXPECT_EQ(player.say("full", 1024, 768), "none");
    for (const char* command : {"show", "hide", "unhide", "capture", "release", "destruct"}) {
        EXPECT_EQ(player.say(command), "") << command;
    }
    EXPECT_EQ(player.state().window, None);
    EXPECT_EQ(player.end(), 0);
}
