// A data file of the game's: blocks of `name = value` lines in braces.
//
//     DataFile file("Game/units.txt");
//     while (file.nextBlock("unit")) {
//         while (file.nextLine()) {                    // false behind the closing brace
//             file.readString("title", &title, 30) || file.readInt("health", 1, 1000, &health) ||
//                 file.refuseLine();
//         }
//         file.require(health > 0, "health = int32");
//     }
//     if (file.isGood()) { ... }                       // the whole file
//
// The parser logs what it can't read, and goes on. Here the first fault ends the file: a game that starts with half
// of its data only fails later, and further from the cause.
//
// A file needs no memory manager: the banks themselves are defined in one.
#pragma once

#include "core/parser.h"

#include <string>
#include <vector>

struct DataFault {
    std::string path;      // empty when there is none
    unsigned int line = 0; // from 1; 0 when the file can't be read at all
    std::string expected;  // as the file would have it: "health = int32, 1..1000"
    std::string found;
};

class DataFile {
public:
    explicit DataFile(const std::string& path);

    DataFile(const DataFile&) = delete;
    DataFile& operator=(const DataFile&) = delete;

    // Both false at the end, and once there was a fault.
    bool nextBlock(const char* name); // outside of all blocks
    bool nextLine();                  // inside the one that was begun last

    // For the current line: whether it is the one of that name. A value that is no good is a fault and is not stored.
    bool readInt(const char* name, int low, int high, int* value);
    bool readInts(const char* name, int low, int high, int* first, int* second); // the second is not the smaller one
    bool readWord(const char* name, unsigned int* value);                        // 0 to 999999999
    bool readFloat(const char* name, float low, float high, float* value);
    bool readFloats(const char* name, float low, float high, float* first, float* second);
    bool readRange(const char* name, float low, float high, float* first, float* second); // the second may be missing
    bool readBool(const char* name, bool* value);
    bool readString(const char* name, std::string* text, size_t longest); // bytes, at least one and at most 255
    bool readChoice(const char* name, const std::vector<const char*>& choices, int* choice); // a string of these
    bool beginBlock(const char* name); // a block in the block: until a nextLine of its own answers false

    bool refuseLine();                              // none of those asked about; always true
    void require(bool given, const char* expected); // at the end of a block

    bool isGood() const { return m_fault.path.empty(); }
    const DataFault& fault() const { return m_fault; }

private:
    bool takeLine();
    bool isLine(const char* name);
    bool isValue(size_t fewest, size_t most, const char* characters) const;
    bool expect(bool good, const char* name, const std::string& form);
    void blame(const std::string& expected);

    std::string m_path;
    std::string m_text; // the parser's, which cuts it
    Parser m_parser;
    std::vector<std::string> m_lines; // as they were before
    size_t m_line = 0;                // the current one, from 1
    std::vector<std::string> m_words; // in it, without a comment at its end
    char* m_token = nullptr;          // the first word, as the parser has it
    std::string m_tried;              // the names it was asked for
    DataFault m_fault;
};
