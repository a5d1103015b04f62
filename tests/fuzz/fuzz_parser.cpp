// Every reader of the parser in any order, over any text in a block of exactly its size.
//
// The first byte of an input is a count of calls; as many bytes name them, and the rest is the text. The calls are
// made over and over, until a round finds no line.
#include "core/parser.h"

#include "logger/logger.h"

#include <memory>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <vector>

// Messages have to be good enough to be printed.
__attribute__((format(printf, 2, 3))) void owLogger::log(int level, const char* format, ...)
{
    char text[256];
    va_list args;
    va_start(args, format);
    const int length = vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    if (level != 3 || length < 0 || format[strlen(format) - 1] != '\f') {
        abort();
    }
}

// A text, its parser, and outputs that are exactly large enough.
class Subject {
public:
    Subject(const uint8_t* text, size_t size)
        : m_size(size), m_text(new char[size + 1]), m_word(new char[size + 2]), m_parser(terminated(text))
    {
    }

    // True when it found a line.
    bool call(uint8_t which);

private:
    char* terminated(const uint8_t* text)
    {
        if (m_size > 0) {
            memcpy(m_text.get(), text, m_size);
        }
        m_text[m_size] = '\0';
        return m_text.get();
    }

    // Tokens and strings lie in the text.
    void keep(char* token)
    {
        if (token && (token < m_text.get() || token + strlen(token) > m_text.get() + m_size)) {
            abort();
        }
        m_token = token;
    }

    size_t m_size;
    std::unique_ptr<char[]> m_text;
    std::unique_ptr<char[]> m_word;
    Parser m_parser;
    const char* m_token = nullptr; // the last one
};

bool Subject::call(uint8_t which)
{
    Parser& parser = m_parser;
    char* word = m_word.get();
    int i, j, k;
    float f, g;
    signed char int8;
    short int16;
    unsigned int uint32;
    long long int64;
    bool boolean;
    switch (which % 42) {
    case 0:
    case 1:
        return parser.ParseLine();
    case 2:
        keep(parser.GetToken(" "));
        break;
    case 3:
        keep(parser.GetString());
        break;
    case 4:
        keep(parser.GetToken(","));
        break;
    case 5:
        keep(parser.GetToken(""));
        break;
    case 6:
        keep(parser.GetToken("\n=\""));
        break;
    case 7:
        parser.GetEqualsToken();
        break;
    case 8:
        parser.GetOpenBrace();
        break;
    case 9:
        parser.GetCloseBrace();
        break;
    case 10:
        parser.reset();
        break;
    case 11:
        return parser.ParseString(word);
    case 12:
        return parser.ParseChar(word);
    case 13:
        return parser.ParseUTF8(reinterpret_cast<unsigned char*>(word));
    case 14:
        return parser.ParseInteger(&i);
    case 15:
        return parser.ParseInteger2(&i, &j);
    case 16:
        return parser.ParseInteger2x(&i, &j);
    case 17:
        return parser.ParseInteger3(&i, &j, &k);
    case 18:
        return parser.ParseFloat(&f);
    case 19:
        return parser.ParseFloat2(&f, &g);
    case 20:
        return parser.ParseFloat2x(&f, &g);
    case 21:
        parser.GetFloat(&f);
        break;
    case 22:
        parser.GetFloat2(&f, &g);
        break;
    case 23:
        parser.GetInt(&i);
        break;
    case 24:
        parser.GetInt2(&i, &j);
        break;
    case 25:
        parser.GetInt3(&i, &j, &k);
        break;
    case 26:
        parser.GetBoolean();
        break;
    case 27:
        parser.ParamEqualsInt8(m_token, "a", &int8);
        break;
    case 28:
        parser.ParamEqualsInt16(m_token, "a", &int16);
        break;
    case 29:
        parser.ParamEqualsInt32(m_token, "a", &i);
        break;
    case 30:
        parser.ParamEqualsUInt32(m_token, m_token, &uint32);
        break;
    case 31:
        parser.ParamEqualsInt64(m_token, m_token, &int64);
        break;
    case 32:
        parser.ParamEqualsFloat32(m_token, "a", &f);
        break;
    case 33:
        parser.ParamEqualsInt32_2(m_token, m_token, &i, &j);
        break;
    case 34:
        parser.ParamEqualsInt32_2x(m_token, m_token, &i, &j);
        break;
    case 35:
        parser.ParamEqualsFloat32_2(m_token, m_token, &f, &g);
        break;
    case 36:
        parser.ParamEqualsFloat32_2x(m_token, m_token, &f, &g);
        break;
    case 37:
        parser.ParamEqualsBoolean(m_token, m_token, &boolean);
        break;
    case 38: {
        std::unique_ptr<char[]> text(new char[3]);
        parser.ParamEqualsString(m_token, m_token, text.get(), 3);
        break;
    }
    case 39:
        parser.ParamEqualsString(m_token, "a", nullptr, 0);
        break;
    case 40:
        parser.ParamEqualsString(m_token, m_token, word, static_cast<unsigned int>(m_size + 2));
        break;
    case 41:
        parser.ParamEqualsInt32("a", "A", &i);
        break;
    }
    return false;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0) {
        return 0;
    }
    const size_t count = data[0] < size - 1 ? data[0] : size - 1;
    const uint8_t* calls = data + 1;
    Subject subject(calls + count, size - 1 - count);
    bool found = true;
    for (int round = 0; found && round < 100; ++round) { // a reset among the calls finds lines for ever
        found = false;
        for (size_t i = 0; i < count; ++i) {
            found |= subject.call(calls[i]);
        }
    }
    return 0;
}
