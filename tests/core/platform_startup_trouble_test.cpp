// A machine without AppKit, or without the library that shows core's windows.
#include "core/platform.h"
#include "tests/support/x_server.h"

#include <gtest/gtest.h>

#include <string.h>

static int s_attempts;

extern "C" __attribute__((visibility("default"))) void* dlopen(const char* file, int mode) noexcept
{
    const bool isAppKit = file && strstr(file, "libcore-appkit");
    s_attempts += isAppKit;
    return NEXT(dlopen)(isAppKit ? "libmissing.so.0" : file, mode);
}

class StartUpWithoutAppKit : public XServer {
protected:
    void SetUp() override
    {
        XServer::SetUp();
        if (!IsSkipped()) {
            start("320x240x24");
        }
    }
};

TEST_F(StartUpWithoutAppKit, AnAlertGoesToStandardErrorAndNoWindowIsMade)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(Platform::MessageBox("caption", "the text"), 1);
    EXPECT_EQ(Platform::InitWindow(0, nullptr, "game", nullptr, nullptr, 0, 0, 320, 200, false, false, nullptr),
              nullptr);
    EXPECT_EQ(Platform::MessageBox("caption", "more"), 1);
    const std::string lines = testing::internal::GetCapturedStderr();
    EXPECT_EQ(lines, "no windows: libmissing.so.0: cannot open shared object file: No such file or directory\n"
                     "the text\nmore\n");
    EXPECT_EQ(s_attempts, 1);
}
