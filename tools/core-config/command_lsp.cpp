// core-config lsp: a language server for config files and preferences files.
#include "tools/core-config/command.h"
#include "tools/core-config/language.h"

#include <memory>

static const char sc_footer[] = "The editor starts this command and talks to it over the standard input and output.\n"
                                "docs/config-files.md says how to set up Neovim, VS Code and Kate.\n"
                                "\n"
                                "Example:\n"
                                "  core-config lsp --schema game.schema";

static int serve(const std::string& path)
{
    config::Schema schema;
    if (const int status = readSchemaFile(path, &schema)) {
        return status;
    }
    config::ConfigLanguage language(schema);
    return serveLanguage(language, "core-config", stdin, stdout);
}

void addLsp(CLI::App& app, int* status)
{
    const auto schema = std::make_shared<std::string>();
    CLI::App* command = app.add_subcommand("lsp", "Serves an editor: findings, completion and explanations");
    command->add_option("--schema", *schema, "The names, types and comments of the game's files");
    command->footer(sc_footer);
    command->callback([=] { *status = serve(*schema); });
}
