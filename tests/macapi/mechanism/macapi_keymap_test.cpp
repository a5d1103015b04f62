// Keys of an X server as macapi's insides know them, without AppKit.
#include "macapi/src/display/keys.h"

#include "tests/support/mac_keys.h"
#include "tests/support/x_server.h"

#include <gtest/gtest.h>

#if __has_include(<X11/XKBlib.h>)

#include <X11/XKBlib.h>

using macapi::virtualKeyOf;

static bool s_namesAreLost; // the server doesn't tell what its keys are called

extern "C" Status XkbGetNames(Display* display, unsigned int which, XkbDescPtr keyboard)
{
    return s_namesAreLost ? static_cast<Status>(BadAccess) : NEXT(XkbGetNames)(display, which, keyboard);
}

class KeyMap : public XServer {
protected:
    void SetUp() override
    {
        XServer::SetUp();
        if (!IsSkipped()) {
            start("640x480x24");
        }
    }
};

TEST_F(KeyMap, UsesTheNamesOfTheServer)
{
    for (const auto& key : s_keys) {
        EXPECT_EQ(virtualKeyOf(key.server), key.mac) << key.name;
    }
    ASSERT_EQ(system("setxkbmap -keycodes xfree86"), 0);
    EXPECT_EQ(virtualKeyOf(100), 123); // Left in these numbers, and a Japanese key in Linux's
}

TEST_F(KeyMap, UsesLinuxKeyNumbersWithoutNames)
{
    s_namesAreLost = true;
    for (const auto& key : s_keys) {
        EXPECT_EQ(virtualKeyOf(key.server), key.mac) << key.name;
    }
}

TEST_F(KeyMap, UsesLinuxKeyNumbersWhenTheServerHasGone)
{
    EXPECT_EQ(virtualKeyOf(38), 0);
    end();
    EXPECT_EQ(virtualKeyOf(38), 0);
    EXPECT_EQ(virtualKeyOf(113), 123);
}

TEST_F(KeyMap, KnowsNoOtherKeys)
{
    for (unsigned int key : {0u, 7u, 8u, 158u, 255u, 256u, 65535u}) {
        EXPECT_EQ(virtualKeyOf(key), macapi::sc_noKey) << key;
    }
}

#endif
