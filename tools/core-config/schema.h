// A schema: which names a game asks its files for, with types, ranges, defaults and comments. docs/config-files.md
// describes the text of a schema.
//
// A schema that is read and written again keeps its comments, its empty lines and its order.
#pragma once

#include <math.h>
#include <stddef.h>
#include <string>
#include <vector>

namespace config {

// The types are those of the library's readers: ParamEqualsInt8 has TYPE_INT8.
enum e_ValueType {
    TYPE_INT8,
    TYPE_INT16,
    TYPE_INT32,
    TYPE_UINT32,
    TYPE_INT64,
    TYPE_FLOAT32,
    TYPE_BOOL,
    TYPE_STRING, // between quotes
    TYPE_WORD,   // a word as GetToken returns it
    TYPE_INT,    // of a preferences file: a number
    TYPE_TEXT,   // of a preferences file: a text
    TYPE_COUNT
};

// The smallest and the largest number, or the fewest and the most bytes of a text. An empty text is no limit.
struct Range {
    std::string low;
    std::string high;
    double least = -HUGE_VAL; // the numbers of low and high
    double greatest = HUGE_VAL;

    bool has(double number) const { return !(number < least) && !(number > greatest); } // true for a NaN
};

struct NameSchema {
    std::string name;              // "*" for lines of bare values
    bool hasEquals = true;         // "name = value", else "name value"
    e_ValueType type = TYPE_INT32; // of all its values
    size_t fewest = 1;             // values
    size_t most = 1;
    Range range;
    bool isRequired = false;
    bool isOnce = false;
    bool hasDefault = false;
    std::string defaultText;          // what the game uses when the file lacks the name
    std::vector<std::string> choices; // the only values that are right; empty for all
    std::vector<std::string> seen;    // values that were read
    Range seenRange;                  // the smallest and the largest number that were read
    std::string lineComment;          // after the entry, without "//"
    std::vector<std::string> before;  // comments and empty lines before the entry, as they stand
};

// A block, a section of a preferences file, or all of a file.
struct BlockSchema {
    std::string name;
    bool isRequired = false;
    bool isOnce = false;
    bool isOpen = false; // other names are right, too
    std::vector<NameSchema> names;
    std::vector<BlockSchema> blocks;
    std::vector<size_t> order; // of the entries: i for names[i], ~i for blocks[i]
    std::string lineComment;
    std::vector<std::string> before;
    std::vector<std::string> after; // comments and empty lines before the closing brace
};

struct FileSchema {
    bool isIni = false;
    BlockSchema block; // its name is the path of the file
};

struct Schema {
    std::vector<FileSchema> files;
    std::vector<std::string> after; // comments and empty lines after the last file
};

// Reads a schema. On failure returns false and stores what is wrong, with the number of the line, in *error.
bool readSchema(const std::string& text, Schema* schema, std::string* error);

std::string writeSchema(const Schema& schema);

// Adds a value that a game has read to seen or to seenRange: all numbers, and the first texts.
void addSeen(NameSchema* name, const std::string& value);

// Returns the file of the schema for this path: the end of the path is the file's path, with slashes or backslashes
// and without regard to case. Returns null if there is none.
const FileSchema* fileFor(const Schema& schema, const std::string& path);

// Returns "int32", "int32 int32" or "int32 [int32]", with the range.
std::string formOf(const NameSchema& name);

// Returns the comments of an entry as one text, for people.
std::string commentOf(const std::vector<std::string>& before, const std::string& lineComment);

// Compares two texts without regard to the case of the letters a to z, as the library does.
bool isSameName(const std::string& a, const std::string& b);

} // namespace config
