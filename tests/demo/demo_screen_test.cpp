// The demo's window and its keys, with a graphics module and a platform that this program defines.
#include "demo/gfx/gfxsubsystem.h"
#include "demo/screen.h"
#include "tests/support/demo_game.h"

#include "core/platform.h"

#include <gtest/gtest.h>

#include <deque>

// The module: it takes pictures and hands over the events it is given.
class PaperGfx : public GfxSubsystem {
public:
    bool start(const char*) override { return starts; }
    void attach(void* window) override { attached.push_back(window); }

    void getSize(float* width, float* height) override
    {
        *width = 640;
        *height = 400;
    }

    bool nextEvent(GfxEvent* event) override
    {
        if (events.empty()) {
            return false;
        }
        *event = events.front();
        events.pop_front();
        return true;
    }

    void draw(const Picture& picture) override { drawn.push_back(picture); }

    bool starts = true;
    std::vector<void*> attached;
    std::deque<GfxEvent> events;
    std::vector<Picture> drawn;
};

static PaperGfx s_gfx;

GfxSubsystem* CreateGfxSubsystem()
{
    return &s_gfx;
}

// The platform, as far as the screen asks for it. Windows are numbers.
static std::vector<std::string> s_asked;
static int s_displayWidth = 1024;
static bool s_hasWindows = true;
static size_t s_windows;
static unsigned int s_now;   // milliseconds
static unsigned int s_slept; // in all

static void* newWindow()
{
    return s_hasWindows ? reinterpret_cast<void*>(++s_windows) : nullptr;
}

static std::string numbers(int first, int second)
{
    return std::to_string(first) + "x" + std::to_string(second);
}

void Platform::GetDesktopInfo(int& width, int& height, int& bitsPerPixel)
{
    width = s_displayWidth;
    height = 768;
    bitsPerPixel = 32;
}

void* Platform::InitWindow(unsigned int, void*, const char* title, void*, void*, int, int, int width, int height,
                           bool, bool, void*)
{
    s_asked.push_back(std::string("InitWindow ") + title + " " + numbers(width, height));
    return newWindow();
}

void Platform::SetWindowPos()
{
    s_asked.push_back("SetWindowPos");
}

void Platform::SetFullscreenWindow(void*, bool fullScreen, int width, int height)
{
    s_asked.push_back((fullScreen ? "full " : "framed ") + numbers(width, height));
    SetWindow(newWindow());
}

void Platform::DestructWindow(void* window)
{
    s_asked.push_back("DestructWindow " + std::to_string(reinterpret_cast<size_t>(window)));
}

void Platform::CaptureMouse(bool capture)
{
    s_asked.push_back(capture ? "capture" : "release");
    g_MacMouseCaptured = capture;
}

void Platform::ShowCursor(bool show)
{
    s_asked.push_back(show ? "show" : "hide");
}

void Platform::GetCursorPos(int& x, int& y)
{
    x = 12;
    y = 34;
}

unsigned int Platform::GetTime()
{
    return s_now;
}

void Platform::Sleep(unsigned int ms)
{
    s_now += ms;
    s_slept += ms;
}

class DemoScreen : public testing::Test {
protected:
    static void show(Screen& screen)
    {
        static DemoGame s_game;
        static const std::vector<BankBar> s_banks;
        screen.show({1, 280, 1, s_game.campaign(), s_game.player(), s_banks, screen.input()});
    }

    // A key by its number on the Mac.
    static void press(Screen& screen, int macKey)
    {
        s_asked.clear();
        s_gfx.events.push_back({GFX_KEY, macKey, 0, false});
        show(screen);
    }
};

static const int sc_f = 3, sc_h = 4, sc_c = 8, sc_2 = 19, sc_p = 35, sc_escape = 53, sc_up = 126;

TEST_F(DemoScreen, OpensAWindowAndShowsItWithItsView)
{
    const Screen screen(800, 500, false);
    EXPECT_TRUE(screen.isOpen());
    EXPECT_EQ(s_asked, (std::vector<std::string>{"InitWindow core demo 800x500", "SetWindowPos"}));
    EXPECT_EQ(s_gfx.attached, (std::vector<void*>{Platform::GetWindow()}));
}

TEST_F(DemoScreen, MayBeginInFullScreenAsLargeAsTheDisplay)
{
    const Screen screen(800, 500, true);
    EXPECT_EQ(s_asked.back(), "full 1024x768");
    EXPECT_TRUE(screen.input().isFullScreen);
    EXPECT_EQ(s_gfx.attached.back(), Platform::GetWindow());
}

TEST_F(DemoScreen, WithoutADisplayThereIsNoScreen)
{
    s_displayWidth = 0;
    EXPECT_FALSE(Screen(800, 500, true).isOpen());
    EXPECT_EQ(s_asked, std::vector<std::string>());
}

TEST_F(DemoScreen, WhenItsModuleCannotStartThereIsNoScreen)
{
    s_gfx.starts = false;
    EXPECT_FALSE(Screen(800, 500, false).isOpen());
    EXPECT_EQ(s_asked, std::vector<std::string>());
}

TEST_F(DemoScreen, WithoutAWindowThereIsNoScreen)
{
    s_hasWindows = false;
    EXPECT_FALSE(Screen(800, 500, true).isOpen());
    EXPECT_EQ(s_gfx.attached, std::vector<void*>());
}

TEST_F(DemoScreen, TheKeyFChangesTheKindOfWindowAndMovesTheViewToTheNewOne)
{
    Screen screen(800, 500, false);
    press(screen, sc_f);
    EXPECT_EQ(s_asked, (std::vector<std::string>{"full 1024x768"}));
    EXPECT_TRUE(screen.input().isFullScreen);
    press(screen, sc_f);
    EXPECT_EQ(s_asked, (std::vector<std::string>{"framed 800x500"}));
    EXPECT_FALSE(screen.input().isFullScreen);
    EXPECT_EQ(s_gfx.attached.size(), 3u);
    EXPECT_EQ(s_gfx.attached.back(), Platform::GetWindow());
}

TEST_F(DemoScreen, TheGameGoesOnWhenTheSwitchLosesTheWindow)
{
    Screen screen(800, 500, false);
    s_hasWindows = false;
    s_gfx.events.push_back({GFX_KEY, sc_f, 0, false});
    s_gfx.events.push_back({GFX_KEY, sc_escape, 0, false}); // has no window to come from
    show(screen);
    EXPECT_FALSE(screen.isOpen());
    EXPECT_FALSE(screen.isLeft());
}

TEST_F(DemoScreen, TheKeysCAndHSwitchMouseCaptureAndCursorOnAndOff)
{
    Screen screen(800, 500, false);
    press(screen, sc_c);
    EXPECT_EQ(s_asked, (std::vector<std::string>{"capture"}));
    EXPECT_TRUE(screen.input().isCaptured);
    press(screen, sc_c);
    EXPECT_EQ(s_asked, (std::vector<std::string>{"release"}));
    EXPECT_FALSE(screen.input().isCaptured);
    press(screen, sc_h);
    EXPECT_EQ(s_asked, (std::vector<std::string>{"hide"}));
    EXPECT_FALSE(screen.input().isCursorShown);
    press(screen, sc_h);
    EXPECT_EQ(s_asked, (std::vector<std::string>{"show"}));
    EXPECT_TRUE(screen.input().isCursorShown);
}

TEST_F(DemoScreen, EscapeAndTheCloseButtonLeaveTheGame)
{
    Screen byKey(800, 500, false);
    press(byKey, sc_up);
    EXPECT_FALSE(byKey.isLeft());
    press(byKey, sc_escape);
    EXPECT_TRUE(byKey.isLeft());

    Screen byButton(800, 500, false);
    s_gfx.events.push_back({GFX_CLOSE, 0, 0, false});
    show(byButton);
    EXPECT_TRUE(byButton.isLeft());
}

TEST_F(DemoScreen, RemembersKeyAndMouse)
{
    Screen screen(800, 500, false);
    EXPECT_FALSE(screen.input().hasKey);
    press(screen, sc_up);
    EXPECT_TRUE(screen.input().hasKey);
    EXPECT_EQ(screen.input().macKey, 126);
    EXPECT_EQ(screen.input().key, 146u);
    s_gfx.events.push_back({GFX_IGNORED, 0, 0, false});
    show(screen);
    EXPECT_EQ(screen.input().mouseX, 0); // only a mouse event has a position
    s_gfx.events.push_back({GFX_MOUSE, 0, 2, false});
    show(screen);
    EXPECT_EQ(screen.input().mouseX, 12);
    EXPECT_EQ(screen.input().mouseY, 34);
    EXPECT_EQ(screen.input().mouseButtons, 2u);
}

TEST_F(DemoScreen, AClickAndADigitAreToldOnce)
{
    Screen screen(800, 500, false);
    EXPECT_EQ(screen.input().width, 640);
    EXPECT_EQ(screen.input().height, 400);
    s_gfx.events.push_back({GFX_KEY, sc_2, 0, false});
    s_gfx.events.push_back({GFX_MOUSE, 0, 1, true});
    press(screen, sc_p);
    EXPECT_TRUE(screen.input().isClicked);
    EXPECT_EQ(screen.input().digit, 2);
    EXPECT_FALSE(screen.input().isPaused);            // events after a click wait
    s_gfx.events.push_back({GFX_MOUSE, 0, 1, false}); // moves while the button is held
    show(screen);
    EXPECT_FALSE(screen.input().isClicked);
    EXPECT_EQ(screen.input().digit, 0);
    EXPECT_TRUE(screen.input().isPaused);
}

TEST_F(DemoScreen, TheKeyPStopsTheGameAndLetsItGoOn)
{
    Screen screen(800, 500, false);
    press(screen, sc_p);
    EXPECT_TRUE(screen.input().isPaused);
    press(screen, sc_p);
    EXPECT_FALSE(screen.input().isPaused);
}

TEST_F(DemoScreen, LeavesMouseCursorAndWindowAsTheyWere)
{
    {
        Screen screen(800, 500, false);
        s_asked.clear();
    }
    EXPECT_EQ(s_asked, (std::vector<std::string>{"release", "show", "DestructWindow 1"}));
}

TEST_F(DemoScreen, AFrameTakesAThirtiethOfASecond)
{
    s_now = 0xffffffe0; // the clock starts again at 0 meanwhile
    Screen screen(800, 500, false);
    for (int frame = 0; frame < 30; ++frame) {
        s_now += 10; // the game's own work
        show(screen);
    }
    EXPECT_EQ(s_now - 0xffffffe0, 30u * 33);
    EXPECT_EQ(s_gfx.drawn.size(), 30u);
}

TEST_F(DemoScreen, AFrameThatTookTooLongDoesNotShortenTheNext)
{
    Screen screen(800, 500, false);
    s_now += 1000;
    show(screen);
    EXPECT_EQ(s_slept, 0u);
    s_now += 10;
    show(screen);
    EXPECT_EQ(s_slept, 23u);
}
