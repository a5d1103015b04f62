// The window's rules: which window the platform asks for, where, and with which calls in which order. A fake window
// server records the calls (tests/support/fake_appkit.h).
#include "core/macosx_platform.h"
#include "core/platform.h"
#include "tests/support/fake_appkit.h"

#include <Carbon/Carbon.h>
#include <gtest/gtest.h>

#include <limits.h>

typedef std::vector<std::string> Lines;

static void* initWindow(int x = 100, int y = 100, int width = 800, int height = 600, const char* title = "Brackenlow")
{
    return Platform::InitWindow(1, nullptr, title, nullptr, nullptr, x, y, width, height, true, true, nullptr);
}

// The current window, made and shown, with nothing noted yet.
static void* showWindow()
{
    void* window = initWindow();
    Platform::SetWindow(window);
    s_asked.clear();
    return window;
}

// The line that made a window.
static std::string made()
{
    for (const std::string& line : s_asked) {
        if (line.compare(0, 5, "make ") == 0) {
            return line;
        }
    }
    return "none";
}

static std::string switched(bool fullScreen, int width, int height)
{
    s_asked.clear();
    Platform::SetFullscreenWindow(Platform::GetWindow(), fullScreen, width, height);
    return made();
}

// ---- The vector unit. This program defines Gestalt.

static OSErr s_gestaltStatus = noErr;
static SInt32 s_features = 0;

extern "C" OSErr Gestalt(OSType selector, SInt32* response)
{
    EXPECT_EQ(selector, static_cast<OSType>(gestaltPowerPCProcessorFeatures));
    *response = s_features;
    return s_gestaltStatus;
}

struct Processor {
    const char* name;
    OSErr status;
    SInt32 features;
    int hasVectorUnit;
};

// Without this function, the test framework prints all bytes of the record, also those between its fields.
static void PrintTo(const Processor& processor, std::ostream* out)
{
    *out << processor.name;
}

class VectorUnit : public testing::TestWithParam<Processor> {};

TEST_P(VectorUnit, IsAskedForByTheFirstSetApp)
{
    s_gestaltStatus = GetParam().status;
    s_features = GetParam().features;
    s_platformData.hasVectorUnit = 7;
    Platform::SetApp(1);
    EXPECT_EQ(s_platformData.hasVectorUnit, GetParam().hasVectorUnit);

    s_gestaltStatus = noErr;
    s_features = ~GetParam().features;
    Platform::SetApp(2);
    EXPECT_EQ(s_platformData.hasVectorUnit, GetParam().hasVectorUnit);
}

INSTANTIATE_TEST_SUITE_P(Platform, VectorUnit,
                         testing::Values(Processor{"None", noErr, 0, 0}, Processor{"Alone", noErr, 0x10, 1},
                                         Processor{"AmongOthers", noErr, -1, 1},
                                         Processor{"OthersAlone", noErr, ~0x10, 0},
                                         Processor{"Unknown", gestaltUndefSelectorErr, 0x10, 0}),
                         [](const testing::TestParamInfo<Processor>& one) { return std::string(one.param.name); });

// ---- Windows.

TEST(InitWindow, MakesAFramedWindowWithTheseCallsInOrder)
{
    EXPECT_TRUE(initWindow());
    EXPECT_EQ(s_asked, (Lines{"make 100 100 800 600 style 7 backing 2 defer 0", "black", "title Brackenlow", "center",
                              "key", "mouse moved", "released when closed", "delegate"}));
}

TEST(InitWindow, NeitherShowsTheWindowNorMakesItCurrent)
{
    initWindow();
    EXPECT_EQ(Platform::GetWindow(), nullptr);
    for (const std::string& line : s_asked) {
        EXPECT_NE(line, "key and front");
    }
}

TEST(InitWindow, StoresTheRequestedRectangleAlthoughItCentresTheWindow)
{
    initWindow(100, -50, 800, 600);
    int x = 0;
    int y = 0;
    Platform::GetWindowPos(x, y);
    EXPECT_EQ(x, 100);
    EXPECT_EQ(y, -50);
    EXPECT_EQ(Platform::GetWindowWidth(), 800);
    EXPECT_EQ(Platform::GetWindowHeight(), 600);
}

TEST(InitWindow, ThatFailsAnswersNullAndRemembersNothing)
{
    initWindow(1, 2, 3, 4);
    s_asked.clear();
    s_windowsCanBeMade = false;
    EXPECT_EQ(initWindow(), nullptr);
    EXPECT_EQ(s_asked.size(), 1u);
    int x = 0;
    int y = 0;
    Platform::GetWindowPos(x, y);
    EXPECT_EQ(x, 1);
    EXPECT_EQ(y, 2);
    EXPECT_EQ(Platform::GetWindowWidth(), 3);
    EXPECT_EQ(Platform::GetWindowHeight(), 4);
}

TEST(InitWindow, WithoutAWindowServerIsNull)
{
    s_application = false;
    EXPECT_EQ(initWindow(), nullptr);
    EXPECT_TRUE(s_asked.empty());
    EXPECT_EQ(Platform::GetWindowWidth(), 0);
}

TEST(InitWindow, OfASizeThatNoWindowServerHasIsNull)
{
    const struct {
        int width;
        int height;
        bool canBe;
    } sizes[] = {
        {0, 0, true}, // AppKit decides what that is
        {32767, 32767, true}, {32768, 1, false},         {1, 32768, false},   {-1, 1, false},
        {1, -1, false},       {INT_MIN, INT_MIN, false}, {INT_MAX, 1, false}, {1, INT_MAX, false},
    };
    for (const auto& size : sizes) {
        EXPECT_EQ(initWindow(0, 0, size.width, size.height) != nullptr, size.canBe)
            << size.width << "x" << size.height;
    }
}

TEST(InitWindow, TakesAnyPlace)
{
    initWindow(INT_MIN, INT_MAX);
    EXPECT_EQ(made(), "make -2.14748e+09 2.14748e+09 800 600 style 7 backing 2 defer 0");
}

TEST(SetWindowPos, CentresAndShowsTheCurrentWindow)
{
    showWindow();
    Platform::SetWindowPos();
    EXPECT_EQ(s_asked, (Lines{"center", "key and front"}));
}

TEST(SetWindowPos, WithoutAWindowDoesNothing)
{
    Platform::SetWindowPos();
    EXPECT_TRUE(s_asked.empty());
}

TEST(DestructWindow, ClosesTheCurrentWindowAndThereIsNoneThen)
{
    Platform::DestructWindow(showWindow());
    EXPECT_EQ(s_asked, Lines{"close"});
    EXPECT_EQ(Platform::GetWindow(), nullptr);
}

TEST(DestructWindow, OfAnotherWindowLeavesTheCurrentOne)
{
    void* current = showWindow();
    void* other = initWindow();
    s_asked.clear();
    Platform::DestructWindow(other);
    EXPECT_EQ(s_asked, Lines{"close"});
    EXPECT_EQ(Platform::GetWindow(), current);
}

TEST(DestructWindow, OfNullDoesNothing)
{
    void* current = showWindow();
    Platform::DestructWindow(nullptr);
    EXPECT_TRUE(s_asked.empty());
    EXPECT_EQ(Platform::GetWindow(), current);
}

TEST(DestructWindow, ForgetsAWindowThatItsUserClosedAndSendsItNoMessage)
{
    void* window = showWindow();
    s_windows.clear();
    Platform::DestructWindow(window);
    EXPECT_TRUE(s_asked.empty());
    EXPECT_EQ(Platform::GetWindow(), nullptr);
}

TEST(AWindowThatItsUserClosed, StaysCurrentAndIsSentNothing)
{
    void* window = showWindow();
    s_windows.clear();
    Platform::SetWindowPos();
    EXPECT_TRUE(s_asked.empty());
    EXPECT_EQ(Platform::GetWindow(), window);
}

TEST(AWindowThatItsUserClosed, TheSwitchStillReplacesIt)
{
    showWindow();
    s_windows.clear();
    EXPECT_EQ(switched(true, 1024, 768), "make 0 0 1024 768 style 0 backing 2 defer 0");
    EXPECT_EQ(s_asked.at(0), "mode of 77"); // without a title to read or a delegate to clear
    EXPECT_TRUE(Platform::GetWindow());
}

TEST(FullScreen, ReplacesTheWindowInOrder)
{
    void* framed = showWindow();
    Platform::SetFullscreenWindow(framed, true, 1024, 768);
    EXPECT_EQ(s_asked,
              (Lines{"read title", "mode of 77", "no delegate", "close", "screen", "now Width", "screen",
                     "now Height", "make 0 0 1024 768 style 0 backing 2 defer 0", "level 4711", "black",
                     "title Brackenlow", "key and front", "mouse moved", "released when closed", "delegate"}));
    EXPECT_TRUE(Platform::GetWindow());
}

TEST(FullScreen, OnAScreenThatMatchesStandsAtTheBottom)
{
    showWindow();
    EXPECT_EQ(switched(true, 800, 600), "make 0 0 800 600 style 0 backing 2 defer 0");
}

TEST(FullScreen, OnAScreenOfAnotherSizeThanTheModeStandsAtItsTop)
{
    showWindow();
    s_mode = {800, 600};
    EXPECT_EQ(switched(true, 800, 600), "make 0 168 800 600 style 0 backing 2 defer 0");
    s_mode = {1024, 600}; // the height alone
    EXPECT_EQ(switched(true, 1024, 600), "make 0 168 1024 600 style 0 backing 2 defer 0");
    s_mode = {800, 768}; // the width alone
    EXPECT_EQ(switched(true, 800, 1000), "make 0 -232 800 1000 style 0 backing 2 defer 0");
}

TEST(FullScreen, TruncatesTheScreensSidesAndTheDifference)
{
    showWindow();
    s_screen = {0, 0, 1024.9, 768.9};
    EXPECT_EQ(switched(true, 800, 600), "make 0 0 800 600 style 0 backing 2 defer 0");
    s_mode = {800, 600};
    EXPECT_EQ(switched(true, 800, 600), "make 0 168 800 600 style 0 backing 2 defer 0"); // 168.9
    EXPECT_EQ(switched(true, 800, 769), "make 0 0 800 769 style 0 backing 2 defer 0");   // -0.1
    EXPECT_EQ(switched(true, 800, 770), "make 0 -1 800 770 style 0 backing 2 defer 0");  // -1.1
}

TEST(FullScreen, QueriesTheScreenAgainWhenItDoesNotMatchTheMode)
{
    showWindow();
    s_mode = {1024, 600};
    switched(true, 800, 600);
    EXPECT_EQ(Lines(s_asked.begin() + 4, s_asked.begin() + 10),
              (Lines{"screen", "now Width", "screen", "now Height", "screen",
                     "make 0 168 800 600 style 0 backing 2 defer 0"}));
}

TEST(FullScreen, KeepsTheRectangleThatInitWindowWasGiven)
{
    showWindow();
    switched(true, 1024, 768);
    int x = 0;
    int y = 0;
    Platform::GetWindowPos(x, y);
    EXPECT_EQ(x, 100);
    EXPECT_EQ(y, 100);
    EXPECT_EQ(Platform::GetWindowWidth(), 800);
    EXPECT_EQ(Platform::GetWindowHeight(), 600);
}

TEST(FullScreen, ThatFailsLeavesNoWindow)
{
    showWindow();
    s_windowsCanBeMade = false;
    EXPECT_NE(switched(true, 1024, 768), "none");
    EXPECT_EQ(s_asked.back(), made());
    EXPECT_TRUE(s_windows.empty());
    EXPECT_EQ(Platform::GetWindow(), nullptr);
}

TEST(FullScreen, ForgetsTheOldWindowAlsoWhenTheNewOneCannotBeMade)
{
    showWindow();
    Platform::SetFullscreenWindow(Platform::GetWindow(), true, 640, 480);
    EXPECT_EQ(s_retained, 0);
    s_windowsCanBeMade = false;
    Platform::SetFullscreenWindow(Platform::GetWindow(), false, 640, 480);
    EXPECT_EQ(s_retained, 0);
    s_application = false;
    Platform::SetFullscreenWindow(Platform::GetWindow(), true, 640, 480);
    EXPECT_EQ(s_retained, 0);
}

TEST(FullScreen, OfASizeThatNoWindowServerHasLeavesNoWindow)
{
    for (bool fullScreen : {true, false}) {
        for (int side : {-1, 32768, INT_MIN, INT_MAX}) {
            showWindow();
            EXPECT_EQ(switched(fullScreen, side, 600), "none");
            EXPECT_EQ(Platform::GetWindow(), nullptr);
            showWindow();
            EXPECT_EQ(switched(fullScreen, 800, side), "none");
            EXPECT_EQ(Platform::GetWindow(), nullptr);
            EXPECT_TRUE(s_windows.empty());
        }
    }
}

TEST(FullScreen, WithoutAWindowServerLeavesNoWindow)
{
    showWindow();
    s_application = false;
    EXPECT_EQ(switched(true, 1024, 768), "none");
    EXPECT_EQ(Platform::GetWindow(), nullptr);
}

TEST(FullScreen, OfAWindowThatIsNotCurrentMakesTheNewOneCurrent)
{
    void* current = showWindow();
    void* other = initWindow();
    Platform::SetFullscreenWindow(other, true, 1024, 768);
    EXPECT_TRUE(s_windows.count(current));
    EXPECT_NE(Platform::GetWindow(), current);
}

TEST(FullScreen, WithoutAWindowMakesOneWithAnEmptyTitle)
{
    Platform::SetFullscreenWindow(nullptr, true, 1024, 768);
    EXPECT_EQ(s_asked, (Lines{"mode of 77", "screen", "now Width", "screen", "now Height",
                              "make 0 0 1024 768 style 0 backing 2 defer 0", "level 4711", "black", "title ",
                              "key and front", "mouse moved", "released when closed", "delegate"}));
    EXPECT_TRUE(Platform::GetWindow());
}

static const FakeMode sc_desktop = {1024, 768};

TEST(Windowed, ReplacesTheWindowInOrder)
{
    s_platformData.desktopMode = asDictionary(sc_desktop);
    void* old = showWindow();
    Platform::SetFullscreenWindow(old, false, 800, 600);
    EXPECT_EQ(s_asked, (Lines{"read title", "mode of 77", "no delegate", "close", "screen", "now Width", "screen",
                              "now Height", "start Width", "start Height",
                              "make 112 72 800 600 style 7 backing 2 defer 0", "black", "title Brackenlow",
                              "key and front", "mouse moved", "released when closed", "delegate"}));
}

TEST(Windowed, IsCentredAcrossAndAnEighthBelowTheTopOfTheDesktop)
{
    const struct {
        FakeMode desktop;
        int width;
        int height;
        const char* window;
    } cases[] = {
        {{1024, 768}, 800, 600, "make 112 72 800 600 style 7 backing 2 defer 0"},   // 768 - (96 + 600)
        {{1025, 768}, 800, 600, "make 112 72 800 600 style 7 backing 2 defer 0"},   // 112.5
        {{1920, 1080}, 800, 600, "make 560 345 800 600 style 7 backing 2 defer 0"}, // 1080 - (135 + 600)
        {{1024, 769}, 800, 600, "make 112 73 800 600 style 7 backing 2 defer 0"},   // 96.125
        {{1024, 775}, 800, 600, "make 112 79 800 600 style 7 backing 2 defer 0"},   // 96.875
        {{800, 600}, 801, 600, "make 0 -75 801 600 style 7 backing 2 defer 0"},     // -0.5 is towards zero, too
        {{800, 600}, 803, 600, "make -1 -75 803 600 style 7 backing 2 defer 0"},    // -1.5
        {{1024, 768}, 1280, 1024, "make -128 -352 1280 1024 style 7 backing 2 defer 0"},
    };
    for (const auto& c : cases) {
        s_mode = c.desktop;
        s_screen = {0, 0, static_cast<double>(c.desktop.width), static_cast<double>(c.desktop.height)};
        Platform::SystemCheck();
        showWindow();
        EXPECT_EQ(switched(false, c.width, c.height), c.window);
    }
}

TEST(Windowed, UsesTheDesktopOfTheStartWhateverTheModeIsNow)
{
    s_platformData.desktopMode = asDictionary(sc_desktop);
    s_mode = {800, 600};
    s_screen = {0, 0, 800, 600};
    showWindow();
    EXPECT_EQ(switched(false, 640, 480), "make 192 192 640 480 style 7 backing 2 defer 0"); // 768 - (96 + 480)
}

TEST(Windowed, UsesTheDesktopOfTheLastSystemCheck)
{
    const FakeMode former = {640, 480};
    s_platformData.desktopMode = asDictionary(former);
    Platform::SystemCheck();
    showWindow();
    EXPECT_EQ(switched(false, 640, 480), "make 192 192 640 480 style 7 backing 2 defer 0");
}

TEST(Windowed, IsPlacedByTheScreenWhenTheScreenDoesNotMatchTheMode)
{
    s_platformData.desktopMode = asDictionary(sc_desktop);
    s_mode = {640, 480};
    s_screen = {0, 0, 800, 600.9};
    showWindow();
    EXPECT_EQ(switched(false, 640, 480), "make 192 24 640 480 style 7 backing 2 defer 0"); // 600 - (96 + 480)
}

TEST(Windowed, WithoutAModeOfTheStartIsPlacedAsOnADesktopOfNoSize)
{
    showWindow();
    EXPECT_EQ(switched(false, 800, 600), "make -400 -600 800 600 style 7 backing 2 defer 0");
}

TEST(TheSwitch, NeitherCentresNorMakesTheWindowKeyByItself)
{
    showWindow();
    for (bool fullScreen : {true, false}) {
        switched(fullScreen, 800, 600);
        for (const std::string& line : s_asked) {
            EXPECT_NE(line, "center");
            EXPECT_NE(line, "key");
            EXPECT_EQ(line.find("dangling"), std::string::npos);
        }
    }
    EXPECT_EQ(s_windows.size(), 1u);
}

TEST(GetDesktopInfo, IsTheMainDisplaysSizeAndDepth)
{
    int width = 0;
    int height = 0;
    int bitsPerPixel = 0;
    Platform::GetDesktopInfo(width, height, bitsPerPixel);
    EXPECT_EQ(width, 1600);
    EXPECT_EQ(height, 1200);
    EXPECT_EQ(bitsPerPixel, 16);
    EXPECT_EQ(s_asked, (Lines{"wide of 77", "high of 77", "bits of 77"}));
}

TEST(Resources, LoadingACursorOrAnIconReturnsNull)
{
    for (int id : {INT_MIN, -1, 0, 1, 32512, INT_MAX}) {
        EXPECT_EQ(Platform::LoadCursor(id), nullptr);
        EXPECT_EQ(Platform::LoadIcon(id), nullptr);
    }
}

TEST(MessagePump, IsAlwaysTrueAndDoesNothing)
{
    EXPECT_TRUE(Platform::MessagePump());
    EXPECT_TRUE(s_asked.empty());
}

TEST(MessageBox, IsAnAlertWithOneButton)
{
    EXPECT_EQ(Platform::MessageBox("Out of Memory Error", "%d bytes", 64), 1);
    EXPECT_EQ(s_asked, Lines{"alert Alert 64 bytes OK"});
}

TEST(MessageBox, OmitsALastCharacterThatTruncationHasSplit)
{
    static const std::string s_continuing(4095, '\x80');
    static const struct {
        const char* front;
        size_t length; // of the front and what fills up to here
        const char* tail;
        size_t shown; // bytes
    } sc_texts[] = {
        // UTF-8 of two, three and four bytes, of which the text keeps one, two or three.
        {"", 4093, "\xc3\xa4", 4093},
        {"", 4093, "\xc2\x80", 4093}, // the first character of two bytes
        {"\xc3\xa4", 4093, "\xdf\xbf", 4093},
        {"", 4093, "\xe0\xa0\x80", 4093},
        {"", 4092, "\xe0\xa0\x80", 4092},
        {"", 4092, "\xed\x9f\xbf", 4092},
        {"\xe2\x82\xac", 4092, "\xef\xbf\xbd", 4092},
        {"", 4093, "\xf0\x9d\x84\x9e", 4093},
        {"", 4092, "\xf0\x9d\x84\x9e", 4092},
        {"", 4091, "\xf4\x8f\xbf\xbf", 4091},
        // Not inside a character.
        {"", 4092, "\xc3\xa4\xc3\xa4", 4094},
        {"", 4090, "\xf0\x9d\x84\x9ex", 4094},
        {"", 4094, "\xc3\xa4", 4094},
        {"", 4093, "xx", 4094},
        // Texts that are not UTF-8: one begins with a wrong byte; the others end with bytes that begin no character.
        {"\x8e", 4093, "\xc3\xa4", 4094},
        {"", 4093, "\x8ex", 4094},
        {"", 4093, "\xc0\x80", 4094},
        {"", 4093, "\xf5\x80\x80\x80", 4094},
        {"", 4092, "\xe0\x80\x80", 4094},
        {"", 4092, "\xed\xa0\x80", 4094},
        {"", 4092, "\xf4\x90\x80\x80", 4094},
        {"", 4090, "\x80\x80\x80\x80x", 4094},
        {"", 0, s_continuing.c_str(), 4094}, // no byte of it begins a character
        // Not cut.
        {"", 4093, "\xc3", 4094},
        {"", 3, "\xc3", 4},
    };
    for (const auto& text : sc_texts) {
        std::string whole = text.front;
        whole.resize(text.length, 'x');
        whole += text.tail;
        s_asked.clear();
        Platform::MessageBox("caption", "%s", whole.c_str());
        EXPECT_EQ(s_asked, Lines{"alert Alert " + whole.substr(0, text.shown) + " OK"}) << &text - sc_texts;
    }
}

TEST(MessageBox, WithoutAWindowServerIsALineOnTheStandardErrorStream)
{
    s_application = false;
    testing::internal::CaptureStderr();
    EXPECT_EQ(Platform::MessageBox("Out of Memory Error", "%d bytes", 64), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "64 bytes\n");
    EXPECT_TRUE(s_asked.empty());
}
