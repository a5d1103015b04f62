// Keys pressed on an X server, and their codes in AppKit's events.
#include "tests/support/mac_keys.h"
#include "tests/support/x_server.h"

#include <ApplicationServices/ApplicationServices.h>

#import <AppKit/AppKit.h>

#include <gtest/gtest.h>

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <dlfcn.h>

// A window that takes keys without a frame around it.
@interface KeyWindow : NSWindow
@end
@implementation KeyWindow
- (BOOL)canBecomeKeyWindow
{
    return YES;
}
@end

static bool s_namesAreLost; // the server doesn't tell what its keys are called

extern "C" Status XkbGetNames(Display* display, unsigned int which, XkbDescPtr keyboard)
{
    return s_namesAreLost ? static_cast<Status>(BadAccess) : NEXT(XkbGetNames)(display, which, keyboard);
}

class Keys : public XServer {
protected:
    void SetUp() override
    {
        XServer::SetUp();
        void* const library = dlopen("libXtst.so.6", RTLD_NOW);
        if (!IsSkipped() && !library) {
            GTEST_SKIP() << "there is no libXtst";
        }
        if (!IsSkipped()) {
            m_fakeMotion = reinterpret_cast<FakeMotion>(dlsym(library, "XTestFakeMotionEvent"));
            m_fakeKey = reinterpret_cast<FakeInput>(dlsym(library, "XTestFakeKeyEvent"));
            m_fakeButton = reinterpret_cast<FakeInput>(dlsym(library, "XTestFakeButtonEvent"));
            start("640x480x24");
            m_display = XOpenDisplay(nullptr);
            ASSERT_TRUE(m_display);
            ASSERT_NE(CGMainDisplayID(), kCGNullDirectDisplay);
            m_pool = [[NSAutoreleasePool alloc] init];
            showWindow();
        }
    }

    void TearDown() override
    {
        [m_pool release];
        XServer::TearDown();
    }

    // The next event of a kind that comes in time; nil when none does.
    NSEvent* next(NSUInteger mask)
    {
        NSDate* const limit = [NSDate dateWithTimeIntervalSinceNow:10];
        NSEvent* event = nil;
        for (bool left = false; !event && [limit timeIntervalSinceNow] > 0; left = !left) {
            // AppKit here may not see an event that comes in the middle of another conversation with the server,
            // before there is a further one: so the mouse moves.
            m_fakeMotion(m_display, -1, left ? 320 : 321, 240, CurrentTime);
            XFlush(m_display);
            NSDate* const soon = [NSDate dateWithTimeIntervalSinceNow:0.2];
            event = [NSApp nextEventMatchingMask:mask untilDate:soon inMode:NSDefaultRunLoopMode dequeue:YES];
        }
        return event;
    }

    // The code in the events of a key, which has the server's number. -1 when there are none, or they don't agree.
    int press(unsigned int key)
    {
        for (FakeInput fake : {m_fakeKey, m_fakeButton}) {
            fake(m_display, fake == m_fakeKey ? key : 3, True, CurrentTime);
            fake(m_display, fake == m_fakeKey ? key : 3, False, CurrentTime);
        }
        XFlush(m_display);
        // The button comes behind all that the key makes AppKit send.
        const NSUInteger mask = NSKeyDownMask | NSKeyUpMask | NSFlagsChangedMask | NSRightMouseUpMask;
        int code = -1;
        NSEvent* event = next(mask);
        for (; event && [event type] != NSRightMouseUp; event = next(mask)) {
            if (code != -1 && [event keyCode] != code) {
                return -1;
            }
            code = [event keyCode];
        }
        return event ? code : -1;
    }

private:
    using FakeMotion = int (*)(Display*, int screen, int x, int y, unsigned long delay);
    using FakeInput = int (*)(Display*, unsigned int number, int isDown, unsigned long delay);

    // Keys go to the window below the cursor as long as there is no window manager.
    void showWindow()
    {
        [NSApplication sharedApplication];
        [NSApp finishLaunching];
        NSWindow* window = [[KeyWindow alloc] initWithContentRect:NSMakeRect(0, 0, 640, 480)
                                                        styleMask:NSBorderlessWindowMask
                                                          backing:NSBackingStoreBuffered
                                                            defer:NO];
        [window makeKeyAndOrderFront:nil];
        CGDisplayMoveCursorToPoint(kCGDirectMainDisplay, CGPoint{320, 240});
        Window child = None;
        while (child != (Window)(uintptr_t)[window windowRef]) {
            Window root;
            int x, y;
            unsigned int buttons;
            XQueryPointer(m_display, DefaultRootWindow(m_display), &root, &child, &x, &y, &x, &y, &buttons);
        }
    }

    Display* m_display = nullptr;
    FakeMotion m_fakeMotion = nullptr;
    FakeInput m_fakeKey = nullptr;
    FakeInput m_fakeButton = nullptr;
    NSAutoreleasePool* m_pool = nil;
};

TEST_F(Keys, HaveTheMacsCodes)
{
    for (const auto& key : s_keys) {
        EXPECT_EQ(press(key.server), key.mac) << key.name;
    }
}

TEST_F(Keys, HaveTheSameCodesInAnyKeyboardLayout)
{
    ASSERT_EQ(system("setxkbmap de"), 0);
    EXPECT_EQ(press(29), 16); // between T and U, where Germans have their Z
    ASSERT_EQ(system("setxkbmap fr"), 0);
    EXPECT_EQ(press(24), 12); // right of Tab, the French A
}

TEST_F(Keys, AreFoundByTheNamesOfTheServer)
{
    ASSERT_EQ(system("setxkbmap -keycodes xfree86"), 0);
    EXPECT_EQ(press(100), 123); // Left in these numbers, and a Japanese key in Linux's
    EXPECT_EQ(press(38), 0);
}

TEST_F(Keys, WithoutNamesAreFoundByLinuxKeyNumbers)
{
    s_namesAreLost = true;
    for (const auto& key : s_keys) {
        EXPECT_EQ(press(key.server), key.mac) << key.name;
    }
}

TEST_F(Keys, KeysThatTheMacLacksGetNoCodeOfAnotherKey)
{
    EXPECT_EQ(press(158), 127); // opens a browser
}

static NSEvent* madeByTheProgram(unsigned short key)
{
    return [NSEvent keyEventWithType:NSKeyDown
                            location:NSZeroPoint
                       modifierFlags:0
                           timestamp:0
                        windowNumber:0
                             context:nil
                          characters:@"a"
         charactersIgnoringModifiers:@"a"
                           isARepeat:NO
                             keyCode:key];
}

TEST_F(Keys, TheCodeOfAnEventThatTheProgramMakesIsNotTranslated)
{
    EXPECT_EQ([madeByTheProgram(36) keyCode], 36);
    [NSApp postEvent:madeByTheProgram(38) atStart:NO];
    EXPECT_EQ([next(NSKeyDownMask) keyCode], 38);
}
