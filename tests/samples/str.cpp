// The sample of core/str.h.
#include "core/str.h"
#include "tests/support/game_memory.h"

#include <gtest/gtest.h>

static FILE* file;

namespace {
#include "core/str.h.samples"
}

TEST(Samples, StrWritesAnEscapedText)
{
    GameMemory memory;
    memory.defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", 1 << 16);
    memory.initialize();
    file = fopen("escaped", "wb");
    ASSERT_TRUE(file);

    sample1();

    fclose(file);
    EXPECT_EQ(readFile("escaped"), "\"say \\\"hi\\\"\\n\"\n");
}
