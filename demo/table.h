// A table of texts. Each column is as wide as its widest cell.
#pragma once

#include <string>
#include <vector>

// The number of terminal columns of a UTF-8 text: one for each code point. The demo's languages have no wider
// letters.
size_t ColumnsOf(const std::string& text);

class Table {
public:
    explicit Table(const char* alignment) : m_alignment(alignment) {} // a letter for each column, 'l' or 'r'

    // A cell may have several lines. A cell with fewer lines than others of its row is aligned at the bottom.
    void add(const std::vector<std::string>& cells);
    void print() const;

private:
    std::string m_alignment;
    std::vector<std::vector<std::string>> m_rows;
};
