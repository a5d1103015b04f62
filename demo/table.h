// A table of texts, with columns as wide as what stands in them.
#pragma once

#include <string>
#include <vector>

// The columns a UTF-8 text takes on a terminal: one for each code point. The demo's languages have no wider ones.
size_t ColumnsOf(const std::string& text);

class Table {
public:
    explicit Table(const char* alignment) : m_alignment(alignment) {} // a letter for each column, 'l' or 'r'

    // Cells may have several lines; those with fewer than their neighbours stand at the bottom.
    void add(const std::vector<std::string>& cells);
    void print() const;

private:
    std::string m_alignment;
    std::vector<std::vector<std::string>> m_rows;
};
