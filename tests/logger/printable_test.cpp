// Text for a terminal.
#include "logger/printable.h"

#include <gtest/gtest.h>

TEST(Printable, ControlCharactersAreShownAsTheirBytes)
{
    static const struct {
        const char* text;
        const char* shown;
    } sc_cases[] = {
        {"", ""},
        {"plain ~ \xc3\xa9", "plain ~ \xc3\xa9"},
        {"\x1b[31m", "\\x1B[31m"},
        {"\x01\x1f\x7f\r", "\\x01\\x1F\\x7F\\x0D"},
        {"a\xc2\x80z\xc2\x9f", "a\\xC2\\x80z\\xC2\\x9F"}, // Unicode's control characters
        {"\xc2\xa0\xc2", "\xc2\xa0\xc2"},                 // a letter, and half of one
        {"\xe2\x80\xae"
         "abc",
         "\\xE2\\x80\\xAE"
         "abc"}, // right to left
        {"\xe2\x80\xa8\xe2\x80\xaa", "\\xE2\\x80\\xA8\\xE2\\x80\\xAA"},
        {"\xe2\x81\xa6\xe2\x81\xa9", "\\xE2\\x81\\xA6\\xE2\\x81\\xA9"},
        {"\xe2\x80\xa7\xe2\x80\xaf\xe2\x81\xa5\xe2\x81\xaa", "\xe2\x80\xa7\xe2\x80\xaf\xe2\x81\xa5\xe2\x81\xaa"},
        {"\xe2\x80", "\xe2\x80"},
        {"\x80\x9b\xff", "\x80\x9b\xff"}, // an 8-bit text's letters
        {"a\tb\nc\\", "a\tb\nc\\"},
    };
    for (const auto& [text, shown] : sc_cases) {
        EXPECT_EQ(printable(text, Lines::Keep), shown);
    }
}

TEST(Printable, ALineShowsItsBreaksAndBackslashes)
{
    EXPECT_EQ(printable("a\tb\nc\\x1B\x1b", Lines::Escape), "a\\tb\\nc\\\\x1B\\x1B");
}

TEST(Printable, ANulIsAControlCharacterToo)
{
    EXPECT_EQ(printable(std::string("a\0b", 3), Lines::Keep), "a\\x00b");
}
