// The language server of core-strings, as an editor talks to it.
#include "tests/support/lsp_dialogue.h"
#include "tests/tools/core-strings/shell.h"

#include <chrono>
#include <filesystem>

static void writeLanguages()
{
    std::filesystem::create_directories("a game/de");
    std::filesystem::create_directories("a game/fr");
    writeFile("a game/fr/strings.utf8", "\"Quit\" = \"Quitter\"\n\"New \\\"game\\\"\" = \"Partie\\nnouvelle\"\n");
    writeFile("record.utf8", "//. asked for 12 times in \"german\": not translated\n//: src/menu.cpp:123\n"
                             "\"Load\" = \"Load\"\n");
}

TEST(CoreStringsLsp, AnswersARecordedDialogue)
{
    writeLanguages();
    lsp::play("'" PROGRAM "' lsp --record record.utf8", DIALOGUE, std::filesystem::current_path().string());
}

TEST(CoreStringsLsp, TheFilesOfTheCommandLineAreTheOtherLanguages)
{
    writeLanguages();
    std::vector<std::string> answers;
    const std::string place = "{\"textDocument\":{\"uri\":\"x\"},\"position\":{\"line\":0,\"character\":2}}";
    lsp::talk("'" PROGRAM "' lsp --with 'a game/fr/strings.utf8'",
              lsp::framed("{\"id\":1,\"method\":\"initialize\"}") + lsp::opened("x", "\\\"Quit\\\" = \\\"Ende\\\"") +
                  lsp::framed("{\"id\":2,\"method\":\"textDocument/hover\",\"params\":" + place + "}"),
              &answers);
    ASSERT_EQ(answers.size(), 3u);
    EXPECT_TRUE(contains(answers[2], "\"value\":\"fr: Quitter\"")) << answers[2];
}

TEST(CoreStringsLsp, AHugeFileIsCheckedAndCompletedInSeconds)
{
    std::string lines;
    for (int count = 0; count < 5000; ++count) {
        lines += "\\\"key " + std::to_string(count) + "\\\" =\\\"x\\\"\\n\\\"long\\n";
    }
    std::vector<std::string> answers;
    const auto start = std::chrono::steady_clock::now();
    lsp::talk(
        "'" PROGRAM "' lsp",
        lsp::framed("{\"id\":1,\"method\":\"initialize\"}") + lsp::opened("file:///a/b/c.utf8", lines) +
            lsp::framed("{\"id\":2,\"method\":\"textDocument/completion\",\"params\":{\"textDocument\":{\"uri\":"
                        "\"file:///a/b/c.utf8\"},\"position\":{\"line\":1,\"character\":3}}}"),
        &answers);
    const auto seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    ASSERT_EQ(answers.size(), 3u);
    EXPECT_TRUE(contains(answers[1], "no-space-after-equals"));
    EXPECT_LT(seconds, 30); // a second on an idle machine
}
