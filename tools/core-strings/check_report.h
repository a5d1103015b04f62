// The findings of one strings file while it is checked, and what the checks share.
#pragma once

#include "tools/core-strings/check.h"

// The lines of a text, to find line and column of an offset.
class Lines {
public:
    explicit Lines(const std::string& text);

    size_t lineOf(size_t offset) const;   // counts from 1
    size_t columnOf(size_t offset) const; // bytes, counts from 1

private:
    std::vector<size_t> m_begins;
};

struct Report {
    Report(const std::string& fileName, const std::string& text) : name(fileName), lines(text) {}

    // Adds a finding at an offset in the text of the file.
    void add(bool isError, size_t offset, const std::string& what, const std::string& instead, const char* check);

    const std::string name;
    const Lines lines;
    std::vector<Finding> findings;
};

// The checks of a file, by subject. The file is UTF-8 text.
void checkBytes(const std::string& bytes, const GamesView& view, Report* report);       // bytes, empty lines
void checkForm(const GamesView& view, Report* report);                                  // of each line
void checkTranslations(const GamesView& view, const CheckRules& rules, Report* report); // with their keys
void checkKeys(const GamesView& view, Report* report);                                  // of all entries together

// True when text has start at the offset.
bool startsWith(const std::string& text, size_t at, const char* start);

// Returns a text as it is shown in a finding: with escapes, in quotes, and not longer than 60 bytes.
std::string shown(const std::string& text);

// Returns "1 line" or "2 lines".
std::string plural(size_t count, const char* noun);
