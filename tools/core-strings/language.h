// Strings files in an editor: what the language server of core-strings knows.
#pragma once

#include "tools/core-strings/askedtexts.h"
#include "tools/shared/languageserver.h"

#include <string>
#include <vector>

struct LanguageFiles {
    std::vector<std::string>
        others; // strings files of other languages; empty: those beside the file, as locale/*/NAME
    std::vector<std::string> records; // of core-strings record
};

class StringsLanguage : public Language {
public:
    explicit StringsLanguage(const LanguageFiles& files) : m_files(files) {}

    std::vector<LanguageFinding> findings(const std::string& path, const std::string& text) override;
    std::vector<LanguageProposal> proposals(const std::string& path, const std::string& text, size_t place) override;
    std::string hover(const std::string& path, const std::string& text, size_t place) override;
    std::string formatted(const std::string& path, const std::string& text) override;
    bool hasTargets() const override { return true; }
    std::vector<LanguageTarget> targets(const std::string& path, const std::string& text, size_t place) override;
    std::vector<std::string> triggers() const override { return {"\""}; }

private:
    const LanguageFiles m_files;
};
