// The sample of core/platform.h that reads a window's events.
#import <Cocoa/Cocoa.h>

#include "core/platform.h"
#include "tests/support/x_server.h"

#include <gtest/gtest.h>

static bool running = true;
static int s_frames;

static void drawFrame(NSWindow* window)
{
    s_frames += [window isVisible];
    running = s_frames < 3;
}

namespace {
#include "core/platform.h.appkit"
}

TEST_F(XServer, TheSamplesLoopDrawsFramesInTheWindow)
{
    start("640x480x24");
    [[NSAutoreleasePool alloc] init];
    [NSApplication sharedApplication];
    [NSApp finishLaunching];
    void* window =
        Platform::InitWindow(0, nullptr, "sample", nullptr, nullptr, 0, 0, 320, 200, false, false, nullptr);
    ASSERT_TRUE(window);
    Platform::SetWindow(window);
    Platform::SetWindowPos();

    sample5();

    EXPECT_EQ(s_frames, 3);
    Platform::DestructWindow(window);
}
