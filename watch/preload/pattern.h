// Bytes with a fixed value: a byte of another value was written by the game.
#pragma once

#include <stddef.h>
#include <string.h>

namespace watch {

static const unsigned char sc_spareByte = 0xb5; // after the last byte that the game asked for, up to the block's end
static const unsigned char sc_freedByte = 0xdf; // in freed blocks, and in the free part of a region

// Returns the first byte of another value; null when there is none.
inline const unsigned char* firstChange(const char* bytes, size_t count, unsigned char value)
{
    const unsigned char* begin = reinterpret_cast<const unsigned char*>(bytes);
    if (count == 0 || (begin[0] == value && memcmp(begin, begin + 1, count - 1) == 0)) {
        return nullptr; // the first byte is right, and each byte equals the byte before it
    }
    while (*begin == value) {
        ++begin;
    }
    return begin;
}

// Returns the byte after the last byte of another value; there must be one.
inline const unsigned char* afterLastChange(const char* bytes, size_t count, unsigned char value)
{
    const unsigned char* end = reinterpret_cast<const unsigned char*>(bytes) + count;
    while (end[-1] == value) {
        --end;
    }
    return end;
}

} // namespace watch
