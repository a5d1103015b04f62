// Searching a text several bytes at a time: one machine word in each step.
#pragma once

#include <stddef.h>
#include <string.h>

typedef unsigned long Word; // 4 bytes of text on a 32-bit host, 8 on a 64-bit one

static const Word sc_ones = ~0ul / 255; // 1 in each byte

// Loads a word whose lowest byte is the first byte of text, on big-endian hosts as well.
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

// Returns a word whose top bit is set in each byte that may be letter or NUL; 0 when the word has neither.
//
// A mark is a candidate: it also stands at bytes whose bits are a subset of letter's bits, and a borrow of the
// subtraction can leave a wrong mark above the lowest one. So the caller looks at the byte at the lowest mark.
inline Word marksInWord(const char* text, char letter)
{
    const Word rest = loadWord(text) & ~(sc_ones * static_cast<unsigned char>(letter));
    return (rest - sc_ones) & ~rest & (sc_ones << 7);
}

// Returns the distance in bytes to the first mark. marks must not be 0.
inline unsigned int placeOf(Word marks)
{
    return static_cast<unsigned int>(__builtin_ctzl(marks)) / 8;
}
