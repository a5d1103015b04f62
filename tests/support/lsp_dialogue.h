// What the tests of language servers share: talking to a server, and dialogues that were recorded.
#pragma once

#include "tests/support/files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <sys/wait.h>
#include <vector>

namespace lsp {

inline std::string framed(const std::string& message)
{
    return "Content-Length: " + std::to_string(message.size()) + "\r\n\r\n" + message;
}

// Sends the bytes to a server, which is a command of a shell, and stores the bodies of its answers. Returns its exit
// status.
inline int talk(const std::string& server, const std::string& bytes, std::vector<std::string>* answers)
{
    std::ofstream("input", std::ios::binary) << bytes;
    const int status = system((server + " <input >output 2>errors").c_str());
    const std::string output = readFile("output");
    for (size_t at = 0; at < output.size();) {
        const size_t length = strtoul(output.c_str() + at + strlen("Content-Length: "), nullptr, 10);
        at = output.find("\r\n\r\n", at) + 4;
        answers->push_back(output.substr(at, length));
        at += length;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

inline std::string unescaped(const std::string& text)
{
    std::string result;
    for (size_t at = 0; at < text.size(); ++at) {
        const bool isEscape = text[at] == '\\' && at + 1 < text.size();
        at += isEscape;
        result += !isEscape ? text[at] : text[at] == 'r' ? '\r' : text[at] == 'n' ? '\n' : '\0';
    }
    return result;
}

// Plays a recorded dialogue and compares the answers. In the file, a line that begins with "> " is a message of the editor,
// "! " begins bytes that are sent as they stand after escapes, "< " begins an answer, and other lines are comments. In
// each line, "@FOLDER@" stands for the folder of the test.
inline void play(const std::string& server, const std::string& path, const std::string& folder = "")
{
    std::istringstream dialogue(readFile(path));
    std::string sent;
    std::vector<std::string> expected;
    for (std::string line; std::getline(dialogue, line);) {
        for (size_t at; (at = line.find("@FOLDER@")) != std::string::npos;) {
            line.replace(at, strlen("@FOLDER@"), folder);
        }
        const std::string rest = line.size() > 2 ? line.substr(2) : "";
        const std::string mark = line.substr(0, 2);
        sent += mark == "> " ? framed(rest) : mark == "! " ? unescaped(rest) : "";
        if (mark == "< ") {
            expected.push_back(rest);
        }
    }
    std::vector<std::string> answers;
    EXPECT_EQ(talk(server, sent, &answers), 0);
    EXPECT_EQ(readFile("errors"), "");
    for (size_t at = 0; at < std::max(answers.size(), expected.size()); ++at) {
        EXPECT_EQ(at < answers.size() ? answers[at] : "no answer", at < expected.size() ? expected[at] : "nothing");
    }
}

inline std::string opened(const std::string& uri, const std::string& text)
{
    return framed(
        "{\"jsonrpc\":\"2.0\",\"method\":\"textDocument/didOpen\",\"params\":{\"textDocument\":{\"uri\":\"" + uri +
        "\",\"text\":\"" + text + "\"}}}");
}

} // namespace lsp
