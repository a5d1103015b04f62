// An INI file's rules once more, written for reading: the whole file is a string, and each rule a line or two.
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

inline std::string lowerCase(std::string text)
{
    for (char& letter : text) {
        letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + ('a' - 'A')) : letter;
    }
    return text;
}

// The lines as they are met: 1023 bytes at most, each with its line feed, and none beyond a NUL.
inline std::vector<std::string> iniLines(const std::string& file)
{
    std::vector<std::string> lines;
    for (size_t start = 0; start < file.size();) {
        const size_t lineFeed = file.find('\n', start);
        const size_t end = std::min(lineFeed == std::string::npos ? file.size() : lineFeed + 1, start + 1023);
        lines.push_back(file.substr(start, end - start).c_str());
        start = end;
    }
    return lines;
}

inline std::optional<std::string> iniValue(const std::string& file, const std::string& section,
                                           const std::string& key)
{
    bool inSection = false;
    for (const std::string& line : iniLines(file)) {
        const std::string first = line.substr(0, 1);
        const size_t bracket = line.find(']');
        const size_t equals = line.find('=');
        if (first == ";") {
            continue;
        }
        if (first == "[") {
            const std::string name = bracket == std::string::npos ? "" : line.substr(1, bracket - 1).substr(0, 255);
            inSection = bracket != std::string::npos && lowerCase(name) == lowerCase(section);
            continue;
        }
        if (!inSection || equals == std::string::npos || lowerCase(line.substr(0, equals)) != lowerCase(key)) {
            continue;
        }
        std::string value = line.substr(equals + 1);
        value.resize(value.empty() ? 0 : value.size() - 1);
        if (!value.empty() && (value.back() == '\r' || value.back() == '\n')) {
            value.pop_back();
        }
        return value;
    }
    return std::nullopt;
}
