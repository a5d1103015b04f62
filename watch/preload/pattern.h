// Bytes with a fixed value: a byte of another value was written by the game.
//
// Most blocks are small, and their sizes follow no order. So the processor would guess the number of rounds of a loop
// wrong at nearly each call, and that costs more than the round itself. For this reason the functions handle each count
// from 16 to 128 with the same steps: eight times 16 bytes, some of them more than once.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace watch {

static const unsigned char sc_spareByte = 0xb5; // after the last byte that the game asked for, up to the block's end
static const unsigned char sc_freedByte = 0xdf; // in freed blocks, and in the free part of a region

static const uint64_t sc_everyByte = 0x0101010101010101u; // times a byte: the byte eight times

typedef uint64_t Bytes16 __attribute__((vector_size(16), aligned(1), may_alias)); // at any address
typedef uint64_t Bytes8 __attribute__((aligned(1), may_alias));
typedef uint32_t Bytes4 __attribute__((aligned(1), may_alias));

// ---- At most 15 bytes

inline bool isAllOfFew(const char* bytes, size_t count, uint64_t eight)
{
    if (count >= 8) {
        return ((*reinterpret_cast<const Bytes8*>(bytes) ^ eight) |
                (*reinterpret_cast<const Bytes8*>(bytes + count - 8) ^ eight)) == 0;
    }
    const uint32_t four = static_cast<uint32_t>(eight);
    if (count >= 4) {
        return ((*reinterpret_cast<const Bytes4*>(bytes) ^ four) |
                (*reinterpret_cast<const Bytes4*>(bytes + count - 4) ^ four)) == 0;
    }
    const char one = static_cast<char>(eight);
    return count == 0 || (bytes[0] == one && bytes[count / 2] == one && bytes[count - 1] == one);
}

inline void fillFew(char* bytes, size_t count, uint64_t eight)
{
    if (count >= 8) {
        *reinterpret_cast<Bytes8*>(bytes) = eight;
        *reinterpret_cast<Bytes8*>(bytes + count - 8) = eight;
    } else if (count >= 4) {
        *reinterpret_cast<Bytes4*>(bytes) = static_cast<uint32_t>(eight);
        *reinterpret_cast<Bytes4*>(bytes + count - 4) = static_cast<uint32_t>(eight);
    } else if (count > 0) {
        bytes[0] = bytes[count / 2] = bytes[count - 1] = static_cast<char>(eight);
    }
}

// ---- Any number of bytes

static const size_t sc_mostInSteps = 128;

// Returns where the 16 bytes of a step begin: the last 16 of the `count` bytes, if `step` has passed the end.
inline size_t stepOf(size_t step, size_t count)
{
    return step < count - 16 ? step : count - 16;
}

inline bool isAll(const char* bytes, size_t count, unsigned char value)
{
    const uint64_t eight = value * sc_everyByte;
    const Bytes16 wanted = {eight, eight};
    if (count < 16) {
        return isAllOfFew(bytes, count, eight);
    }
    Bytes16 changed = *reinterpret_cast<const Bytes16*>(bytes + count - 16) ^ wanted;
    if (count <= sc_mostInSteps) {
        for (size_t step = 0; step < sc_mostInSteps - 16; step += 16) {
            changed |= *reinterpret_cast<const Bytes16*>(bytes + stepOf(step, count)) ^ wanted;
        }
        return (changed[0] | changed[1]) == 0;
    }
    const char* end = bytes + count - 16;
    for (; end - bytes >= 64; bytes += 64) {
        changed |= ((*reinterpret_cast<const Bytes16*>(bytes) ^ wanted) |
                    (*reinterpret_cast<const Bytes16*>(bytes + 16) ^ wanted)) |
                   ((*reinterpret_cast<const Bytes16*>(bytes + 32) ^ wanted) |
                    (*reinterpret_cast<const Bytes16*>(bytes + 48) ^ wanted));
    }
    for (; bytes < end; bytes += 16) {
        changed |= *reinterpret_cast<const Bytes16*>(bytes) ^ wanted;
    }
    return (changed[0] | changed[1]) == 0;
}

// volatile: otherwise the compiler would make calls of memset.
inline void fill(char* bytes, size_t count, unsigned char value)
{
    const uint64_t eight = value * sc_everyByte;
    const Bytes16 wanted = {eight, eight};
    if (count < 16) {
        fillFew(bytes, count, eight);
    } else if (count <= sc_mostInSteps) {
        for (size_t step = 0; step < sc_mostInSteps; step += 16) {
            *reinterpret_cast<volatile Bytes16*>(bytes + stepOf(step, count)) = wanted;
        }
    } else {
        memset(bytes, value, count);
    }
}

// ---- The spare bytes at the end of a block

static const size_t sc_mostSpare = 32; // for the next two functions; a block with more spare bytes is rare

// From byte 32 - N on, the first 32 - N bytes of the result belong to the request, and the last N to the spare bytes.
struct EndOfBlock {
    unsigned char fresh[64]; // what the bytes of a new block are
    unsigned char mask[64];  // 0xff: a spare byte
};

extern const EndOfBlock g_endOfBlock;

// True when the last `spare` bytes before `end` are sc_spareByte. Reads 32 bytes, which must be readable.
inline bool isSpare(const char* end, size_t spare)
{
    const uint64_t eight = sc_spareByte * sc_everyByte;
    const Bytes16 wanted = {eight, eight};
    const unsigned char* mask = g_endOfBlock.mask + spare;
    const Bytes16 changed =
        ((*reinterpret_cast<const Bytes16*>(end - 32) ^ wanted) & *reinterpret_cast<const Bytes16*>(mask)) |
        ((*reinterpret_cast<const Bytes16*>(end - 16) ^ wanted) & *reinterpret_cast<const Bytes16*>(mask + 16));
    return (changed[0] | changed[1]) == 0;
}

// Makes the last `spare` bytes before `end` sc_spareByte. The 32 bytes before `end` must be sc_freedByte.
inline void fillSpare(char* end, size_t spare)
{
    const unsigned char* fresh = g_endOfBlock.fresh + spare;
    *reinterpret_cast<volatile Bytes16*>(end - 32) = *reinterpret_cast<const Bytes16*>(fresh);
    *reinterpret_cast<volatile Bytes16*>(end - 16) = *reinterpret_cast<const Bytes16*>(fresh + 16);
}

// ---- Where the changes are

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
