// core-strings lsp: a language server for strings files.
#include "tools/core-strings/commands.h"
#include "tools/core-strings/language.h"

int runLsp(const LspOptions& options)
{
    StringsLanguage language({options.others, options.records});
    return serveLanguage(language, "core-strings", stdin, stdout);
}
