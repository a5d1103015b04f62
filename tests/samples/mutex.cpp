// The sample of core/mutex.h.
#include "core/mutex.h"

#include <gtest/gtest.h>

namespace {
#include "core/mutex.h.samples"
}

TEST(Samples, AMutexIsLockedAndUnlocked)
{
    sample1();
}
