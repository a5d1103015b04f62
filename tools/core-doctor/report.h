// What core-doctor has found: sections of names and values, and warnings.
#pragma once

#include <string>
#include <vector>

class Report {
public:
    // Adds a value to a section. The first value of a section begins it. A name occurs once in a section.
    void add(const std::string& section, const std::string& name, const std::string& value);

    // Adds a warning. id is for scripts and never changes; what says what is wrong, todo what to do about it.
    void warn(const std::string& id, const std::string& what, const std::string& todo);

    bool hasWarnings() const { return !m_warnings.empty(); }

    void printText() const;
    void printJson() const;

private:
    struct Row {
        std::string name;
        std::string value;
    };
    struct Section {
        std::string title;
        std::vector<Row> rows;
    };
    struct Warning {
        std::string id;
        std::string what;
        std::string todo;
    };

    std::vector<Section> m_sections;
    std::vector<Warning> m_warnings;
};
