// The texts that a game has asked for: how often, by which language setting, with which result, and from where.
//
// A record, which is a strings file or a PO file, has these facts as comments of an entry:
//
//     //. asked for 12 times in "german": translated
//     //: src/menu.cpp:123
//     "New game" = "New game"
#pragma once

#include "tools/core-strings/document.h"

#include <map>
#include <stdint.h>
#include <string>
#include <vector>

enum e_Asked {
    ASKED_TRANSLATED,
    ASKED_UNCHANGED,    // the strings file has an entry whose translation is the text
    ASKED_UNTRANSLATED, // the strings file has no entry
    ASKED_TOO_LONG,     // more than 127 bytes: the string table cannot find it
    ASKED_NO_ROOM,      // the string table was full
};

// Calls with one language setting and one result.
struct AskedCount {
    std::string language; // empty: the game had set none
    e_Asked result;
    uint64_t count;
};

// Returns "asked for 12 times in "german": translated".
std::string describe(const AskedCount& asked);

struct AskedText {
    std::string key; // as in the first call; texts that differ only in case are the same text
    std::vector<AskedCount> counts;
    std::vector<std::pair<std::string, uint64_t>> places; // "src/menu.cpp:123", and the number of calls there

    void add(const std::string& language, e_Asked result, uint64_t count);
    void addPlace(const std::string& place, uint64_t count);
    void add(const AskedText& other); // its counts and places
    uint64_t count() const;
    bool has(e_Asked result) const;
    bool isTranslated() const { return has(ASKED_TRANSLATED) || has(ASKED_UNCHANGED); } // at least once
};

// A call of setLanguage.
struct LoadedFile {
    std::string language;
    std::string asked; // the path that the game's string table asked for
    std::string path;  // of the file that was opened; empty if none was
};

class AskedTexts {
public:
    // Returns the text with this key. If no text has the key, adds a text with the key.
    AskedText& operator[](const std::string& key);
    const AskedText* find(const std::string& key) const; // null when there is none

    void add(const AskedTexts& others); // their counts and places; not their files
    void add(const AskedText& other);

    const std::vector<AskedText>& texts() const { return m_texts; } // in the order of the first calls

    std::vector<LoadedFile> files;

private:
    std::vector<AskedText> m_texts;
    std::map<std::string, size_t> m_index; // by the key in lower case
};

// Adds to texts what the comments of a record say.
void addRecord(const Document& record, AskedTexts* texts);

// Adds the texts to a record. The counts of each text are added to those in the record, and new places come after the
// old ones. A new text becomes an entry: in a strings file its translation is the text itself, in a PO file (isPo)
// the translation is empty. Adds a finding to *lost for each text that a record cannot hold.
void addToRecord(const AskedTexts& texts, bool isPo, const std::string& name, Document* record,
                 std::vector<Finding>* lost);

// Removes the comments with counts. The places stay.
void removeCounts(Document* document);

// Returns the texts as an object of JSON.
std::string jsonOf(const AskedTexts& texts);
