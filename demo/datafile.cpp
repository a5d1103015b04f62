// 1. The parser reads the values. This file also checks the text of each value, because the parser's readers accept
//    "12 monkeys" as 12, and every word except "true" as false.
// 2. A number has at most nine characters, so every number fits into an int.
// 3. Each line ends in carriage return and line feed. The parser counts every such line, also an empty one, so its
//    line numbers are the same as those in a text editor.
#include "demo/datafile.h"

#include "file/file.h"

#include <algorithm>
#include <sstream>
#include <string.h>
#include <type_traits>

static const unsigned long sc_longest = 1ul << 20; // bytes of a file
static const size_t sc_longestNumber = 9;          // characters
static const size_t sc_longestString = 255;        // bytes
static const unsigned int sc_largestWord = 999999999;
static const char sc_integer[] = "+-0123456789";
static const char sc_decimal[] = "+-.0123456789";

// Returns the text of the file; an empty text when the file can't be read or has more than sc_longest bytes.
static std::string readText(const std::string& path)
{
    std::string text;
    if (_BkzFileType_s* file = File::open(path.c_str(), "rb")) {
        const unsigned long length = File::getLength(file);
        text.resize(length <= sc_longest ? length : 0);
        if (File::read(&text[0], text.size(), 1, file) != 1) {
            text.clear();
        }
        File::close(file);
    }
    return text;
}

DataFile::DataFile(const std::string& path) : m_path(path), m_text(readText(path)), m_parser(&m_text[0])
{
    if (m_text.empty()) {
        m_fault.path = path;
    }
    std::istringstream stream(m_text);
    for (std::string line; isGood() && std::getline(stream, line);) {
        m_lines.push_back(line);
        m_line = m_lines.size();
        if (line.empty() || line.back() != '\r' || line.find('\0') != std::string::npos) {
            blame("CR LF");
        } else {
            m_lines.back().pop_back();
        }
    }
    m_line = 0;
}

// Goes to the next line with at least one word outside comments. Returns false at the end of the file.
bool DataFile::takeLine()
{
    m_words.clear();
    m_tried.clear();
    while (isGood() && m_parser.ParseLine()) {
        std::istringstream stream(m_lines[m_line++]);
        for (std::string word; stream >> word && word.compare(0, 2, "//") != 0;) {
            m_words.push_back(word);
        }
        if (!m_words.empty()) {
            return true;
        }
    }
    return false;
}

bool DataFile::nextBlock(const char* name)
{
    if (!takeLine()) {
        return false;
    }
    m_token = m_parser.GetToken(" ");
    if (!beginBlock(name)) {
        blame(name);
    }
    return isGood();
}

bool DataFile::beginBlock(const char* name)
{
    if (!isLine(name)) {
        return false;
    }
    if (m_words.size() != 1) {
        blame(name);
    } else if (!takeLine() || !m_parser.GetOpenBrace() || m_words.size() != 1) {
        blame("{");
    }
    return true;
}

bool DataFile::nextLine()
{
    if (!takeLine()) {
        blame("}");
        return false;
    }
    if (m_words.size() == 1 && m_words[0] == "}") {
        return !m_parser.GetCloseBrace();
    }
    m_token = m_parser.GetToken(" ");
    return true;
}

bool DataFile::isLine(const char* name)
{
    m_tried += (m_tried.empty() ? "" : " | ") + std::string(name);
    return stricmp(m_token, name) == 0;
}

// Records a fault when good is false. Always returns true, because the line has this name.
bool DataFile::expect(bool good, const char* name, const std::string& form)
{
    if (!good) {
        blame(std::string(name) + " = " + form);
    }
    return true;
}

static std::string formOf(const std::string& type, int low, int high)
{
    return type + ", " + std::to_string(low) + ".." + std::to_string(high);
}

// Reads one or two numbers. types has the type of each number, for the message of a fault; a number whose type is in
// brackets may be missing. read calls the parser.
template <class Number, class Read>
bool DataFile::readNumbers(const char* name, const std::string& types, Number low, Number high,
                           const std::vector<Number*>& values, Read read)
{
    const bool isOptional = types.find('[') != std::string::npos;
    Number numbers[2] = {low - 1, isOptional ? *values[1] : low - 1}; // low - 1 is out of range
    if (!isLine(name) || !read(numbers)) {
        return false;
    }
    const bool isWhole = std::is_integral_v<Number>;
    const size_t count = m_words.size() - std::min<size_t>(m_words.size(), 2); // after the name and "="
    bool good = count <= values.size() && count >= values.size() - isOptional;
    for (size_t index = 0; index < values.size(); ++index) {
        good = good && numbers[index] >= low && numbers[index] <= high;
        if (good && index < count) {
            const std::string& word = m_words[2 + index];
            good = word.size() <= sc_longestNumber &&
                   word.find_first_not_of(isWhole ? sc_integer : sc_decimal) == std::string::npos;
        }
    }
    good = good && (!isWhole || values.size() == 1 || numbers[1] >= numbers[0]);
    for (size_t index = 0; good && index < values.size(); ++index) {
        *values[index] = numbers[index];
    }
    return expect(good, name, formOf(types, static_cast<int>(low), static_cast<int>(high)));
}

bool DataFile::readInt(const char* name, int low, int high, int* value)
{
    return readNumbers<int>(name, "int32", low, high, {value},
                            [&](int* number) { return m_parser.ParamEqualsInt32(m_token, name, number); });
}

bool DataFile::readInts(const char* name, int low, int high, int* first, int* second)
{
    return readNumbers<int>(name, "int32 int32", low, high, {first, second}, [&](int* numbers) {
        return m_parser.ParamEqualsInt32_2(m_token, name, numbers, numbers + 1);
    });
}

bool DataFile::readWord(const char* name, unsigned int* value)
{
    return readNumbers<unsigned int>(name, "uint32", 0, sc_largestWord, {value}, [&](unsigned int* number) {
        return m_parser.ParamEqualsUInt32(m_token, name, number);
    });
}

bool DataFile::readFloat(const char* name, float low, float high, float* value)
{
    return readNumbers<float>(name, "float32", low, high, {value},
                              [&](float* number) { return m_parser.ParamEqualsFloat32(m_token, name, number); });
}

bool DataFile::readFloats(const char* name, float low, float high, float* first, float* second)
{
    return readNumbers<float>(name, "float32 float32", low, high, {first, second}, [&](float* numbers) {
        return m_parser.ParamEqualsFloat32_2(m_token, name, numbers, numbers + 1);
    });
}

bool DataFile::readRange(const char* name, float low, float high, float* first, float* second)
{
    return readNumbers<float>(name, "float32 [float32]", low, high, {first, second}, [&](float* numbers) {
        return m_parser.ParamEqualsFloat32_2x(m_token, name, numbers, numbers + 1);
    });
}

bool DataFile::readBool(const char* name, bool* value)
{
    bool truth = false;
    if (!isLine(name) || !m_parser.ParamEqualsBoolean(m_token, name, &truth)) {
        return false;
    }
    const bool good = m_words.size() == 3 && stricmp(m_words[2].c_str(), truth ? "true" : "false") == 0;
    *value = good ? truth : *value;
    return expect(good, name, "true | false");
}

bool DataFile::readString(const char* name, std::string* text, size_t longest)
{
    char buffer[sc_longestString + 1] = "";
    if (!isLine(name)) {
        return false;
    }
    const bool isRead = m_parser.ParamEqualsString(m_token, name, buffer, sizeof(buffer));
    const char* rest = isRead ? m_parser.GetToken(" ") : nullptr;
    const size_t length = strlen(buffer);
    const bool good = length > 0 && length <= longest && (!rest || strncmp(rest, "//", 2) == 0);
    *text = good ? buffer : *text;
    return expect(good, name, formOf("string", 1, static_cast<int>(longest)));
}

bool DataFile::readChoice(const char* name, const std::vector<const char*>& choices, int* choice)
{
    std::string text;
    if (!readString(name, &text, sc_longestString)) {
        return false;
    }
    std::string form;
    for (size_t index = 0; index < choices.size(); ++index) {
        if (text == choices[index]) {
            *choice = static_cast<int>(index);
            return true;
        }
        form += (index == 0 ? "\"" : " | \"") + std::string(choices[index]) + "\"";
    }
    return expect(false, name, form);
}

bool DataFile::readColour(const char* name, unsigned int* colour)
{
    std::string text;
    if (!readString(name, &text, sc_longestString)) {
        return false;
    }
    const bool good = text.size() == 6 && text.find_first_not_of("0123456789abcdef") == std::string::npos;
    *colour = good ? static_cast<unsigned int>(std::stoul(text, nullptr, 16)) : *colour;
    return expect(good, name, "string, 000000..ffffff");
}

bool DataFile::readPoints(const char* name, std::vector<Point>* points)
{
    std::string text;
    if (!readString(name, &text, sc_longestString)) {
        return false;
    }
    std::istringstream numbers(text);
    std::vector<Point> read;
    for (Point point; numbers >> point.x >> point.y;) {
        read.push_back(point);
    }
    const bool good = read.size() >= 3 && numbers.eof();
    points->assign(read.begin(), good ? read.end() : read.begin());
    return expect(good, name, "string, three points or more");
}

bool DataFile::refuseLine()
{
    blame(m_tried);
    return true;
}

void DataFile::require(bool given, const char* expected)
{
    if (!given) {
        blame(expected);
    }
}

void DataFile::blame(const std::string& expected)
{
    if (isGood()) {
        m_fault.path = m_path;
        m_fault.line = static_cast<unsigned int>(m_line);
        m_fault.expected = expected;
        const std::string line = m_line > 0 ? m_lines[m_line - 1] : "";
        m_fault.found = line.substr(std::min(line.find_first_not_of(" \t"), line.size()));
        for (char& letter : m_fault.found) { // control characters of a file must not reach the terminal
            letter = static_cast<unsigned char>(letter) < ' ' ? ' ' : letter;
        }
    }
}
