// What a game gets from a file: the library's own readers, asked for everything that the file seems to have.
#pragma once

#include "core/parser.h"
#include "core/preferences.h"
#include "tools/core-config/configtext.h"
#include "tools/core-config/library.h"

#include <algorithm>
#include <set>
#include <string.h>
#include <string>
#include <vector>

struct ReadLine {
    std::string name;
    std::string value; // empty for a line without "="; "?" when the reader has complained
};

static const size_t sc_longestText = 1024; // ParamEqualsString fills its whole output

// Reads a config file as a game does that reads all values as texts, or all as numbers.
inline std::vector<ReadLine> readConfig(const config::ConfigText& text, bool asTexts)
{
    std::string copy = text.bytes();
    Parser parser(&copy[0]);
    std::vector<ReadLine> lines;
    std::vector<config::Word> words;
    std::vector<char> string(std::min(copy.size() + 1, sc_longestText));
    while (parser.ParseLine()) {
        const char* token = parser.GetToken(" ");
        if (!token) {
            continue;
        }
        text.wordsOf(text.lineOf(static_cast<size_t>(token - copy.data())), &words);
        lines.push_back({token, ""});
        if (words.size() < 2 || !text.is(words[1], '=')) {
            continue;
        }
        float number = 0;
        string[0] = '\0';
        config::takeMessages();
        if (asTexts) {
            parser.ParamEqualsString(token, token, string.data(), static_cast<unsigned int>(string.size()));
        } else {
            parser.ParamEqualsFloat32(token, token, &number);
        }
        const bool isRead = config::takeMessages().empty();
        lines.back().value = !isRead ? "?" : asTexts ? '"' + std::string(string.data()) + '"' : config::shown(number);
    }
    return lines;
}

// Returns "width = 640, title = "Core", unit": the lines that the game gets.
inline std::string configAsRead(const std::string& bytes)
{
    const config::ConfigText text(bytes);
    const std::vector<ReadLine> numbers = readConfig(text, false);
    const std::vector<ReadLine> texts = readConfig(text, true);
    std::string result;
    for (size_t at = 0; at < numbers.size(); ++at) {
        const bool isText = numbers[at].value == "?" && at < texts.size() && texts[at].name == numbers[at].name;
        const std::string& value = isText ? texts[at].value : numbers[at].value;
        result += (result.empty() ? "" : ", ") + numbers[at].name + (value.empty() ? "" : " = " + value);
    }
    return result;
}

// Returns "Video/width = 640, Video/depth not found" for each entry that the file seems to have. Blanks beside names
// are left out of the questions, as a game has none there. path is the file's.
inline std::string iniAsRead(const std::string& path, const std::string& bytes)
{
    Preferences preferences;
    preferences.init(path.c_str());
    std::string section;
    std::string result;
    std::set<std::string> asked;
    const auto trimmed = [](const std::string& text) {
        const size_t begin = text.find_first_not_of(" \t\r");
        return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" \t\r") + 1 - begin);
    };
    for (size_t begin = 0; begin < bytes.size(); begin = bytes.find_first_of("\r\n", begin) + 1) {
        const size_t end = std::min(bytes.find_first_of("\r\n", begin), bytes.size());
        const std::string line = trimmed(bytes.substr(begin, end - begin));
        const std::string name = trimmed(line.substr(0, line.find('=')));
        if (line.compare(0, 1, "[") == 0) {
            section = trimmed(line.substr(1, line.find(']') - 1));
        } else if (line[0] != ';' && line.find('=') != std::string::npos &&
                   asked.insert(section + '/' + name).second) {
            char value[1024] = "";
            const bool isFound = ReadKey(section.c_str(), name.c_str(), value);
            result += (result.empty() ? "" : ", ") + section.substr(0, 20) + '/' + name +
                      (isFound ? " = " + std::string(value) : " not found");
        }
        if (end == bytes.size()) {
            break;
        }
    }
    return result;
}
