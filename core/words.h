// Several letters of a text at a time: as many as a register holds.
#pragma once

#include <stddef.h>
#include <string.h>

typedef unsigned long Word; // 4 letters or 8

static const Word sc_ones = ~0ul / 255; // 1 in each byte

// The first letter in the lowest byte, whatever the host's order is.
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

// Marks the letters whose bits are all among letter's: that letter, the NUL, and a few others with some of them. Only the
// lowest mark is to be trusted: a borrow can leave one above it.
inline Word marksInWord(const char* text, char letter)
{
    const Word rest = loadWord(text) & ~(sc_ones * static_cast<unsigned char>(letter));
    return (rest - sc_ones) & ~rest & (sc_ones << 7);
}

// The place of the first mark.
inline unsigned int placeOf(Word marks)
{
    return static_cast<unsigned int>(__builtin_ctzl(marks)) / 8;
}
