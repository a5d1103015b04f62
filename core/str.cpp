// The ten escapes.
//
// 1. sc_letters[i] is the letter of the escape for the byte sc_bytes[i]. Both functions use these two tables.
// 2. Decoding never makes a text longer. So unescape writes its result over the text that it reads.
#include "core/str.h"

#include "core/allocator.h"

#include <assert.h>
#include <string.h>

static constexpr char sc_letters[] = "abtnvfr\"'\\";
static constexpr char sc_bytes[] = "\a\b\t\n\v\f\r\"'\\";

// Maps the byte from[i] to the byte to[i], and every other byte to NUL.
struct Translation {
    constexpr Translation(const char* from, const char* to) : m_of()
    {
        for (int place = 0; from[place]; ++place) {
            m_of[static_cast<unsigned char>(from[place])] = to[place];
        }
    }
    constexpr char operator()(char byte) const { return m_of[static_cast<unsigned char>(byte)]; }

private:
    char m_of[256];
};
static constexpr Translation sc_letterOf(sc_bytes, sc_letters);
static constexpr Translation sc_byteOf(sc_letters, sc_bytes);

static size_t countEscapes(const char* text)
{
    size_t count = 0;
    for (; *text; ++text) {
        count += sc_letterOf(*text) != '\0';
    }
    return count;
}

bool str::unescape(char* text)
{
    if (!text) {
        return false;
    }
    char* write = strchr(text, '\\'); // the bytes before the first backslash do not change
    if (!write) {
        return true;
    }
    bool valid = true;
    const char* read = write;
    while (*read) {
        if (*read != '\\') {
            *write++ = *read++;
            continue;
        }
        const char byte = sc_byteOf(read[1]);
        valid = valid && byte;
        *write++ = byte ? byte : '\\';
        read += read[1] ? 2 : 1; // deliberate: the letter of an unknown escape is lost
        assert(write <= read && "2: decoding never makes a text longer");
    }
    *write = '\0';
    return valid;
}

bool str::escape(char** out, const char* text)
{
    if (!out || !text) {
        return false;
    }
    const size_t count = countEscapes(text);
    const size_t size = strlen(text) + count + 1;
    // 66 names a copy without escapes in leak reports, 232 a copy with escapes. Both are frozen:
    // docs/architecture.md, "Numbers in block tags".
    char* write = static_cast<char*>(AllocInBank(0, size, "core/str", count ? 232 : 66));
    *out = write;
    if (!write) {
        return false;
    }
    for (; *text; ++text) {
        const char letter = sc_letterOf(*text);
        if (letter) {
            *write++ = '\\';
        }
        *write++ = letter ? letter : *text;
    }
    *write = '\0';
    return true;
}
