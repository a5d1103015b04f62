// The functions that a build without AppKit has in place of windows.
#include "core/macosx_bkwindow.h"

#include <gtest/gtest.h>

TEST(WithoutAppKit, ThereIsNoApplicationAndNoWindow)
{
    EXPECT_FALSE(BKMakeApplication());
    EXPECT_EQ(BKMakeWindow({0, 0, 640, 480}, 0, 0, false), nullptr);
    int other;
    EXPECT_FALSE(BKIsWindow(&other));
    EXPECT_FALSE(BKIsWindow(nullptr));
}

TEST(WithoutAppKit, AnAlertReturnsItsOnlyButton)
{
    EXPECT_EQ(BKRunAlert("Alert", "the units are lost", "OK"), 1);
}

TEST(WithoutAppKit, AQuestionAboutTheScreenOrTheMouseHasAnEmptyAnswer)
{
    EXPECT_EQ(BKMainScreenFrame().width, 0);
    EXPECT_EQ(BKMainScreenFrame().height, 0);
    EXPECT_EQ(BKFirstScreenHeight(), 0);
    EXPECT_EQ(BKModeEntry(nullptr, "Width"), 0);
    BKPoint point = {1, 2};
    EXPECT_FALSE(BKCurrentEventLocation(point));
    EXPECT_FALSE(BKKeyWindowMouseLocation(point));
    EXPECT_EQ(point.x, 1);
    EXPECT_EQ(point.y, 2);
}

// A game keeps the pointer that it got, which is null.
TEST(WithoutAppKit, EachCallForAWindowAcceptsNull)
{
    BKWindowSetTitle(nullptr, "game");
    BKWindowSetBlackBackground(nullptr);
    BKWindowSetAcceptsMouseMoved(nullptr, true);
    BKWindowSetReleasedWhenClosed(nullptr, false);
    BKWindowSetDelegateToApplication(nullptr);
    BKWindowClearDelegate(nullptr);
    BKWindowSetLevel(nullptr, 0);
    BKWindowCenter(nullptr);
    BKWindowMakeKey(nullptr);
    BKWindowMakeKeyAndOrderFront(nullptr);
    BKWindowRetain(nullptr);
    BKWindowClose(nullptr);
    BKWindowRelease(nullptr);
    EXPECT_EQ(BKWindowTitle(nullptr), "");
    EXPECT_EQ(BKWindowContentRect(nullptr).width, 0);
    const BKPoint point = BKWindowConvertBaseToScreen(nullptr, {3, 4});
    EXPECT_EQ(point.x, 3);
    EXPECT_EQ(point.y, 4);
}
