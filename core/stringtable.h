// The string table translates the game's texts into the player's language.
//
// A game passes its own text to translate and shows the text that translate returns. The translations come from the
// strings file, "strings.utf8" in the locale folder:
//
//     StringTable::s_setLocalePath("locale/french");
//     StringTable strings;
//     strings.setLanguage("french");
//     label(g_stringTblPtr->translate("New Game"));     // "Nouvelle partie", or "New Game" without a translation
//
// The file is UTF-8 with one entry on each line. Upper and lower case of a key are equal:
//
//     // a comment
//     "New Game" = "Nouvelle partie"
//     "Say \"Yes\"\n" = "Dites \"Oui\"\n"
//
// Without a strings file, the table collects every text that translate is asked for. Its destructor writes the collected
// texts to a new strings file, and a translator starts from that file.
//
// The table holds 1024 entries, each with a key of at most 127 bytes. It owns the texts that translate returns; they live
// as long as the table. All memory comes from bank 0. Call all of this on the main thread.
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
    // Stores this table in g_stringTblPtr.
    StringTable();

    // Writes the collected texts when no strings file was ever opened; instead logs a message when a symbolic link of
    // another user is part of the file's path. Sets g_stringTblPtr to null, even when it holds another table.
    virtual ~StringTable();

    StringTable(const StringTable&) = delete;
    StringTable& operator=(const StringTable&) = delete;

    // Sets the folder of the strings file, for later loads and exports. The folder is cut to 1023 bytes; folder and file
    // name together are cut to 127. A null or empty path changes nothing.
    static void s_setLocalePath(const char* path);

    // Adds the entries of the strings file. Entries that the table already holds stay, and are found first.
    //
    // Returns false, and logs a message, when there is no such file; returns false for null. When the file is opened but
    // cannot be read, it logs a message, leaves the file open and returns true.
    //
    // The language's name does not choose the file; the locale folder does. The table keeps the name for a debugger. It
    // treats the name as a printf format without arguments: "100%%" is kept as "100%", and "a%5db" as "ab".
    bool setLanguage(const char* language);

    // Returns the translation. A text without one becomes an entry that is its own translation, and the table's copy of
    // it is returned. When the table is full, and for a text longer than 127 bytes, logs a message and returns the
    // caller's own pointer. Returns null for null.
    const char* translate(const char* text);

    static char s_localePath[1024];
    static const char* const sc_stringFileName; // "strings.utf8"

private:
    static const char* _stringTableFilename();
    void _parseStringTable(char* text);
    void _parseStringTableEntry(Parser* parser);
    void _insertString(const char* key, const unsigned char* text);
    void _exportStringTable();

    // Frozen: docs/architecture.md, "Record layouts and virtual tables".
    int m_loaded;      // 1 once a strings file was opened; the destructor then writes none
    char m_spare[128]; // not used; it keeps the places of the fields behind it
    char m_language[128];
    HashTable<_StringTableNode_s>* m_table; // null without a memory manager
};

// The table that was made last. Null before the first table is made, and after any table is destroyed.
extern StringTable* g_stringTblPtr;

#pragma GCC visibility pop
