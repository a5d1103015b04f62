// Characters that have no place in XML: control characters, and two of no meaning.
//
// A string or a key may hold them all the same, and its file has to stay one that every reader of XML accepts. So each
// has a picture, which stands for it behind a backslash: U+0001 is written as \␁.
//
// 1. A picture behind an odd number of backslashes stands for its character, and behind an even number for itself.
//    Half of the backslashes, rounded down, are the text's own.
// 2. Backslashes that no picture follows, and all other characters, are what they are.
// 3. So each text has one form, and each form is some text's: whatever another program has written comes out of a
//    rewrite as it was.
#pragma once

namespace macapi {

// The picture of a character that XML cannot hold; 0 for one that it can.
constexpr char32_t pictureOf(char32_t character)
{
    if (character < 0x20 && character != '\t' && character != '\n' && character != '\r') {
        return 0x2400 + character; // Unicode's own pictures of the control characters
    }
    return character == 0xfffe || character == 0xffff ? character - 2 : 0;
}

// The character that a picture is of; 0 for what is no picture.
constexpr char32_t picturedBy(char32_t picture)
{
    const char32_t character = picture >= 0x2400 && picture < 0x2420    ? picture - 0x2400
                               : picture == 0xfffc || picture == 0xfffd ? picture + 2
                                                                        : 0x20;
    return pictureOf(character) == picture ? character : 0;
}

} // namespace macapi
