// Chooses the strings file that the texts are read from or written to.
//
// Each language has a folder in the game's locale folder. English, the game's own language, has none: in the first
// run the string table collects all texts and writes them to a strings file in the player's data folder. Later runs
// read that file.
//
//     Language language;
//     language.choose(options.folder, "de");
//     {
//         StringTable strings;
//         language.load(strings);
//         ...
//     }                                       // the table's destructor writes the file when load opened none
//     if (language.isCollecting() && !language.textsCameBack(count)) { ... }
#pragma once

#include <string>

class StringTable;

// Returns true when the game, with its files in folder, has the language name. It always has "en".
bool HasLanguage(const std::string& folder, const std::string& name);

class Language {
public:
    // Call it before the string table is made. Returns false when the game does not have the language; English is
    // used then.
    bool choose(const std::string& folder, const std::string& name);

    void load(StringTable& strings);

    bool isCollecting() const { return m_isCollecting; }
    const std::string& path() const { return m_path; }               // of the strings file
    const std::string& missingPath() const { return m_missingPath; } // of the chosen file; empty if it exists

    // The number of texts that the table was asked for so far and that were not in the strings file.
    unsigned int newTexts() const;

    // Call it after the table was destroyed. Returns true when the table's strings file has this number of texts, and
    // each is the same as before.
    bool textsCameBack(unsigned int collected) const;

    // Removes the collected file: a run that ended early may not have all texts. The next run collects them again.
    void forgetCollected() const;

private:
    void setFolder(const std::string& folder);

    std::string m_path;
    std::string m_missingPath;
    std::string m_name;
    bool m_isCollecting = false;
    unsigned int m_entries = 0; // in the strings file
};
