// The language server of core-config, as an editor talks to it.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <sys/wait.h>
#include <vector>

static std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

static std::string framed(const std::string& message)
{
    return "Content-Length: " + std::to_string(message.size()) + "\r\n\r\n" + message;
}

// Sends the bytes to a server and stores the bodies of its answers. Returns its exit status.
static int talk(const std::string& bytes, std::vector<std::string>* answers)
{
    std::ofstream("input", std::ios::binary) << bytes;
    const int status = system("'" PROGRAM "' lsp --schema '" DEMO_SCHEMA "' <input >output 2>errors");
    const std::string output = readFile("output");
    for (size_t at = 0; at < output.size();) {
        const size_t length = strtoul(output.c_str() + at + strlen("Content-Length: "), nullptr, 10);
        at = output.find("\r\n\r\n", at) + 4;
        answers->push_back(output.substr(at, length));
        at += length;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

static std::string unescaped(const std::string& text)
{
    std::string result;
    for (size_t at = 0; at < text.size(); ++at) {
        const bool isEscape = text[at] == '\\' && at + 1 < text.size();
        at += isEscape;
        result += !isEscape ? text[at] : text[at] == 'r' ? '\r' : text[at] == 'n' ? '\n' : '\0';
    }
    return result;
}

TEST(CoreConfigLsp, AnswersARecordedDialogue)
{
    std::istringstream dialogue(readFile(DIALOGUE));
    std::string sent;
    std::vector<std::string> expected;
    for (std::string line; std::getline(dialogue, line);) {
        const std::string rest = line.size() > 2 ? line.substr(2) : "";
        const std::string mark = line.substr(0, 2);
        sent += mark == "> " ? framed(rest) : mark == "! " ? unescaped(rest) : "";
        if (mark == "< ") {
            expected.push_back(rest);
        }
    }
    std::vector<std::string> answers;
    EXPECT_EQ(talk(sent, &answers), 0);
    EXPECT_EQ(readFile("errors"), "");
    for (size_t at = 0; at < std::max(answers.size(), expected.size()); ++at) {
        EXPECT_EQ(at < answers.size() ? answers[at] : "no answer", at < expected.size() ? expected[at] : "nothing");
    }
}

static std::string opened(const std::string& uri, const std::string& text)
{
    return framed(
        "{\"jsonrpc\":\"2.0\",\"method\":\"textDocument/didOpen\",\"params\":{\"textDocument\":{\"uri\":\"" + uri +
        "\",\"text\":\"" + text + "\"}}}");
}

TEST(CoreConfigLsp, SurvivesHugeMessages)
{
    std::string lines;
    std::string oneLine;
    for (int count = 0; count < 200000; ++count) {
        lines += "width=640\\r\\n";
        oneLine += "\\ta=1 \xf0\x9d\x84\x9e ";
    }
    const std::string nested(1000000, '[');
    const std::string tooLong(65u << 20, ' ');
    std::vector<std::string> answers;
    const int status = talk(framed("{\"id\":1,\"method\":\"initialize\"}") + opened("a", lines) +
                                opened("b", oneLine) + framed(nested) + framed(tooLong) +
                                framed("{\"id\":2,\"method\":\"shutdown\"}") + framed("{\"method\":\"exit\"}"),
                            &answers);
    EXPECT_EQ(status, 0);
    ASSERT_EQ(answers.size(), 6u);
    EXPECT_NE(answers[1].find("no-space-around-equals"), std::string::npos);
    EXPECT_EQ(answers[2].find("\"error\""), std::string::npos);
    EXPECT_NE(answers[3].find("-32700"), std::string::npos);
    EXPECT_NE(answers[4].find("the message is too long"), std::string::npos);
    EXPECT_EQ(answers[5], "{\"id\":2,\"jsonrpc\":\"2.0\",\"result\":null}");
}

TEST(CoreConfigLsp, EndsWithStatus1WhenTheEditorIsGone)
{
    std::vector<std::string> answers;
    EXPECT_EQ(talk("", &answers), 1);
    EXPECT_EQ(talk("Content-Length: 100\r\n\r\n{", &answers), 1);
    EXPECT_EQ(talk(framed("{\"method\":\"exit\"}"), &answers), 1);
    EXPECT_EQ(answers.size(), 0u);
}
