// The versions that a library can serve: those of the same first number, up to its own second number.
#include "core/version.h"

#include <gtest/gtest.h>

#include <string>

TEST(Version, TheTextIsMadeOfTheThreeNumbers)
{
    const std::string numbers = std::to_string(CORE_VERSION_MAJOR) + "." + std::to_string(CORE_VERSION_MINOR) + "." +
                                std::to_string(CORE_VERSION_PATCH);
    EXPECT_EQ(numbers, CORE_VERSION);
}

TEST(Version, OfTheLibraryIsThatOfItsHeaders)
{
    EXPECT_STREQ(CoreVersion(), CORE_VERSION);
    EXPECT_TRUE(CoreVersionMatches());
}

TEST(Version, TheLibraryServesItsOwnAndEarlierHeadersOfTheSameFirstNumber)
{
    for (int minor = 0; minor <= CORE_VERSION_MINOR; minor++) {
        EXPECT_TRUE(CoreVersionServes(CORE_VERSION_MAJOR, minor)) << minor;
    }
}

TEST(Version, TheLibraryServesNoHeadersWithCallsThatItMayLack)
{
    EXPECT_FALSE(CoreVersionServes(CORE_VERSION_MAJOR, CORE_VERSION_MINOR + 1));
}

TEST(Version, TheLibraryServesNoHeadersWithAnotherFirstNumber)
{
    EXPECT_FALSE(CoreVersionServes(CORE_VERSION_MAJOR + 1, CORE_VERSION_MINOR));
    EXPECT_FALSE(CoreVersionServes(CORE_VERSION_MAJOR - 1, CORE_VERSION_MINOR));
}
