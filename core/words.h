// Searches a text by machine words: 4 or 8 bytes in each step. Not for games.
#pragma once

#include <stddef.h>
#include <string.h>

typedef unsigned long Word; // 4 bytes of text in a 32-bit build, 8 in a 64-bit build

static const Word sc_ones = ~0ul / 255; // 1 in each byte

// Loads a word from text. The lowest byte of the word is the first byte of text, also on big-endian processors.
inline Word loadWord(const char* text)
{
    Word word;
    memcpy(&word, text, sizeof(word));
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    word =
        sizeof(Word) == 8 ? static_cast<Word>(__builtin_bswap64(word)) : static_cast<Word>(__builtin_bswap32(word));
#endif
    return word;
}

// Returns a word with a marked byte (its top bit is 1) for each byte of text that is letter or NUL. Returns 0 if
// there is none.
//
// Other bytes can be marked too: a byte whose bits are a subset of letter's bits, and bytes above the lowest marked
// byte, because of a borrow in the subtraction. So the caller must compare the byte of the lowest mark with letter
// and NUL.
inline Word marksInWord(const char* text, char letter)
{
    const Word rest = loadWord(text) & ~(sc_ones * static_cast<unsigned char>(letter));
    return (rest - sc_ones) & ~rest & (sc_ones << 7);
}

// Returns the offset of the first marked byte, 0 to sizeof(Word) - 1. marks must not be 0.
inline unsigned int placeOf(Word marks)
{
    return static_cast<unsigned int>(__builtin_ctzl(marks)) / 8;
}
