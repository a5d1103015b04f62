// The random numbers, beside the standard library's generator of the same kind.
#include "core/platform.h"

#include <gtest/gtest.h>

#include <random>

// Each case has a process of its own, so here nobody has seeded yet.
TEST(Random, WithoutASeedItIs5489)
{
    EXPECT_EQ(mt_rand(), 3499211612u);
    std::mt19937 reference;
    reference.discard(1);
    for (int i = 1; i < 10000; ++i) {
        ASSERT_EQ(mt_rand(), reference()) << i;
    }
}

TEST(Random, Seed5489IsTheSameSequence)
{
    mt_srand(5489);
    EXPECT_EQ(mt_rand(), 3499211612u);
    EXPECT_EQ(mt_rand(), 581869302u);
    EXPECT_EQ(mt_rand(), 3890346734u);
}

TEST(Random, TheTenThousandthNumberIsTheOneTheStandardDemands)
{
    unsigned int number = 0;
    for (int i = 0; i < 10000; ++i) {
        number = mt_rand();
    }
    EXPECT_EQ(number, 4123659995u);
}

#ifdef __powerpc__
static const int sc_longRun = 100000; // an emulated processor
#else
static const int sc_longRun = 10000000;
#endif

class RandomSeed : public testing::TestWithParam<unsigned int> {};

TEST_P(RandomSeed, MakesTheReferenceSequence)
{
    mt_srand(GetParam());
    std::mt19937 reference(GetParam());
    for (int i = 0; i < sc_longRun; ++i) {
        ASSERT_EQ(mt_rand(), reference()) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Of, RandomSeed,
                         testing::Values(0u, 1u, 2u, 42u, 5489u, 19650218u, 0x7fffffffu, 0x80000000u, 0xfffffffeu,
                                         0xffffffffu));

TEST(Random, ASeedStartsAnewWhereverTheSequenceIs)
{
    // In front of the first block of numbers, inside a block, and at the end of one.
    for (const int taken : {0, 1, 226, 227, 228, 396, 397, 622, 623, 624, 625, 1247, 1248, 1249}) {
        mt_srand(7);
        std::mt19937 reference(7);
        for (int i = 0; i < taken; ++i) {
            ASSERT_EQ(mt_rand(), reference());
        }
        mt_srand(8);
        reference.seed(8);
        for (int i = 0; i < 2000; ++i) {
            ASSERT_EQ(mt_rand(), reference()) << taken << " taken, then " << i;
        }
    }
}

TEST(Random, ASeedBeforeTheFirstNumberIsTheOneThatCounts)
{
    mt_srand(1);
    mt_srand(2);
    std::mt19937 reference(2);
    EXPECT_EQ(mt_rand(), reference());
}

TEST(Random, UsesAll32Bits)
{
    unsigned int ones = 0;
    unsigned int zeros = 0;
    for (int i = 0; i < 1000; ++i) {
        const unsigned int number = mt_rand();
        ones |= number;
        zeros |= ~number;
    }
    EXPECT_EQ(ones, 0xffffffffu);
    EXPECT_EQ(zeros, 0xffffffffu);
}
