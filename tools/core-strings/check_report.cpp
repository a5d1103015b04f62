#include "tools/core-strings/check_report.h"

#include <algorithm>
#include <string.h>

Lines::Lines(const std::string& text)
{
    m_begins.push_back(0);
    for (size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 1)) {
        m_begins.push_back(at + 1);
    }
}

size_t Lines::lineOf(size_t offset) const
{
    return static_cast<size_t>(std::upper_bound(m_begins.begin(), m_begins.end(), offset) - m_begins.begin());
}

size_t Lines::columnOf(size_t offset) const
{
    return offset - m_begins[lineOf(offset) - 1] + 1;
}

void Report::add(bool isError, size_t offset, const std::string& what, const std::string& instead, const char* check)
{
    findings.push_back({name, lines.lineOf(offset), lines.columnOf(offset), isError, what, instead, check});
}

bool startsWith(const std::string& text, size_t at, const char* start)
{
    return text.compare(at, strlen(start), start) == 0;
}

std::string shown(const std::string& text)
{
    std::string escaped = encodeEscapes(text);
    if (escaped.size() > 60) {
        size_t length = 57;
        while (length > 0 && (escaped[length] & 0xc0) == 0x80) {
            --length; // not in the middle of a character
        }
        escaped = escaped.substr(0, length) + "...";
    }
    return '"' + escaped + '"';
}

std::string plural(size_t count, const char* noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}
