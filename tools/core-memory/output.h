// Tables for people, for spreadsheets and for scripts.
//
//     Table table({{"place", Table::TEXT}, {"bytes", Table::NUMBER}});
//     table.add({"game/mesh.cpp:41", 128});
//     table.printText();
#pragma once

#include "tools/shared/json.h"

#include <stdint.h>
#include <stdio.h>
#include <string>
#include <vector>

enum e_Form { FORM_TEXT, FORM_CSV, FORM_JSON };

// True when the standard output is a terminal that shows colours, and NO_COLOR is not set.
bool hasColours();

// Returns the text in bold or in red when the standard output has colours, else as it is.
std::string bold(const std::string& text);
std::string red(const std::string& text);

// Returns the number with a separator between thousands: "1,048,576".
std::string grouped(int64_t number);

// Returns the grouped number and the noun: "1 block", "2,000 blocks".
std::string counted(uint64_t count, const char* noun);

// Replaces control characters, because a source name in damaged memory could have a terminal's commands in it.
std::string printable(const std::string& text);

void printJson(const Json& json);

class Table {
public:
    // CHANGE: a number with its sign. MOMENT: a number; if the snapshot has no number, the text form says "unknown".
    enum Kind { TEXT, NUMBER, CHANGE, PERCENT, MOMENT };

    struct Column {
        const char* title; // also the key in JSON
        Kind kind;
    };

    explicit Table(std::vector<Column> columns) : m_columns(std::move(columns)) {}

    void add(std::vector<Json> cells) { m_rows.push_back(std::move(cells)); }
    size_t rowCount() const { return m_rows.size(); }

    void printText(FILE* out = stdout) const;
    void printRows(size_t most, FILE* out = stdout) const; // the first `most` rows

    // Prints the first `most` rows, and says how many more there are. 0 prints all.
    void printTop(size_t most) const;

    void printCsv() const;
    Json json() const;

private:
    std::string _cell(const Json& cell, Kind kind) const;

    std::vector<Column> m_columns;
    std::vector<std::vector<Json>> m_rows;
};
