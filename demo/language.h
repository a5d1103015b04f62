// Where the texts come from, and go.
//
// A language is a folder in the game's locale folder. Without one the texts are the game's own: the string table
// collects them in a file of the player's data folder, and takes them from there in all runs to come.
//
//     Language language;
//     language.choose(options.folder, "de");
//     {
//         StringTable strings;
//         language.load(memory, strings);
//         ...
//     }                                       // a table that has opened no file writes one
//     if (language.isCollecting() && !language.textsCameBack(memory, count)) { ... }
#pragma once

#include "demo/gamememory.h"

class StringTable;

// Whether the game, with its files in this folder, speaks that language. Its own is English, "en".
bool HasLanguage(const std::string& folder, const std::string& name);

class Language {
public:
    // Before there is a table. False when the game doesn't have that language; its own texts have to do then.
    bool choose(const std::string& folder, const std::string& name);

    void load(GameMemory& memory, StringTable& strings);

    bool isCollecting() const { return m_isCollecting; }
    const std::string& path() const { return m_path; }               // of the strings file
    const std::string& missingPath() const { return m_missingPath; } // where the chosen language's should have been

    // How many texts were asked for that the file didn't have.
    unsigned int newTexts(GameMemory& memory) const;

    // When the table is gone: whether the file it has written holds so many texts, as they were.
    bool textsCameBack(GameMemory& memory, unsigned int collected) const;

    // The file goes away: a run that ended early doesn't know all texts, and the next one collects them again.
    void forgetCollected() const;

private:
    void setFolder(const std::string& folder);

    std::string m_path;
    std::string m_missingPath;
    std::string m_name;
    bool m_isCollecting = false;
    unsigned int m_entries = 0; // in the file
};
