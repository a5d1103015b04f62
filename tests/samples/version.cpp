// The sample of core/version.h.
#include "core/version.h"
#include "core/platform.h"

#include <gtest/gtest.h>

namespace {
#include "core/version.h.samples"
}

TEST(Samples, AGameAsksWhetherTheLibraryIsTheOneThatItWasBuiltFor)
{
    testing::internal::CaptureStderr(); // an alert without a display goes there
    sample1();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}
