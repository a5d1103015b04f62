// The language server of core-config, as an editor talks to it.
#include "tests/support/lsp_dialogue.h"

static const char sc_server[] = "'" PROGRAM "' lsp --schema '" DEMO_SCHEMA "'";

TEST(CoreConfigLsp, AnswersARecordedDialogue)
{
    lsp::play(sc_server, DIALOGUE);
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
    const int status =
        lsp::talk(sc_server,
                  lsp::framed("{\"id\":1,\"method\":\"initialize\"}") + lsp::opened("a", lines) +
                      lsp::opened("b", oneLine) + lsp::framed(nested) + lsp::framed(tooLong) +
                      lsp::framed("{\"id\":2,\"method\":\"shutdown\"}") + lsp::framed("{\"method\":\"exit\"}"),
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
    EXPECT_EQ(lsp::talk(sc_server, "", &answers), 1);
    EXPECT_EQ(lsp::talk(sc_server, "Content-Length: 100\r\n\r\n{", &answers), 1);
    EXPECT_EQ(lsp::talk(sc_server, lsp::framed("{\"method\":\"exit\"}"), &answers), 1);
    EXPECT_EQ(answers.size(), 0u);
}
