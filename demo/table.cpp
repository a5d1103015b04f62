#include "demo/table.h"

#include <algorithm>
#include <stdio.h>

static const char sc_gap[] = "  ";

size_t ColumnsOf(const std::string& text)
{
    return static_cast<size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xc0) != 0x80; }));
}

// Removes the last line from text and returns it.
static std::string takeLastLine(std::string* text)
{
    const size_t end = text->rfind('\n');
    const std::string line = end == std::string::npos ? *text : text->substr(end + 1);
    text->resize(end == std::string::npos ? 0 : end);
    return line;
}

void Table::add(const std::vector<std::string>& cells)
{
    std::vector<std::string> above = cells;
    std::vector<std::string> row;
    bool hasMore = false;
    for (std::string& cell : above) {
        row.push_back(takeLastLine(&cell));
        hasMore = hasMore || !cell.empty();
    }
    if (hasMore) {
        add(above);
    }
    m_rows.push_back(row);
}

void Table::print() const
{
    std::vector<size_t> widths(m_alignment.size());
    for (const auto& row : m_rows) {
        for (size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], ColumnsOf(row[column]));
        }
    }
    for (const auto& row : m_rows) {
        std::string line;
        for (size_t column = 0; column < row.size(); ++column) {
            const std::string blanks(widths[column] - ColumnsOf(row[column]), ' ');
            line += column == 0 ? "" : sc_gap;
            line += m_alignment[column] == 'l' ? row[column] + blanks : blanks + row[column];
        }
        line.resize(line.find_last_not_of(' ') + 1);
        printf("%s\n", line.c_str());
    }
}
