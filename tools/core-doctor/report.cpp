#include "tools/core-doctor/report.h"

#include "logger/printable.h"
#include "tools/shared/json.h"

#include <algorithm>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

void Report::add(const std::string& section, const std::string& name, const std::string& value)
{
    const auto known = std::find_if(m_sections.begin(), m_sections.end(),
                                    [&](const Section& candidate) { return candidate.title == section; });
    Section& target = known == m_sections.end() ? m_sections.emplace_back(Section{section, {}}) : *known;
    target.rows.push_back({name, value});
}

void Report::warn(const std::string& id, const std::string& what, const std::string& todo)
{
    m_warnings.push_back({id, what, todo});
}

static std::string shown(const std::string& text)
{
    return printable(text, Lines::Escape);
}

void Report::printText() const
{
    const bool isBold = isatty(STDOUT_FILENO) && !getenv("NO_COLOR");
    const auto printTitle = [isBold](const std::string& title) {
        printf("%s%s%s\n", isBold ? "\033[1m" : "", title.c_str(), isBold ? "\033[0m" : "");
    };
    size_t width = 0;
    for (const Section& section : m_sections) {
        for (const Row& row : section.rows) {
            width = std::max(width, shown(row.name).size());
        }
    }
    for (const Section& section : m_sections) {
        printTitle(section.title);
        for (const Row& row : section.rows) {
            printf("  %-*s  %s\n", static_cast<int>(width), shown(row.name).c_str(), shown(row.value).c_str());
        }
    }
    printTitle(m_warnings.empty() ? "no warnings" : "warnings");
    for (const Warning& warning : m_warnings) {
        printf("  %s: %s\n    %s\n", warning.id.c_str(), shown(warning.what).c_str(), shown(warning.todo).c_str());
    }
}

void Report::printJson() const
{
    Json json = Json::object();
    for (const Section& section : m_sections) {
        for (const Row& row : section.rows) {
            json[section.title][row.name] = row.value;
        }
    }
    Json& warnings = json["warnings"] = Json::array();
    for (const Warning& warning : m_warnings) {
        warnings.add(Json::object({{"id", warning.id}, {"what", warning.what}, {"todo", warning.todo}}));
    }
    printf("%s\n", json.text(2).c_str());
}
