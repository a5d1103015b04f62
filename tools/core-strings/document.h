// A strings file as a list of entries and comments, for the commands that write one.
//
// Comments that begin with a mark have a meaning to this program, and none to a game. PO files have the same marks
// after a '#', where there is one:
//
// | Line | Meaning | In a PO file |
// |---|---|---|
// | // text | a comment of the translator | # text |
// | //. text | a comment for the translator | #. text |
// | //: src/menu.cpp:123 | where the game asks for the text | #: src/menu.cpp:123 |
// | //? "key" = "text" | a proposal, not yet used by the game; an empty text is one to be translated | #, fuzzy |
// | //~ "key" = "text" | an entry that the game no longer asks for | #~ |
// | //| "key" | the key that the entry or proposal below had before | #| msgid |
// | //@ Language: de | a field of the header | the header |
#pragma once

#include "tools/shared/files.h"
#include "tools/shared/findings.h"

#include <string>
#include <vector>

// A line that tells gettext the encoding of a strings file in the form of `format --apple`. Without a space after the
// equals sign it is no entry for a game.
extern const char sc_charsetLine[];

enum e_ItemKind {
    ITEM_ENTRY,    // "key" = "text"
    ITEM_PROPOSAL, // //? "key" = "text"
    ITEM_OBSOLETE, // //~ "key" = "text"
    ITEM_COMMENT,  // a line that is no entry, also one that is empty
};

struct Item {
    e_ItemKind kind = ITEM_COMMENT;
    std::string key;
    std::string translation;
    std::string comment;               // of ITEM_COMMENT: the line without blanks at its ends, and without line feed
    size_t line = 0;                   // in the file that was read, counts from 1
    std::vector<std::string> comments; // of the other kinds: the lines of this form above it
};

struct Document {
    TextForm form;
    bool hasSemicolons = false;       // most entries end with ";"
    std::vector<std::string> header;  // the comments at the begin of the file, up to the first empty line
    std::vector<Item> items;          // none is an ITEM_COMMENT
    std::vector<std::string> trailer; // the comments after the last item
};

// Reads a strings file. Returns true; returns false and stores the findings if a part of the file would get lost when
// it is written again.
bool readDocument(const std::string& name, const std::string& bytes, Document* document,
                  std::vector<Finding>* findings);

// Returns the bytes of a strings file. Each entry has one form, and there is no more than one empty line in a row.
// With semicolons, a file with other characters than ASCII begins with a byte-order mark and sc_charsetLine.
std::string writeDocument(const Document& document);

// Brings comments and items in the order that they have in a PO file: comments of the translator, for the translator,
// the places, the previous key; obsolete entries last. Then a way through a PO file changes nothing.
void normalise(Document* document);

// Returns the line of an item as it is written, without line feed.
std::string lineOf(const Item& item, bool hasSemicolons);
