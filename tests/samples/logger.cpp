// The samples of logger/logger.h and docs/logging.md.
#include "logger/logger.h"

#include <gtest/gtest.h>

static const char* const name = "Footmann";
static const int line = 3;

namespace {
#include "logger/logger.h.samples"
}
namespace page {
#include "docs/logging.md.samples"
}

static std::string logged(void (*sample)())
{
    testing::internal::CaptureStderr();
    sample();
    return testing::internal::GetCapturedStderr();
}

TEST(Samples, TheLogShowsTheSampleMessageWithoutItsColourMarks)
{
    const std::string message = "Units: no unit is called \"Footmann\" on line 3.\n";
    EXPECT_EQ(logged(sample1), message);
    EXPECT_EQ(logged(page::sample1), message);
}

TEST(Samples, ALevelOf3ShowsFailuresOnly)
{
    page::sample2();
    EXPECT_NE(logged([] { owLogger::log(3, "a failure\f"); }), "");
    EXPECT_EQ(logged([] { owLogger::log(4, "a remark\f"); }), "");
}
