#include "tools/core-config/configtext.h"

#include <algorithm>
#include <string.h>

namespace config {

ConfigText::ConfigText(std::string bytes) : m_bytes(std::move(bytes)), m_size(strlen(m_bytes.c_str()))
{
    for (size_t begin = 0; begin < m_size;) {
        const void* lineFeed = memchr(&m_bytes[begin], '\n', m_size - begin);
        size_t end = lineFeed ? static_cast<size_t>(static_cast<const char*>(lineFeed) - m_bytes.data()) : m_size;
        const size_t next = end + (lineFeed != nullptr);
        while (end > begin && m_bytes[end - 1] == '\r') {
            --end;
        }
        m_lines.push_back({begin, end, next});
        begin = next;
    }
}

size_t ConfigText::lineOf(size_t place) const
{
    const auto after = std::upper_bound(m_lines.begin(), m_lines.end(), place,
                                        [](size_t value, const Line& line) { return value < line.begin; });
    return after == m_lines.begin() ? 0 : static_cast<size_t>(after - m_lines.begin()) - 1;
}

// Returns the place after the closing quote; 0 when the line has none. begin is after the opening quote.
static size_t endOfString(const char* bytes, size_t begin, size_t end)
{
    while (const void* quote = begin < end ? memchr(bytes + begin, '"', end - begin) : nullptr) {
        const size_t place = static_cast<size_t>(static_cast<const char*>(quote) - bytes);
        if (bytes[place - 1] != '\\') { // as Parser does, which looks at this one byte only
            return place + 1;
        }
        begin = place + 1;
    }
    return 0;
}

void ConfigText::wordsOf(size_t line, std::vector<Word>* words) const
{
    words->clear();
    const char* bytes = m_bytes.data();
    const size_t end = m_lines[line].end;
    for (size_t place = m_lines[line].begin; place < end;) {
        while (place < end && isBlank(bytes[place])) {
            ++place;
        }
        if (place == end || (bytes[place] == '/' && place + 1 < end && bytes[place + 1] == '/')) {
            return;
        }
        Word word = {place, end, bytes[place] == '"', true};
        if (word.isString) {
            const size_t closed = endOfString(bytes, place + 1, end);
            word.isClosed = closed != 0;
            word.end = closed ? closed : end;
        } else {
            while (place < end && bytes[place] != ' ') {
                ++place;
            }
            word.end = place;
        }
        words->push_back(word);
        place = word.end;
    }
}

std::string ConfigText::inside(const Word& word) const
{
    return m_bytes.substr(word.begin + 1, word.end - word.begin - 1 - word.isClosed);
}

} // namespace config
