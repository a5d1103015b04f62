// The sample of core/memorymgr.h.
#include "core/memorymgr.h"

#include <gtest/gtest.h>

static const unsigned long bytes = 300;

namespace {
#include "core/memorymgr.h.samples"
}

TEST(Samples, AGameDefinesItsBanksAndEmptiesALinearOne)
{
    sample1();
    EXPECT_TRUE(g_MemoryPtr) << "a manager was made";
}
