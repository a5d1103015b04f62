// Bytes with a fixed value: a byte of another value was written by the game.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace watch {

static const unsigned char sc_spareByte = 0xb5; // after the last byte that the game asked for, up to the block's end
static const unsigned char sc_freedByte = 0xdf; // in freed blocks, and in the free part of a region

static const uint64_t sc_everyByte = 0x0101010101010101u; // times a byte: the byte eight times

inline bool isAll(const char* bytes, size_t count, unsigned char value)
{
    if (count > 256) {
        return static_cast<unsigned char>(bytes[0]) == value && memcmp(bytes, bytes + 1, count - 1) == 0;
    }
    uint64_t word;
    for (; count >= sizeof(word); count -= sizeof(word), bytes += sizeof(word)) { // a call would cost more
        memcpy(&word, bytes, sizeof(word));
        if (word != value * sc_everyByte) {
            return false;
        }
    }
    for (; count > 0; --count, ++bytes) {
        if (static_cast<unsigned char>(*bytes) != value) {
            return false;
        }
    }
    return true;
}

// volatile: otherwise the compiler would make a string instruction of the loop, which costs more than the loop for so few
// bytes.
inline void fill(char* bytes, size_t count, unsigned char value)
{
    typedef uint64_t Word __attribute__((aligned(1), may_alias));
    if (count > 128) {
        memset(bytes, value, count);
        return;
    }
    for (; count >= sizeof(Word); count -= sizeof(Word), bytes += sizeof(Word)) {
        *reinterpret_cast<volatile Word*>(bytes) = value * sc_everyByte;
    }
    for (; count > 0; --count, ++bytes) {
        *reinterpret_cast<volatile unsigned char*>(bytes) = value;
    }
}

// Returns the first byte of another value; null when there is none.
inline const unsigned char* firstChange(const char* bytes, size_t count, unsigned char value)
{
    if (isAll(bytes, count, value)) {
        return nullptr;
    }
    const unsigned char* byte = reinterpret_cast<const unsigned char*>(bytes);
    while (*byte == value) {
        ++byte;
    }
    return byte;
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
