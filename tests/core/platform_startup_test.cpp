// What a program loads when it starts, and what it loads with its first window. The program itself links core alone.
#include "core/memorymgr.h"
#include "core/platform.h"
#include "tests/support/x_server.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <utility>

class GameMemory : public MemoryMgr {
public:
    void onOutOfMemory(int) override {}
};

// Returns true if a file whose name contains this text is mapped into the process.
static bool isLoaded(const char* name)
{
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find(name) != std::string::npos) {
            return true;
        }
    }
    return false;
}

static bool hasAppKit()
{
    return isLoaded("/libcore-appkit") || isLoaded("/libgnustep") || isLoaded("/libobjc");
}

static int s_panels; // alerts that the program itself was asked to show

extern "C" __attribute__((visibility("default"))) int NSRunAlertPanel()
{
    s_panels++;
    return 17;
}

TEST(StartUp, AProgramThatMakesABankLoadsNoAppKit)
{
    GameMemory memory;
    const int bank = memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "level", 4096);
    memory.initialize();
    EXPECT_NE(memory.alloc(bank, 100, "test", 1), nullptr);
    EXPECT_EQ(memory.free(bank, nullptr), 0);
    EXPECT_TRUE(isLoaded("/libcore.so"));
    EXPECT_FALSE(hasAppKit());
}

TEST(StartUp, AnAlertWithoutAWindowServerLoadsNoAppKit)
{
    unsetenv("DISPLAY");
    EXPECT_EQ(Platform::MessageBox("caption", "text"), 1);
    EXPECT_EQ(s_panels, 0);
    EXPECT_FALSE(hasAppKit());
}

TEST(StartUp, CallsForAWindowThatIsNotThereLoadNoAppKit)
{
    unsetenv("DISPLAY");
    Platform::SystemCheck();
    Platform::SetWindowPos();
    Platform::CaptureMouse(true);
    Platform::SetCursorPos(1, 1);
    Platform::DestructWindow(nullptr);
    EXPECT_EQ(Platform::InitWindow(0, nullptr, "game", nullptr, nullptr, 0, 0, 320, 200, false, false, nullptr),
              nullptr);
    EXPECT_FALSE(hasAppKit());
}

class StartUpOnADisplay : public XServer {
protected:
    void SetUp() override
    {
        XServer::SetUp();
        if (!IsSkipped()) {
            start("640x480x24");
        }
    }

    static void* makeWindow()
    {
        return Platform::InitWindow(0, nullptr, "game", nullptr, nullptr, 0, 0, 320, 200, false, false, nullptr);
    }
};

TEST_F(StartUpOnADisplay, TheFirstWindowLoadsAppKit)
{
    Platform::SystemCheck();
    int width = 0, height = 0, bitsPerPixel = 0;
    Platform::GetDesktopInfo(width, height, bitsPerPixel);
    EXPECT_EQ(width, 640);
    EXPECT_FALSE(hasAppKit());
    EXPECT_NE(makeWindow(), nullptr);
    EXPECT_TRUE(isLoaded("/libcore-appkit"));
    EXPECT_TRUE(isLoaded("/libgnustep-gui"));
}

TEST_F(StartUpOnADisplay, TheFirstAlertCallsTheProgramsOwnPanel)
{
    EXPECT_FALSE(hasAppKit());
    EXPECT_EQ(Platform::MessageBox("caption", "text"), 17);
    EXPECT_EQ(s_panels, 1);
}

TEST_F(StartUpOnADisplay, TheClassBKWindowIsThereAfterTheFirstWindow)
{
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "objc_lookUpClass"), nullptr);
    ASSERT_NE(makeWindow(), nullptr);
    const auto lookUpClass = reinterpret_cast<void* (*)(const char*)>(dlsym(RTLD_DEFAULT, "objc_lookUpClass"));
    ASSERT_NE(lookUpClass, nullptr);
    EXPECT_NE(lookUpClass("BKWindow"), nullptr);
}

// SystemCheck saves the display's mode before AppKit is there, and AppKit reads the mode later.
TEST_F(StartUpOnADisplay, TheSavedDesktopModeAnswersAppKit)
{
    Platform::SystemCheck();
    EXPECT_FALSE(hasAppKit());
    Platform::SetFullscreenWindow(nullptr, true, 320, 200);
    ASSERT_NE(Platform::GetWindow(), nullptr);
    Platform::SetFullscreenWindow(Platform::GetWindow(), false, 320, 200);
    EXPECT_NE(Platform::GetWindow(), nullptr);
}

// A static object of a game, older than all that AppKit brings.
static struct LateGame {
    ~LateGame()
    {
        if (closedWindow) {
            Platform::SetWindow(closedWindow);
            Platform::SetWindowPos(); // would crash if the closed window were taken for an open one
            Platform::DestructWindow(closedWindow);
            kill(server, SIGKILL);
        }
    }

    void* closedWindow = nullptr;
    pid_t server = 0;
} s_lateGame;

TEST_F(StartUpOnADisplay, AStaticObjectMayAskAboutAClosedWindowAtTheEnd)
{
    void* window = makeWindow();
    ASSERT_NE(window, nullptr);
    Platform::DestructWindow(window);
    s_lateGame.closedWindow = window;
    std::swap(s_lateGame.server, m_process); // the server must run until then
}
