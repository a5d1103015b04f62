// A text that is built without memory from malloc, so that it can be built inside malloc and in a signal handler.
//
// Addresses in it are tokens, which the tool replaces by what it finds in the process:
//
//   {code 0x55d0c01234}   a place in the program: function, source file and line
//   {text 0x55d0c05678}   the NUL-terminated text at this address
//   {name 12}             the source name whose number (in a 32-bit build, whose address) stands in a header
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace watch {

class Message {
public:
    const char* text() const { return m_text; }
    size_t length() const { return m_length; }

    Message& add(const char* text)
    {
        for (; text && *text; ++text) {
            _put(*text);
        }
        return *this;
    }

    // At most 31 characters: the name of a bank in its record, which a stray write may have damaged.
    Message& addBankName(const char* name)
    {
        for (int i = 0; i < 31 && name[i] != '\0'; ++i) {
            const bool isPlain = name[i] >= ' ' && name[i] != '"' && name[i] != '{' && name[i] != 127;
            _put(isPlain ? name[i] : '?');
        }
        return *this;
    }

    Message& add(unsigned long number)
    {
        char digits[24];
        int count = 0;
        do {
            digits[count++] = static_cast<char>('0' + number % 10);
            number /= 10;
        } while (number != 0);
        while (count > 0) {
            _put(digits[--count]);
        }
        return *this;
    }
    Message& add(unsigned int number) { return add(static_cast<unsigned long>(number)); }
    Message& add(int number)
    {
        return number < 0 ? add("-").add(0ul - static_cast<unsigned long>(number))
                          : add(static_cast<unsigned long>(number));
    }

    Message& addHex(uintptr_t number)
    {
        add("0x");
        int shift = 0;
        while (shift + 4 < static_cast<int>(sizeof(number)) * 8 && number >> (shift + 4) != 0) {
            shift += 4;
        }
        for (; shift >= 0; shift -= 4) {
            _put("0123456789abcdef"[number >> shift & 15]);
        }
        return *this;
    }

    Message& addCode(const void* place)
    {
        return _token("code ").addHex(reinterpret_cast<uintptr_t>(place)).add("}");
    }
    Message& addText(const char* text) { return _token("text ").addHex(reinterpret_cast<uintptr_t>(text)).add("}"); }
    Message& addName(uintptr_t word) { return _token("name ").add(static_cast<unsigned long>(word)).add("}"); }

private:
    Message& _token(const char* kind) { return add("{").add(kind); }

    void _put(char character)
    {
        if (m_length + 1 < sizeof(m_text)) {
            m_text[m_length++] = character;
            m_text[m_length] = '\0';
        }
    }

    char m_text[4096] = ""; // a longer text is truncated
    size_t m_length = 0;
};

} // namespace watch
