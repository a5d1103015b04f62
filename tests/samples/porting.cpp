// The samples of docs/porting.md. They give the same results on 32-bit and 64-bit builds, big- and little-endian.
#include <gtest/gtest.h>

#include <stdint.h>
#include <string.h>

namespace {
#include "docs/porting.md.samples"
}

TEST(Samples, ARecordForAFileHasNoPointer)
{
    Unit units[2] = {{60, nullptr}, {40, &units[0]}};
    const UnitInFile first = toFile(units[0], units);
    const UnitInFile second = toFile(units[1], units);
    EXPECT_EQ(first.target, -1);
    EXPECT_EQ(second.health, 40);
    EXPECT_EQ(second.target, 0);
}

TEST(Samples, AChecksumOf32BitsIsTheSameEverywhere)
{
    const unsigned char bytes[] = {255, 255, 255, 255, 255, 255, 255, 255};
    EXPECT_EQ(checksum(bytes, sizeof(bytes)), 3963989888u);
}

TEST(Samples, NumbersOfAPowerPcAreReadByteByByte)
{
    const unsigned char number[] = {0x12, 0x34, 0x56, 0x78};
    const unsigned char half[] = {0x3f, 0, 0, 0};
    EXPECT_EQ(readBig32(number), 0x12345678u);
    EXPECT_EQ(readBigFloat(half), 0.5f);
}

TEST(Samples, ATextIsAsciiWithEitherSignOfChar)
{
    EXPECT_TRUE(isPlainAscii("Footman"));
    EXPECT_FALSE(isPlainAscii("pr\xc3\xaats"));
}
