// Characters that XML cannot hold: control characters, U+FFFE and U+FFFF.
//
// A string or a key may hold such characters, and every XML reader must accept its file. So each of these characters
// has a picture: another character, which is written instead, after a backslash. U+0001 is written as \␁.
//
// 1. In the file, a picture after an odd number of backslashes means the character that it stands for. After an even
//    number, 0 included, it means the picture itself. Of n such backslashes, n / 2 (rounded down) belong to the text.
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
