// The string table: the game's texts, in the player's language.
//
// A game asks for its own text and shows what comes back. Translations come from the strings file, "strings.utf8" in
// the locale folder:
//
//     StringTable::s_setLocalePath("locale/french");
//     StringTable strings;
//     strings.setLanguage("french");
//     label(g_stringTblPtr->translate("New Game"));     // "Nouvelle partie", or "New Game" if nobody translated it
//
// The file is UTF-8, an entry a line; upper and lower case of a key are the same:
//
//     // a comment
//     "New Game" = "Nouvelle partie"
//     "Say \"Yes\"\n" = "Dites \"Oui\"\n"
//
// Run a game without a strings file, and the table collects every text it is asked for and leaves them as a new file
// when it ends, ready to be translated.
//
// The table holds 1024 texts, each with a key of at most 127 bytes. What it hands out is its own and lives as long as
// it does. All its memory is bank 0's. All calls belong to the main thread.
#pragma once

#include "core/allocator.h"

#pragma GCC visibility push(default)

class Parser;
template <typename T>
class HashTable;

struct _StringTableNode_s {
    char* string; // UTF-8, a block of its own
};

class StringTable : public Allocator<0> {
public:
    // Makes this table the one in g_stringTblPtr.
    StringTable();

    // Without a strings file opened, writes one; not through another user's symbolic link, which a message then names.
    // g_stringTblPtr is null from then on, whichever table it held.
    virtual ~StringTable();

    StringTable(const StringTable&) = delete;
    StringTable& operator=(const StringTable&) = delete;

    // The folder of the strings file, from the next load or export on: 1023 bytes of it, and path and file name
    // together 127. Null and empty leave it as it is.
    static void s_setLocalePath(const char* path);

    // Adds the entries of the strings file; what the table holds already stays, and wins. False when there is no
    // such file, and for null. A file that can't be read is logged, stays open, and counts as opened: true.
    //
    // The name is kept for whoever looks at the table in a debugger; the locale folder is what chooses a language.
    // It is read as a format of printf's that has nothing to print: "100%%" is "100%", and "a%5db" is "ab".
    bool setLanguage(const char* language);

    // The translation; of a text nobody translated, the table's copy, which is an entry like any other from then on.
    // The caller's own text, after a message, where there is no room for it or it is longer than 127 bytes. Null
    // for null.
    const char* translate(const char* text);

    static char s_localePath[1024];
    static const char* const sc_stringFileName; // "strings.utf8"

private:
    static const char* _stringTableFilename();
    void _parseStringTable(char* text);
    void _parseStringTableEntry(Parser* parser);
    void _insertString(const char* key, const unsigned char* text);
    void _exportStringTable();

    int m_loaded; // 1 once a strings file was opened: there is nothing to export
    char m_spare[128];
    char m_language[128];
    HashTable<_StringTableNode_s>* m_table; // null without a memory manager
};

extern StringTable* g_stringTblPtr; // the table made last; null before the first and after the end of any

#pragma GCC visibility pop
