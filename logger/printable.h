// Text that a terminal shows and does not obey. Header only: the log, macapi, core and the tools share it.
//
//     fprintf(stderr, "%s: can't be read\n", printable(path, Lines::Escape).c_str());
//
// A control character is shown as its bytes: an escape becomes "\x1B". Control characters are those of ASCII, DEL, those
// of Unicode (U+0080 to U+009F, in UTF-8), and the characters that turn the direction of text around or break lines
// (U+2028 to U+202E, U+2066 to U+2069). Every other byte of 0x80 and more stays: texts need not be UTF-8.
#pragma once

#include <stddef.h>
#include <string>

// The bytes of the control character that text begins with; 0 when it begins with none. Tab and line feed are none. text
// has size bytes.
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

// Writes a byte as "\x1B" to escape, without a NUL behind.
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
    Keep,  // tabs, line feeds and backslashes stay as they are
    Escape // they become "\t", "\n" and "\\": the text is one line, and can be told from it
};

// The letter behind the backslash that stands for this one; 0 for one that has none.
inline char lineEscape(char letter, Lines lines)
{
    const char escape = letter == '\n' ? 'n' : letter == '\t' ? 't' : letter == '\\' ? '\\' : '\0';
    return lines == Lines::Escape ? escape : '\0';
}

// Hands the text on as a terminal may have it, in pieces: write(const char* bytes, size_t count). Takes no memory, and
// makes at most four bytes of one.
template <class Write>
void writePrintable(const char* text, size_t size, Lines lines, Write write)
{
    const char* const end = text + size;
    const char* shown = text; // the text up to here has been handed on
    while (text < end) {
        const char letter = lineEscape(*text, lines);
        const size_t control = controlLength(text, static_cast<size_t>(end - text));
        const char* const behind = text + (letter ? 1 : control);
        if (behind == text) {
            ++text;
            continue;
        }
        write(shown, static_cast<size_t>(text - shown));
        for (; text < behind; ++text) {
            char escape[4] = {'\\', letter};
            if (!letter) {
                escapeByte(*text, escape);
            }
            write(escape, letter ? 2 : sizeof(escape));
        }
        shown = behind;
    }
    write(shown, static_cast<size_t>(end - shown));
}

inline std::string printable(const std::string& text, Lines lines)
{
    std::string result;
    writePrintable(text.c_str(), text.size(), lines,
                   [&result](const char* bytes, size_t count) { result.append(bytes, count); });
    return result;
}
