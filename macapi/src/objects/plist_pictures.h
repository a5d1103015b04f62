// Characters that XML cannot hold: control characters, U+FFFE and U+FFFF.
//
// A string or a key may hold them, and its file must still be XML that every reader accepts. So each such character
// has a picture, another character that stands for it after a backslash: U+0001 is written as \␁.
//
// 1. A picture after an odd number of backslashes means its character. After an even number it means the picture
//    itself. Half of these backslashes, rounded down, belong to the text.
// 2. All other backslashes and all other characters mean themselves.
// 3. So each text has exactly one written form, and each written form means exactly one text. A file that another
//    program has written is the same after it was read and written again.
#pragma once

namespace macapi {

// Returns the picture of a character that XML cannot hold; 0 for any other character.
constexpr char32_t pictureOf(char32_t character)
{
    if (character < 0x20 && character != '\t' && character != '\n' && character != '\r') {
        return 0x2400 + character; // Unicode's own pictures of the control characters
    }
    return character == 0xfffe || character == 0xffff ? character - 2 : 0;
}

// Returns the character that a picture stands for; 0 if the argument is no picture.
constexpr char32_t picturedBy(char32_t picture)
{
    const char32_t character = picture >= 0x2400 && picture < 0x2420    ? picture - 0x2400
                               : picture == 0xfffc || picture == 0xfffd ? picture + 2
                                                                        : 0x20;
    return pictureOf(character) == picture ? character : 0;
}

} // namespace macapi
