// The parser and a simple model of it get the same random texts and the same random sequences of calls.
//
// The model is written for reading: a text is a std::string, a place in it an index, numbers are sscanf's, and each
// call does its work in the most obvious way. After each call both must have the same result, outputs and messages,
// and at the end the same bytes of the text. A second, smaller model is strtok itself.
#include "core/parser.h"

#include "file/file.h"
#include "tests/support/parser_fixture.h"
#include "tests/support/parser_readers.h"
#include "tests/support/rounds.h"
#include "tests/support/watched_log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdint.h>

static const size_t sc_none = std::string::npos;
static const char sc_spaces[] = " \t\n\v\f\r";

class Model {
public:
    explicit Model(const std::string& text) : m_text(text) {}

    const std::string& text() const { return m_text; }
    std::string takeMessages() { return std::exchange(m_messages, ""); }

    void reset()
    {
        m_cursor = 0;
        m_lineNumber = 0;
        m_readAgain = false;
    }

    bool parseLine()
    {
        // A line that is partly or wholly read again ends where it did, and what is in front of it are line feeds.
        size_t start, end;
        if (m_readAgain) {
            start = std::max(m_cursor, m_lineStart);
            end = m_lineEnd;
        } else if (!cut(m_cursor, "\n", &start, &end)) {
            m_position = sc_none;
            return false;
        } else {
            m_lineStart = start;
            m_lineEnd = end;
        }
        // One line feed and a line is the usual thing, a second line feed makes it the last line, and with more the
        // last characters in front of the line's end come once more.
        const size_t lineFeeds = start - m_cursor;
        m_readAgain = lineFeeds >= 3;
        m_cursor = lineFeeds < 2 ? inText(end + 1) : end - (lineFeeds - 2);

        m_position = trim(start, end, " \t");
        ++m_lineNumber;
        return true;
    }

    // The place of the token.
    size_t getToken(const std::string& delimiters)
    {
        if (m_position == sc_none) {
            return sc_none;
        }
        m_position = skip(m_position, " \t");
        size_t start, end;
        if (!cut(m_position, delimiters, &start, &end)) {
            return sc_none;
        }
        m_position = inText(m_position + (end - start) + 1);
        return start;
    }

    bool isToken(const char* mark)
    {
        const size_t token = getToken(" ");
        return token != sc_none && textAt(token) == mark;
    }

    size_t getString()
    {
        if (m_position == sc_none) {
            return sc_none;
        }
        while (at(m_position) && at(m_position) != '"') {
            ++m_position;
        }
        if (!at(m_position)) {
            return sc_none;
        }
        const size_t start = ++m_position;
        while (at(m_position) && (at(m_position) != '"' || at(m_position - 1) == '\\')) {
            ++m_position;
        }
        if (!at(m_position)) {
            return sc_none;
        }
        m_text[m_position++] = '\0';
        const std::string decoded = unescaped(textAt(start)) + '\0';
        m_text.replace(start, decoded.size(), decoded);
        return start;
    }

    // A reader of up to count bare numbers, of which so many are needed.
    template <typename Value>
    bool parseNumbers(Value* values, int needed, int count, const std::string& message)
    {
        const size_t line = valueLine(" \t");
        const int read = line == sc_none ? 0 : scan(textAt(line), count, values);
        return endValueLine(line, read >= needed, message);
    }

    bool parseString(std::string* word)
    {
        const size_t line = valueLine(" \t");
        return endValueLine(line, line != sc_none && scanWord(textAt(line), word), "Parser: expected string");
    }

    bool parseChar(std::string* letter)
    {
        const size_t line = valueLine("\t");
        const bool good = line != sc_none && at(line);
        if (good) {
            *letter = at(line);
        }
        return endValueLine(line, good, "Parser: expected 1 char");
    }

    bool parseUTF8(std::string* word)
    {
        const size_t line = valueLine("\t");
        bool good = false;
        if (line != sc_none && at(line) == ' ') {
            *word = " ";
            good = true;
        } else if (line != sc_none) {
            good = scanWord(textAt(line), word);
        }
        return endValueLine(line, good, "Parser: expected utf8 string");
    }

    template <typename Value>
    bool getNumbers(Value* values, int count, const std::string& message)
    {
        const bool good = m_position != sc_none && scan(textAt(m_position), count, values) == count;
        if (!good) {
            complainAboutLine(message);
        }
        return good;
    }

    bool getBoolean()
    {
        const size_t token = getToken(" ");
        if (token != sc_none && stricmp(textAt(token).c_str(), "true") == 0) {
            return true;
        }
        if (token == sc_none || stricmp(textAt(token).c_str(), "false") != 0) {
            m_messages += "3 ...Expected: true or false\f";
        }
        return false;
    }

    template <typename Value>
    bool paramEquals(const std::string& token, const std::string& name, Value* values, int needed, int count,
                     const char* form)
    {
        if (stricmp(token.c_str(), name.c_str()) != 0) {
            return false;
        }
        int read = 0;
        if (isToken("=")) {
            for (; read < count; ++read) {
                const size_t value = getToken(" ");
                if (value == sc_none || scan(textAt(value), 1, &values[read]) != 1) {
                    break;
                }
            }
        }
        if (read < needed) {
            complainAboutName(form, name);
        }
        return true;
    }

    bool paramEqualsBoolean(const std::string& token, const std::string& name, bool* value)
    {
        if (stricmp(token.c_str(), name.c_str()) != 0) {
            return false;
        }
        if (!isToken("=")) {
            complainAboutName("bool", name);
        } else {
            *value = getBoolean();
        }
        return true;
    }

    bool paramEqualsString(const std::string& token, const std::string& name, std::string* value, size_t size)
    {
        if (stricmp(token.c_str(), name.c_str()) != 0) {
            return false;
        }
        if (!isToken("=")) {
            complainAboutName("string", name);
            return true;
        }
        const size_t string = getString();
        if (string == sc_none) {
            complainAboutName("string", name);
            return false;
        }
        *value = textAt(string).substr(0, size - 1);
        return true;
    }

    // What a reader of numbers does, by its group.
    template <typename Value>
    bool readNumbers(const ParserReader& reader, const std::string& token, const std::string& name, Value* values)
    {
        const std::string message = std::string("Parser: expected ") + reader.argument;
        switch (reader.group) {
        case READER_VALUE_LINE:
            return parseNumbers(values, reader.required, reader.count, message);
        case READER_CURRENT_LINE:
            return getNumbers(values, reader.count, message);
        default:
            return paramEquals(token, name, values, reader.required, reader.count, reader.argument);
        }
    }

    bool readNumbers(const ParserReader&, const std::string& token, const std::string& name, bool* value)
    {
        return paramEqualsBoolean(token, name, value);
    }

    bool parseText(const ParserReader& reader, std::string* text)
    {
        if (reader.value == VALUE_UTF8) {
            return parseUTF8(text);
        }
        return reader.function == std::string("ParseChar") ? parseChar(text) : parseString(text);
    }

    // The text from here to the next NUL.
    std::string textAt(size_t place) const { return m_text.c_str() + place; }

private:
    char at(size_t place) const { return place < m_text.size() ? m_text[place] : '\0'; }
    size_t inText(size_t place) const { return std::min(place, m_text.size()); }
    static bool isIn(char letter, const std::string& set) { return set.find(letter) != sc_none; }

    size_t skip(size_t place, const std::string& set) const
    {
        while (at(place) && isIn(at(place), set)) {
            ++place;
        }
        return place;
    }

    // strtok.
    bool cut(size_t place, const std::string& delimiters, size_t* start, size_t* end)
    {
        *start = skip(place, delimiters);
        for (*end = *start; at(*end) && !isIn(at(*end), delimiters); ++*end) {
        }
        if (*end < m_text.size()) {
            m_text[*end] = '\0';
        }
        return *start != *end;
    }

    size_t trim(size_t start, size_t end, const std::string& blanks)
    {
        start = skip(start, blanks);
        if (!at(start)) {
            return sc_none;
        }
        if (m_text.compare(start, 2, "//") == 0) {
            m_text[start] = '\0';
            return start;
        }
        while (end > start && isIn(at(end - 1), "\r\n")) {
            m_text[--end] = '\0';
        }
        return start;
    }

    static std::string unescaped(const std::string& text)
    {
        const std::string letters = "abfnrtv\"'\\", bytes = "\a\b\f\n\r\t\v\"'\\";
        std::string result;
        for (size_t i = 0; i < text.size(); ++i) {
            result += text[i];
            if (text[i] == '\\' && ++i < text.size() && isIn(text[i], letters)) {
                result.back() = bytes[letters.find(text[i])];
            }
        }
        return result;
    }

    static bool scanOne(const char* text, float* value, int* length)
    {
        return sscanf(text, "%f%n", value, length) == 1;
    }
    static bool scanOne(const char* text, unsigned int* value, int* length)
    {
        unsigned long long number;
        const bool good = sscanf(text, "%llu%n", &number, length) == 1;
        *value = good ? static_cast<unsigned int>(number) : *value;
        return good;
    }
    template <typename Value> // all the others
    static bool scanOne(const char* text, Value* value, int* length)
    {
        long long number;
        const bool good = sscanf(text, "%lld%n", &number, length) == 1;
        *value = good ? static_cast<Value>(number) : *value;
        return good;
    }

    // The count of values that are there.
    template <typename Value>
    static int scan(const std::string& text, int count, Value* values)
    {
        const char* place = text.c_str();
        int length;
        for (int i = 0; i < count; ++i, place += length) {
            if (!scanOne(place, &values[i], &length)) {
                return i;
            }
        }
        return count;
    }

    static bool scanWord(const std::string& text, std::string* word)
    {
        const size_t start = text.find_first_not_of(sc_spaces);
        if (start == sc_none) {
            return false;
        }
        *word = text.substr(start, text.find_first_of(sc_spaces, start) - start);
        return true;
    }

    size_t valueLine(const std::string& blanks)
    {
        ++m_lineNumber;
        size_t start, end;
        return cut(m_cursor, "\n", &start, &end) ? trim(start, end, blanks) : sc_none;
    }

    bool endValueLine(size_t line, bool good, const std::string& message)
    {
        if (good) {
            m_cursor = inText(m_cursor + textAt(line).size() + 2);
            m_readAgain = m_readAgain && m_cursor < m_lineEnd;
        } else {
            complainAboutLine(message);
        }
        return good;
    }

    void complainAboutLine(const std::string& message)
    {
        m_messages += "3 " + message + " on line " + std::to_string(m_lineNumber) + ".\f";
    }

    void complainAboutName(const std::string& form, const std::string& name)
    {
        m_messages += "3 ...expected: \"^C00FF00" + name + " = " + form + "^c\"\f";
    }

    std::string m_text; // with the NULs of its cuts
    size_t m_cursor = 0;
    size_t m_position = sc_none;
    int m_lineNumber = 0;
    bool m_readAgain = false; // the cursor is in front of the end of the last line
    size_t m_lineStart = 0;
    size_t m_lineEnd = 0;
    std::string m_messages;
};

class Random {
public:
    explicit Random(uint32_t seed) : m_state(seed) {}

    uint32_t below(uint32_t limit)
    {
        m_state = m_state * 1664525u + 1013904223u;
        return static_cast<uint32_t>((static_cast<uint64_t>(m_state) * limit) >> 32);
    }

private:
    uint32_t m_state;
};

// What texts are made of. No piece makes a number that only sscanf reads, or only the parser: there is neither an
// "e" nor an "x" behind a digit, and no integer comes near 64 bits.
static const char* const sc_pieces[] = {"a",
                                        "B2",
                                        "name",
                                        "Name ",
                                        " ",
                                        "  ",
                                        "\t",
                                        "=",
                                        " = ",
                                        "==",
                                        "{",
                                        "}",
                                        "\"",
                                        "\"",
                                        "\\",
                                        "\\\"",
                                        "\\n",
                                        "\\n",
                                        "\\q",
                                        "//",
                                        "/",
                                        "12",
                                        "-3",
                                        "1.5",
                                        "+",
                                        "true",
                                        ".",
                                        "5 ",
                                        "no",
                                        ",",
                                        "\xc3",
                                        "\xa9z",
                                        "\r",
                                        "\v",
                                        "False",
                                        "\xef\xbb\xbf",
                                        "\"k\" = \"v w\""};

static std::string randomText(Random& random)
{
    const char* const ends[] = {"\n", "\r\n", "\n\n", "\r\n\r\n", "\n\n\n\n"};
    const uint32_t kind = random.below(6); // bare line feeds, both, any ...
    const uint32_t longest = 1 + random.below(7);
    std::string text;
    if (random.below(3) == 0) {
        text.append(random.below(7), '\n');
    }
    for (uint32_t lines = random.below(9); lines > 0; --lines) {
        for (uint32_t pieces = random.below(longest + 1); pieces > 0; --pieces) {
            text += sc_pieces[random.below(sizeof(sc_pieces) / sizeof(sc_pieces[0]))];
        }
        text += kind < 2 ? ends[kind] : kind == 2 ? ends[random.below(2)] : ends[random.below(5)];
        if (kind == 4) {
            text.append(random.below(14), '\n');
        }
    }
    if (random.below(3) == 0) {
        text.resize(text.size() - std::min<size_t>(text.size(), random.below(4)));
    }
    return text;
}

// Both sides of every call.
class Pair {
public:
    Pair(const std::string& text, uint32_t seed) : m_random(seed), m_parser(text), m_model(text) {}

    // One call to both. Their results, outputs and messages have to be the same.
    void call(const ParserReader& reader);

    // Any reader; every other time one of those that most lines are read with.
    const ParserReader& anyReader()
    {
        static const char* const s_usual[] = {"ParseLine", "ParseLine", "ParseLine", "GetToken",
                                              "GetToken",  "GetToken",  "GetString", "GetEqualsToken"};
        return m_random.below(2) ? *readerNamed(s_usual[m_random.below(8)])
                                 : sc_parserReaders[m_random.below(sc_parserReaderCount)];
    }

    void expectSameText() const { ASSERT_EQ(m_parser.bytes(), m_model.text()); }

private:
    ReaderCall callOf(void* values, unsigned int size = 0)
    {
        return {m_parser, m_delimiters, m_word.c_str(), m_name.c_str(), values, size, nullptr};
    }

    void result(const ParserReader& reader, bool expected)
    {
        ReaderCall call = callOf(nullptr);
        ASSERT_EQ(reader.read(call), expected);
    }

    // expected is the place in the text of what the reader returns.
    void place(const ParserReader& reader, size_t expected)
    {
        ReaderCall call = callOf(nullptr);
        reader.read(call);
        ASSERT_EQ(call.text ? static_cast<size_t>(call.text - m_parser.begin()) : sc_none, expected);
        if (call.text) {
            m_word = call.text;
            ASSERT_EQ(m_word, m_model.textAt(expected));
        }
    }

    template <typename Value>
    void numbers(const ParserReader& reader)
    {
        const Value untouched = static_cast<Value>(77);
        Value reals[3] = {untouched, untouched, untouched};
        Value expecteds[3] = {untouched, untouched, untouched};
        ReaderCall call = callOf(reals);
        ASSERT_EQ(reader.read(call), m_model.readNumbers(reader, m_word, m_name, expecteds));
        ASSERT_TRUE(std::equal(reals, reals + 3, expecteds)) << reals[0] << " and not " << expecteds[0];
    }

    void text(const ParserReader& reader)
    {
        const unsigned int size = 1 + m_random.below(6); // of a named string
        std::vector<char> real(m_parser.bytes().size() + 6, '-');
        std::string expected;
        ReaderCall call = callOf(real.data(), size);
        const bool good = reader.read(call);
        ASSERT_EQ(good, reader.group == READER_NAMED ? m_model.paramEqualsString(m_word, m_name, &expected, size)
                                                     : m_model.parseText(reader, &expected));
        if (good) {
            ASSERT_EQ(std::string(real.data(), expected.size()), expected);
        }
    }

    void values(const ParserReader& reader);

    Random m_random;
    TextParser m_parser;
    Model m_model;
    std::string m_word; // the token or string that was read last, for the named readers
    std::string m_name; // the parameter that this call asks for
    const char* m_delimiters = "";
};

void Pair::values(const ParserReader& reader)
{
    switch (reader.value) {
    case VALUE_INT8:
        return numbers<signed char>(reader);
    case VALUE_INT16:
        return numbers<short>(reader);
    case VALUE_INT32:
        return numbers<int>(reader);
    case VALUE_UINT32:
        return numbers<unsigned int>(reader);
    case VALUE_INT64:
        return numbers<long long>(reader);
    case VALUE_FLOAT:
        return numbers<float>(reader);
    case VALUE_BOOLEAN:
        return numbers<bool>(reader);
    case VALUE_TEXT:
    case VALUE_UTF8:
        return text(reader);
    case VALUE_NONE:
        FAIL() << reader.function << " stores nothing";
    }
}

void Pair::call(const ParserReader& reader)
{
    const char* const delimiters[] = {",", ", ", "=", "", "\"\\", "\n "};
    const char* const names[] = {"name", "NAME", "a"};
    m_name = m_random.below(4) ? m_word : names[m_random.below(3)];
    switch (reader.group) {
    case READER_LINE:
        result(reader, m_model.parseLine());
        break;
    case READER_TOKEN:
        m_delimiters = strcmp(reader.argument, " ") == 0 ? " " : delimiters[m_random.below(6)];
        place(reader, m_model.getToken(m_delimiters));
        break;
    case READER_STRING:
        place(reader, m_model.getString());
        break;
    case READER_MARK:
        result(reader, m_model.isToken(reader.argument));
        break;
    case READER_RESET:
        if (m_random.below(4) == 0) {
            m_model.reset();
            result(reader, false);
        }
        break;
    case READER_BOOLEAN:
        result(reader, m_model.getBoolean());
        break;
    case READER_VALUE_LINE:
    case READER_CURRENT_LINE:
    case READER_NAMED:
        values(reader);
        break;
    }
    ASSERT_EQ(takeMessages(), m_model.takeMessages());
}

TEST(ParserModel, AgreesOnRandomCallsOverRandomTexts)
{
    Random random(1);
    for (int i = 0; i < rounds(200000); ++i) {
        const std::string text = randomText(random);
        Pair pair(text, random.below(UINT32_MAX));
        for (uint32_t calls = random.below(60); calls > 0; --calls) {
            const ParserReader& reader = pair.anyReader();
            pair.call(reader);
            ASSERT_FALSE(HasFatalFailure())
                << reader.function << ", text " << i << ": " << testing::PrintToString(text);
        }
        pair.expectSameText();
        ASSERT_FALSE(HasFatalFailure()) << "text " << i << ": " << testing::PrintToString(text);
    }
}

// ParseLine as it is described, word for word, over strtok, for lines that nobody cuts meanwhile.
static std::vector<std::string> linesByStrtok(std::string text)
{
    text += '\0'; // strtok's caller steps over the end of the text when its last line has no line feed
    std::vector<std::string> lines;
    char* cursor = text.data();
    for (;;) {
        if (*cursor == '\n') {
            ++cursor;
        }
        char* line = strtok(cursor, "\n");
        if (!line) {
            return lines;
        }
        cursor += strlen(line) + 1;
        lines.push_back(line);
    }
}

TEST(ParserModel, FindsTheLinesThatStrtokFinds)
{
    Random random(2);
    for (int i = 0; i < rounds(200000); ++i) {
        std::string text;
        for (uint32_t runs = random.below(6); runs > 0; --runs) {
            text.append(random.below(12), '\n');
            for (uint32_t length = random.below(8); length > 0; --length) {
                text += static_cast<char>('a' + random.below(26));
            }
        }
        ASSERT_EQ(linesOf(text), linesByStrtok(text)) << testing::PrintToString(text);
    }
}

// Any byte but those that cut, trim or begin a comment.
static std::string randomBytes(Random& random, size_t count)
{
    std::string text;
    while (text.size() < count) {
        const char byte = static_cast<char>(1 + random.below(random.below(2) ? 255 : 40)); // many of the low ones
        text += strchr(" \t\r\n/", byte) ? '_' : byte;
    }
    return text;
}

TEST(ParserModel, FindsLinesOfAnyBytesAndLengths)
{
    Random random(3);
    for (int i = 0; i < 100000; ++i) {
        std::string text;
        for (uint32_t lines = random.below(5); lines > 0; --lines) {
            text += randomBytes(random, 1 + random.below(40)) + (random.below(2) ? "\r\n" : "\n");
        }
        text.resize(text.size() -
                    std::min<size_t>(text.size(), random.below(2))); // with and without the last line feed
        std::vector<std::string> lines = linesByStrtok(text);
        for (std::string& line : lines) {
            line.resize(line.size() - (line.back() == '\r'));
        }
        ASSERT_EQ(linesOf(text), lines) << testing::PrintToString(text);
    }
}

TEST(ParserModel, FindsTokensOfAnyBytesAndLengths)
{
    Random random(4);
    for (int i = 0; i < 100000; ++i) {
        std::vector<std::string> tokens;
        std::string line;
        for (uint32_t left = random.below(6); left > 0; --left) {
            tokens.push_back(randomBytes(random, 1 + random.below(20)));
            line += tokens.back() + (left > 1 ? std::string(1 + random.below(3), ' ') : "");
        }
        TextParser parser(line + (random.below(2) ? "\r\n" : ""));
        parser.ParseLine();
        for (const std::string& token : tokens) {
            ASSERT_EQ(parser.token(), token) << testing::PrintToString(line);
        }
        ASSERT_EQ(parser.token(), "(none)") << testing::PrintToString(line);
    }
}
