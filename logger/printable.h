// Makes control characters of a text visible, so that the text cannot steer a terminal. The log, macapi, core and
// the tools include this header; it has no source file.
//
//     fprintf(stderr, "%s: can't be read\n", printable(path, Lines::Escape).c_str());
//
// Each byte of a control character is written as a backslash, an x and two hexadecimal digits: the escape character
// becomes "\x1B". Control characters are:
//
// | Characters | Code |
// |---|---|
// | of ASCII, without tab and line feed | 0x01 to 0x1F, and DEL, 0x7F |
// | of Unicode, in UTF-8 | U+0080 to U+009F |
// | that break lines or change the direction of text | U+2028 to U+202E, U+2066 to U+2069 |
//
// All other bytes of 0x80 or more are copied unchanged, because a text need not be UTF-8.
#pragma once

#include <stddef.h>
#include <string>

// Returns the number of bytes of the control character at the start of text; 0 if text begins with another
// character, or with a tab or a line feed. text has size bytes.
inline size_t controlLength(const char* text, size_t size)
{
    const auto byte = [text, size](size_t place) {
        return place < size ? static_cast<unsigned char>(text[place]) : 0;
    };
    if (byte(0) == 0xc2) {
        return byte(1) >= 0x80 && byte(1) < 0xa0 ? 2 : 0;
    }
    if (byte(0) == 0xe2) {
        const bool direction = (byte(1) == 0x80 && byte(2) >= 0xa8 && byte(2) <= 0xae) ||
                               (byte(1) == 0x81 && byte(2) >= 0xa6 && byte(2) <= 0xa9);
        return direction ? 3 : 0;
    }
    return size > 0 && ((byte(0) < 0x20 && byte(0) != '\n' && byte(0) != '\t') || byte(0) == 0x7f);
}

// Stores the four characters of an escaped byte, such as "\x1B", in escape, without a NUL.
inline void escapeByte(char byte, char (&escape)[4])
{
    static const char sc_digits[] = "0123456789ABCDEF";
    const unsigned char value = static_cast<unsigned char>(byte);
    escape[0] = '\\';
    escape[1] = 'x';
    escape[2] = sc_digits[value >> 4];
    escape[3] = sc_digits[value & 15];
}

enum class Lines {
    Keep,  // tabs, line feeds and backslashes are copied unchanged
    Escape // they become "\t", "\n" and "\\": the result is one line, and the original text can be recovered from it
};

// Returns the letter that follows the backslash in the escape of this character; 0 if it is not escaped that way.
inline char lineEscape(char letter, Lines lines)
{
    const char escape = letter == '\n' ? 'n' : letter == '\t' ? 't' : letter == '\\' ? '\\' : '\0';
    return lines == Lines::Escape ? escape : '\0';
}

// Passes the printable form of text to write(const char* bytes, size_t count), in pieces. Allocates no memory. The
// result has at most four times as many bytes as text.
template <class Write>
void writePrintable(const char* text, size_t size, Lines lines, Write write)
{
    const char* const end = text + size;
    const char* shown = text; // the text before this place has been passed to write
    while (text < end) {
        const char letter = lineEscape(*text, lines);
        const size_t control = controlLength(text, static_cast<size_t>(end - text));
        const char* const next = text + (letter ? 1 : control); // the text after the escaped character
        if (next == text) {
            ++text;
            continue;
        }
        write(shown, static_cast<size_t>(text - shown));
        for (; text < next; ++text) {
            char escape[4] = {'\\', letter};
            if (!letter) {
                escapeByte(*text, escape);
            }
            write(escape, letter ? 2 : sizeof(escape));
        }
        shown = next;
    }
    write(shown, static_cast<size_t>(end - shown));
}

// Returns the printable form of text.
inline std::string printable(const std::string& text, Lines lines)
{
    std::string result;
    writePrintable(text.c_str(), text.size(), lines,
                   [&result](const char* bytes, size_t count) { result.append(bytes, count); });
    return result;
}
