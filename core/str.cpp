// The ten escapes.
//
// 1. Letters and the bytes they stand for are two rows in the same order; both directions read these.
// 2. A decoded text is never longer than the one it came from, so it fits where that stood.
#include "core/str.h"

#include "core/allocator.h"

#include <string.h>

static const char sc_letters[] = "abtnvfr\"'\\";
static const char sc_bytes[] = "\a\b\t\n\v\f\r\"'\\";

// What stands in the row `to` where letter stands in the row `from`; NUL where letter isn't in it.
static char lookUp(char letter, const char* from, const char* to)
{
    const char* place = letter ? strchr(from, letter) : nullptr;
    return place ? to[place - from] : '\0';
}

static size_t countEscapes(const char* text)
{
    size_t count = 0;
    for (; *text; ++text) {
        count += lookUp(*text, sc_bytes, sc_letters) != '\0';
    }
    return count;
}

bool str::unescape(char* text)
{
    if (!text) {
        return false;
    }
    bool valid = true;
    const char* read = text;
    char* write = text;
    while (*read) {
        if (*read != '\\') {
            *write++ = *read++;
            continue;
        }
        const char byte = lookUp(read[1], sc_letters, sc_bytes);
        valid = valid && byte;
        *write++ = byte ? byte : '\\';
        read += read[1] ? 2 : 1; // whatever the letter was, it is gone
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
    // In leak reports line 66 is a plain copy, and line 232 one with escapes.
    char* write = static_cast<char*>(AllocInBank(0, size, "core/str", count ? 232 : 66));
    *out = write;
    if (!write) {
        return false;
    }
    for (; *text; ++text) {
        const char letter = lookUp(*text, sc_bytes, sc_letters);
        if (letter) {
            *write++ = '\\';
        }
        *write++ = letter ? letter : *text;
    }
    *write = '\0';
    return true;
}
