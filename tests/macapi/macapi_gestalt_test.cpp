#include <Carbon/Carbon.h>

#include <gtest/gtest.h>

#include <sys/auxv.h>

TEST(Gestalt, KnowsTheFeaturesOfAPowerPCAndOfNoOtherProcessor)
{
    SInt32 features = 77;
#ifdef __powerpc__
    EXPECT_EQ(Gestalt(gestaltPowerPCProcessorFeatures, &features), noErr);
    const bool altiVec = getauxval(AT_HWCAP) & 0x10000000;
    EXPECT_EQ(features, altiVec ? 0x10 : 0);
#else
    EXPECT_EQ(Gestalt(gestaltPowerPCProcessorFeatures, &features), gestaltUndefSelectorErr);
    EXPECT_EQ(features, 77);
#endif
}

TEST(Gestalt, SelectorsAreTheMacs)
{
    EXPECT_EQ(gestaltPowerPCProcessorFeatures, 'p' << 24 | 'p' << 16 | 'c' << 8 | 'f');
    EXPECT_EQ(1 << gestaltPowerPCHasVectorInstructions, 0x10);
    EXPECT_EQ(gestaltUndefSelectorErr, -5551);
}

TEST(Gestalt, AnythingElseIsRefused)
{
    SInt32 answer = 77;
    for (OSType selector : {OSType(0), OSType(0x73797376), OSType(0xffffffff)}) { // 'sysv'
        EXPECT_EQ(Gestalt(selector, &answer), gestaltUndefSelectorErr);
    }
    EXPECT_EQ(answer, 77);
    EXPECT_EQ(Gestalt(gestaltPowerPCProcessorFeatures, nullptr), paramErr);
}
