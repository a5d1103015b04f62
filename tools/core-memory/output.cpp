#include "tools/core-memory/output.h"

#include <algorithm>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

bool hasColours()
{
    const char* terminal = getenv("TERM");
    return isatty(STDOUT_FILENO) && !getenv("NO_COLOR") && terminal && strcmp(terminal, "dumb") != 0;
}

static std::string coloured(const std::string& text, const char* code)
{
    return hasColours() ? "\033[" + std::string(code) + "m" + text + "\033[0m" : text;
}

std::string bold(const std::string& text)
{
    return coloured(text, "1");
}

std::string red(const std::string& text)
{
    return coloured(text, "31");
}

std::string grouped(int64_t number)
{
    std::string digits = std::to_string(number);
    const int first = number < 0 ? 1 : 0;
    for (int place = static_cast<int>(digits.size()) - 3; place > first; place -= 3) {
        digits.insert(static_cast<size_t>(place), ",");
    }
    return digits;
}

std::string counted(uint64_t count, const char* noun)
{
    return grouped(static_cast<int64_t>(count)) + " " + noun + (count == 1 ? "" : "s");
}

std::string printable(const std::string& text)
{
    std::string result = text;
    for (char& character : result) {
        const unsigned char byte = static_cast<unsigned char>(character);
        character = byte < 0x20 || byte == 0x7f ? '?' : character;
    }
    return result;
}

void printJson(const Json& json)
{
    printf("%s\n", json.text(2).c_str());
}

std::string Table::_cell(const Json& cell, Kind kind) const
{
    if (cell.isNull()) {
        return kind == MOMENT ? "unknown" : "-";
    }
    if (kind == PERCENT) {
        char text[32];
        snprintf(text, sizeof(text), "%.1f %%", cell.asDouble() * 100);
        return text;
    }
    if (kind == NUMBER || kind == CHANGE || kind == MOMENT) {
        const int64_t number = cell.asInteger();
        return (kind == CHANGE && number > 0 ? "+" : "") + grouped(number);
    }
    return printable(cell.asText());
}

// Counts the characters of UTF-8, so that columns line up.
static size_t widthOf(const std::string& text)
{
    return static_cast<size_t>(
        std::count_if(text.begin(), text.end(), [](char character) { return (character & 0xc0) != 0x80; }));
}

void Table::printRows(size_t most, FILE* out) const
{
    Table first = *this;
    first.m_rows.resize(std::min(most, m_rows.size()));
    first.printText(out);
}

void Table::printTop(size_t most) const
{
    printRows(most == 0 ? m_rows.size() : most);
    if (most != 0 && m_rows.size() > most) {
        printf("... and %s more; --top 0 shows all\n", grouped(static_cast<int64_t>(m_rows.size() - most)).c_str());
    }
}

void Table::printText(FILE* out) const
{
    std::vector<std::vector<std::string>> lines(1);
    for (const Column& column : m_columns) {
        lines[0].push_back(column.title);
    }
    for (const auto& row : m_rows) {
        lines.emplace_back();
        for (size_t index = 0; index < m_columns.size(); ++index) {
            lines.back().push_back(_cell(row[index], m_columns[index].kind));
        }
    }
    std::vector<size_t> widths(m_columns.size());
    for (const auto& line : lines) {
        for (size_t index = 0; index < line.size(); ++index) {
            widths[index] = std::max(widths[index], widthOf(line[index]));
        }
    }
    for (size_t number = 0; number < lines.size(); ++number) {
        std::string text;
        for (size_t index = 0; index < m_columns.size(); ++index) {
            const std::string blanks(widths[index] - widthOf(lines[number][index]), ' ');
            const bool isText = m_columns[index].kind == TEXT;
            text += (index ? "  " : "") + (isText ? lines[number][index] + blanks : blanks + lines[number][index]);
        }
        text.erase(text.find_last_not_of(' ') + 1);
        fprintf(out, "%s\n", (number == 0 && out == stdout ? bold(text) : text).c_str());
    }
}

static std::string csvOf(const Json& cell)
{
    if (cell.isNull()) {
        return "";
    }
    if (!cell.isText()) {
        return cell.text();
    }
    std::string text = cell.asText();
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    for (size_t quote = text.find('"'); quote != std::string::npos; quote = text.find('"', quote + 2)) {
        text.insert(quote, "\"");
    }
    return '"' + text + '"';
}

void Table::printCsv() const
{
    for (size_t index = 0; index < m_columns.size(); ++index) {
        printf("%s%s", index ? "," : "", m_columns[index].title);
    }
    printf("\n");
    for (const auto& row : m_rows) {
        for (size_t index = 0; index < row.size(); ++index) {
            printf("%s%s", index ? "," : "", csvOf(row[index]).c_str());
        }
        printf("\n");
    }
}

Json Table::json() const
{
    Json rows = Json::array();
    for (const auto& row : m_rows) {
        Json object = Json::object();
        for (size_t index = 0; index < row.size(); ++index) {
            object[m_columns[index].title] = row[index];
        }
        rows.add(std::move(object));
    }
    return rows;
}
