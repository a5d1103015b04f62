// core-config lsp: a language server for config files and preferences files.
#include "tools/core-config/command.h"
#include "tools/core-config/language.h"

int runLsp(const std::string& path)
{
    config::Schema schema;
    if (const int status = readSchemaFile(path, &schema)) {
        return status;
    }
    config::ConfigLanguage language(schema);
    return serveLanguage(language, "core-config", stdin, stdout);
}
