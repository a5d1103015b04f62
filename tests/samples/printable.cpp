// The sample of logger/printable.h.
#include "logger/printable.h"

#include <gtest/gtest.h>

#include <stdio.h>

static const char* const path = "a\x1b[31mb";

namespace {
#include "logger/printable.h.samples"
}

TEST(Samples, APathIsShownWithoutItsControlCharacters)
{
    testing::internal::CaptureStderr();
    sample1();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "a\\x1B[31mb: can't be read\n");
}
