// Keys, cursor and mouse, with a fake window server that records the calls (tests/support/fake_appkit.h).
#include "core/macosx_platform.h"
#include "core/platform.h"
#include "tests/support/fake_appkit.h"

#include <gtest/gtest.h>

#include <limits.h>
#include <map>

typedef std::vector<std::string> Lines;

// Written down once more, key by key, with the codes as games get them.
static std::map<int, unsigned int> engineKeys()
{
    std::map<int, unsigned int> keys;
    const char letters[] = "asdfhgzxcv";
    for (int i = 0; i < 10; i++) {
        keys[i] = static_cast<unsigned char>(letters[i]); // 0 to 9
    }
    const char middle[] = "bqweryt123465=97-80]ou[ip\rlj'k;\\,/nm.\t `";
    for (int i = 0; i < 40; i++) {
        keys[11 + i] = static_cast<unsigned char>(middle[i]); // 11 to 50; 10 is the key beside a European shift key
    }
    keys[51] = 127;
    keys[53] = 27;
    keys[71] = 27;
    keys[76] = 3;
    const std::map<int, char> keypad = {{65, '.'}, {67, '*'}, {69, '+'}, {75, '/'}, {78, '-'}, {81, '='}};
    for (const auto& key : keypad) {
        keys[key.first] = static_cast<unsigned char>(key.second);
    }
    for (int digit = 0; digit <= 9; digit++) {
        keys[digit < 8 ? 82 + digit : 83 + digit] = static_cast<unsigned int>('0' + digit);
    }
    const int functionKeys[] = {122, 120, 99, 118, 96, 97, 98, 100, 101, 109, 103, 111, 105};
    unsigned int code = 163;
    for (int key : functionKeys) {
        keys[key] = code++;
    }
    keys[117] = 156;
    keys[123] = 148;
    keys[124] = 150;
    keys[125] = 152;
    keys[126] = 146;
    return keys;
}

TEST(RawKeyToLocalKey, KnowsAll128Keys)
{
    const std::map<int, unsigned int> keys = engineKeys();
    EXPECT_EQ(keys.size(), 88u);
    for (int key = 0; key < 128; key++) {
        const auto found = keys.find(key);
        EXPECT_EQ(Platform::RawKeyToLocalKey(key), found == keys.end() ? 0 : found->second) << "key " << key;
    }
}

TEST(RawKeyToLocalKey, Returns0ForNumbersOutOfRange)
{
    for (int key : {128, 255, 256, INT_MAX, -1, INT_MIN}) {
        EXPECT_EQ(Platform::RawKeyToLocalKey(key), 0u) << "key " << key;
    }
}

TEST(RawKeyToLocalKey, MapsSampleKeysToTheirCodes)
{
    const struct {
        int key;
        unsigned int code;
    } keys[] = {{0, 97},    {36, 13},   {48, 9},    {49, 32},   {51, 127},  {53, 27}, {76, 3}, {122, 163}, {105, 175},
                {117, 156}, {126, 146}, {125, 152}, {123, 148}, {124, 150}, // forward delete and the arrows
                {115, 0},   {119, 0},   {116, 0},   {121, 0},   {114, 0},   {54, 0},  {63, 0}, {10, 0},    {127, 0}};
    for (const auto& k : keys) {
        EXPECT_EQ(Platform::RawKeyToLocalKey(k.key), k.code) << "key " << k.key;
    }
}

TEST(ShowCursor, DoesNotCount)
{
    Platform::ShowCursor(false);
    Platform::ShowCursor(false);
    EXPECT_EQ(s_platformData.cursorHideCount, -1);
    Platform::ShowCursor(true);
    EXPECT_EQ(s_platformData.cursorHideCount, 0);
    EXPECT_EQ(s_asked, (Lines{"hide on 77", "show on 77"}));
}

TEST(ShowCursor, DoesNothingWhenTheCursorIsShown)
{
    Platform::ShowCursor(true);
    EXPECT_TRUE(s_asked.empty());
    EXPECT_EQ(s_platformData.cursorHideCount, 0);
}

TEST(ShowCursor, ShowsAndHidesTheCursor)
{
    for (int i = 0; i < 3; i++) {
        Platform::ShowCursor(false);
        Platform::ShowCursor(true);
    }
    EXPECT_EQ(s_asked.size(), 6u);
}

// A current window whose contents are there.
static void haveWindow(const BKRect& content)
{
    s_content = content;
    Platform::SetWindow(BKMakeWindow(content, 7, 2, false));
    s_asked.clear();
}

TEST(SetCursorPos, MovesTheCursorOnTheMainDisplayAndTiesItToTheMouse)
{
    Platform::SetCursorPos(10, 20);
    EXPECT_EQ(s_asked, (Lines{"move on 77 to 10 20", "associate 1"}));
}

TEST(SetCursorPos, AsksTheWindowForAConversionAndIgnoresTheResult)
{
    haveWindow({100, 100, 800, 600});
    Platform::SetCursorPos(10, 20);
    EXPECT_EQ(s_asked, (Lines{"convert 10 20", "move on 77 to 10 20", "associate 1"}));
}

TEST(SetCursorPos, SendsNoMessageToAWindowThatItsUserClosed)
{
    haveWindow({100, 100, 800, 600});
    s_windows.clear();
    Platform::SetCursorPos(10, 20);
    EXPECT_EQ(s_asked, (Lines{"move on 77 to 10 20", "associate 1"}));
}

TEST(SetCursorPos, TakesAnyPoint)
{
    Platform::SetCursorPos(-5, INT_MAX);
    EXPECT_EQ(s_asked.at(0), "move on 77 to -5 2.14748e+09");
}

TEST(GetCursorPos, IsTheEventsPlaceTruncatedTowardsZeroAndNotFlipped)
{
    s_eventLocation = {12.9, 599.9};
    int x = 0;
    int y = 0;
    Platform::GetCursorPos(x, y);
    EXPECT_EQ(x, 12);
    EXPECT_EQ(y, 599);
    s_eventLocation = {-0.9, -1.9};
    Platform::GetCursorPos(x, y);
    EXPECT_EQ(x, 0);
    EXPECT_EQ(y, -1);
}

TEST(GetCursorPos, WithoutAnEventLeavesItsArgumentsAlone)
{
    s_hasEvent = false;
    int x = 3;
    int y = 4;
    Platform::GetCursorPos(x, y);
    EXPECT_EQ(x, 3);
    EXPECT_EQ(y, 4);
}

TEST(KeyWindowCursorPos, IsFlippedAboutAHeightOf600)
{
    const struct {
        BKPoint location;
        int x;
        int y;
    } cases[] = {
        {{0, 0}, 0, 600},
        {{10.9, 600}, 10, 0},
        {{10, 300}, 10, 300},
        {{-1.9, 599.5}, -1, 0},
        {{0, 600.5}, 0, 0}, // -0.5
        {{0, 601.5}, 0, -1},
        {{0, 0.5}, 0, 599},
        {{0, 0.00001}, 0, 600},         // 300 - (0.00001 - 300) is 600 in single precision; in double it is 599.99999
        {{0, 599.99999}, 0, 0},         // likewise
        {{16777217, 0}, 16777216, 600}, // the farthest that single precision tells apart
    };
    for (const auto& c : cases) {
        s_mouseLocation = c.location;
        int x = -77;
        int y = -77;
        GetKeyWindowCursorPos(x, y);
        EXPECT_EQ(x, c.x) << c.location.x << " " << c.location.y;
        EXPECT_EQ(y, c.y) << c.location.x << " " << c.location.y;
    }
}

TEST(KeyWindowCursorPos, WithoutSuchAWindowLeavesItsArgumentsAlone)
{
    s_hasKeyWindow = false;
    int x = 3;
    int y = 4;
    GetKeyWindowCursorPos(x, y);
    EXPECT_EQ(x, 3);
    EXPECT_EQ(y, 4);
}

TEST(CaptureMouse, SetsTheFlagThatIs0AtFirst)
{
    EXPECT_EQ(g_MacMouseCaptured, 0);
    Platform::CaptureMouse(true);
    EXPECT_EQ(g_MacMouseCaptured, 1);
    Platform::CaptureMouse(true);
    EXPECT_EQ(g_MacMouseCaptured, 1);
    Platform::CaptureMouse(false);
    EXPECT_EQ(g_MacMouseCaptured, 0);
}

TEST(CaptureMouse, WithoutAWindowOnlySetsTheFlag)
{
    Platform::CaptureMouse(true);
    EXPECT_TRUE(s_asked.empty());
}

TEST(CaptureMouse, AfterItsUserClosedTheWindowOnlySetsTheFlag)
{
    haveWindow({100, 100, 800, 600});
    s_windows.clear();
    Platform::CaptureMouse(true);
    EXPECT_EQ(g_MacMouseCaptured, 1);
    EXPECT_TRUE(s_asked.empty());
}

TEST(CaptureMouse, EndingTheCaptureOnlyClearsTheFlag)
{
    haveWindow({100, 100, 800, 600});
    Platform::CaptureMouse(false);
    EXPECT_TRUE(s_asked.empty());
}

TEST(CaptureMouse, BringsTheCursorIntoTheWindowInOrder)
{
    haveWindow({112, 72, 800, 600}); // 96 below the top of a screen of 768
    Platform::CaptureMouse(true);
    EXPECT_EQ(s_asked, (Lines{"read content", "get port", "local 112 96", "set port", "convert 112 96",
                              "move on 77 to 112 96", "associate 1"}));
}

TEST(CaptureMouse, CountsFromTheOriginOfThePort)
{
    haveWindow({112, 72, 800, 600});
    s_portOrigin.h = 12;
    s_portOrigin.v = -4;
    Platform::CaptureMouse(true);
    EXPECT_EQ(s_asked.at(5), "move on 77 to 100 100");
}

TEST(CaptureMouse, CountsFromTheFirstScreenWhicheverTheMainOneIs)
{
    haveWindow({112, 72, 800, 600});
    s_firstScreenHeight = 1080;
    Platform::CaptureMouse(true);
    EXPECT_EQ(s_asked.at(2), "local 112 408");
}

TEST(CaptureMouse, ChoosesThePointOfTheWindowNearestToTheDesktopsCorner)
{
    const struct {
        BKRect content; // y up, on a screen of 768
        const char* point;
    } cases[] = {
        {{0, 0, 1024, 768}, "none"},         // left and top are 0
        {{-10, 0, 1024, 778}, "none"},       // the corner inside
        {{-800, 768, 800, 600}, "none"},     // right and bottom are 0
        {{-799, 767, 800, 600}, "none"},     // right and bottom are 1
        {{1, 0, 1023, 768}, "local 1 0"},    // left 1
        {{0, 0, 1024, 767}, "local 0 1"},    // top 1
        {{-801, 0, 800, 768}, "local -1 0"}, // right -1
        {{0, 769, 800, 600}, "local 0 -1"},  // bottom -1
        {{-900, 900, 800, 600}, "local -100 -132"},
        {{200, 900, 800, 600}, "local 200 -132"},
        {{-900, 100, 800, 600}, "local -100 68"},
        {{112.9, 72.5, 800, 600}, "local 112 95"},  // 95.5
        {{40000, 100, 800, 600}, "local 32767 68"}, // as far as a Rect reaches
        {{-50000, -40000, 800, 600}, "local -32768 32767"},
    };
    for (const auto& c : cases) {
        haveWindow(c.content);
        Platform::CaptureMouse(true);
        EXPECT_EQ(s_asked.size() > 2 ? s_asked[2] : "none", c.point) << c.content.x << " " << c.content.y;
        EXPECT_EQ(g_MacMouseCaptured, 1);
    }
}
