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
// Each text that translate does not find becomes an entry: a collected text. If a table has never opened a strings
// file, its destructor writes all entries to a strings file, which a translator can start from. An existing file is
// overwritten.
//
// - Size: the table has at most 1024 entries. A key of more than 127 bytes is truncated, and is then not found again.
// - Ownership: the table owns its entries. A text that translate returns is valid until the table is destroyed,
//   except the caller's own text, which translate returns when it cannot add an entry.
// - Memory: all memory comes from bank 0, 165 KB for a table without entries (32-bit build: 148 KB). The numbers in
//   the tags of the blocks are frozen: docs/architecture.md, "Numbers in block tags".
// - Threads: call all of this on the main thread.
#pragma once

#include "core/allocator.h"

#pragma GCC visibility push(default)

class Parser;
template <typename T>
class HashTable;

struct _StringTableNode_s {
    char* string; // the translation, UTF-8, in a block of its own
};

class StringTable : public Allocator<0> {
public:
    // Stores the address of this table in g_stringTblPtr.
    StringTable();

    // Writes the entries to a strings file if this table has never opened one. If another user's link is part of
    // the file's path (docs/surprises.md, "Localisation"), logs a message and writes nothing. Sets g_stringTblPtr to
    // null, also if it holds another table.
    virtual ~StringTable();

    StringTable(const StringTable&) = delete;
    StringTable& operator=(const StringTable&) = delete;

    // Sets the locale folder for all later loads and exports. path is truncated to 1023 bytes. When a file is
    // opened, the path with the file's name is truncated to 127 bytes, so keep path to at most 114 bytes. A null
    // or empty path changes nothing.
    static void s_setLocalePath(const char* path);

    // Adds the entries of the strings file in the locale folder. If the table already has an entry with the same
    // key, the older entry is found.
    //
    // Returns false for null; returns false and logs a message if the file cannot be opened. Deliberate: if the
    // file was opened but cannot be read, the function logs a message, does not close the file and returns true.
    //
    // language does not choose the file. The table stores the name for a debugger, truncated to 127 bytes and
    // treated as a printf format without arguments: "100%%" is stored as "100%", and "a%5db" as "ab".
    bool setLanguage(const char* language);

    // Returns the translation of text. A text without an entry becomes an entry whose translation is a copy of the
    // text; returns that copy. If the table is full, and for a text of more than 127 bytes, logs a message and
    // returns text itself. Returns null for null, with the same message.
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
    int m_loaded;         // 1 if a strings file was opened: the destructor then writes none; otherwise 0
    char m_spare[128];    // not used; without it the offsets of the next fields would change
    char m_language[128]; // the text that setLanguage stored
    HashTable<_StringTableNode_s>* m_table; // null without a memory manager
};

// The table that was made last. Null before the first table is made, and after any table was destroyed.
extern StringTable* g_stringTblPtr;

#pragma GCC visibility pop
