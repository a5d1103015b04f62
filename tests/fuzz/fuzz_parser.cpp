// Every reader of the parser in any order, over any text in a block of exactly its size.
//
// The first byte of an input is a count of calls. As many bytes follow, each the number of a call; the rest of the
// input is the text. The fuzzer makes the calls in turn, and again from the first one, until a round reads no line, and
// at most 400 calls in all.
//
//     0 to 38   the reader with this index in the table of tests/support/parser_readers.h
//     39 to 41  the calls at the end of Subject::call
//     42 ...    the same again: the number modulo 42
#include "core/parser.h"

#include "logger/logger.h"
#include "tests/fuzz/observe.h"
#include "tests/support/parser_readers.h"

#include <memory>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

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
    observeText(text);
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
        observeText(token);
    }

    size_t m_size;
    std::unique_ptr<char[]> m_text;
    std::unique_ptr<char[]> m_word;
    Parser m_parser;
    const char* m_token = nullptr; // the last one
};

static const unsigned int sc_calls = 42;
static_assert(sc_parserReaderCount == 39, "numbers 39 to 41 are in use: a new row gets the number 42");

// The bytes that the reader may write. For ParamEqualsString 3, so that most strings do not fit; readers of a line's
// whole text write to Subject::m_word.
static size_t sizeOf(const ParserReader& reader)
{
    const size_t sizes[] = {0,
                            sizeof(signed char),
                            sizeof(short),
                            sizeof(int),
                            sizeof(unsigned int),
                            sizeof(long long),
                            sizeof(float),
                            sizeof(bool),
                            3,
                            3};
    return reader.count * sizes[reader.value];
}

// Returns a block of exactly this size, so the address sanitizer sees a byte too many. The blocks of earlier calls are
// used again.
static char* blockOf(size_t size)
{
    static std::unique_ptr<char[]> s_blocks[3 * sizeof(long long) + 1];
    std::unique_ptr<char[]>& block = s_blocks[size];
    if (!block) {
        block.reset(new char[size]);
    }
    return block.get();
}

// These four calls ask for a parameter "a", which few texts have. The other calls ask for the name that the text has there.
static bool asksForA(unsigned int number)
{
    return number == 27 || number == 28 || number == 29 || number == 32;
}

// Observes numbers as numbers: their bytes depend on the host. A reader stores 0 to 3 values.
static void observeValues(const ParserReader& reader, const char* values)
{
    const size_t size = reader.count == 0 ? 0 : sizeOf(reader) / reader.count;
    for (int i = 0; i < reader.count; ++i) {
        int64_t number = 0;
        int8_t byte;
        int16_t half;
        int32_t word;
        switch (size) {
        case sizeof(byte):
            memcpy(&byte, values + i, size);
            number = byte;
            break;
        case sizeof(half):
            memcpy(&half, values + i * size, size);
            number = half;
            break;
        case sizeof(word):
            memcpy(&word, values + i * size, size);
            number = word;
            break;
        case sizeof(number):
            memcpy(&number, values + i * size, size);
            break;
        }
        observeNumber(number);
    }
}

bool Subject::call(uint8_t which)
{
    const unsigned int number = which % sc_calls;
    int value;
    switch (number) {
    case 39:
        m_parser.ParamEqualsString(m_token, "a", nullptr, 0);
        return false;
    case 40:
        m_parser.ParamEqualsString(m_token, m_token, m_word.get(), static_cast<unsigned int>(m_size + 2));
        return false;
    case 41:
        m_parser.ParamEqualsInt32("a", "A", &value);
        return false;
    }
    const ParserReader& reader = sc_parserReaders[number];
    const size_t size = sizeOf(reader);
    char* const values = blockOf(size);
    memset(values, 0, size);
    const bool wholeLine =
        reader.group == READER_VALUE_LINE && (reader.value == VALUE_TEXT || reader.value == VALUE_UTF8);
    ReaderCall call = {m_parser,
                       reader.argument,
                       m_token,
                       asksForA(number) ? "a" : m_token,
                       wholeLine ? m_word.get() : values,
                       static_cast<unsigned int>(size),
                       nullptr};
    const bool good = reader.read(call);
    observeNumber(good);
    observeValues(reader, values);
    if (reader.group == READER_TOKEN || reader.group == READER_STRING) {
        keep(call.text);
    }
    return good && (reader.group == READER_LINE || reader.group == READER_VALUE_LINE);
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
    for (size_t made = 0; found && made < 400; made += count) { // after a reset the lines are found again
        found = false;
        for (size_t i = 0; i < count; ++i) {
            found |= subject.call(calls[i]);
        }
    }
    return 0;
}
