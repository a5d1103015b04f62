// Config files and preferences files in an editor: what the language server of core-config knows.
#pragma once

#include "tools/core-config/check.h"
#include "tools/core-config/schema.h"
#include "tools/shared/languageserver.h"

namespace config {

class ConfigLanguage : public Language {
public:
    // A schema without files is no schema: then only the form of the files is checked.
    explicit ConfigLanguage(const Schema& schema) : m_schema(schema) {}

    std::vector<LanguageFinding> findings(const std::string& path, const std::string& text) override;
    std::vector<LanguageProposal> proposals(const std::string& path, const std::string& text, size_t place) override;
    std::string hover(const std::string& path, const std::string& text, size_t place) override;
    std::string formatted(const std::string& path, const std::string& text) override; // with all repairs

private:
    // The block and the entry of the line with the cursor; null if the schema does not have them.
    struct Cursor {
        const BlockSchema* block;
        const NameSchema* name;
    };

    CheckOptions _optionsFor(const std::string& path) const;
    Cursor _cursorAt(const CheckOptions& options, const std::string& text, size_t place) const;

    const Schema& m_schema;
};

} // namespace config
