// A data file of the game: blocks in braces, which contain lines of the form `name = value`.
//
//     DataFile file("Game/units.txt");
//     while (file.nextBlock("unit")) {
//         while (file.nextLine()) {                    // false after the closing brace
//             file.readString("title", &title, 30) || file.readInt("health", 1, 1000, &health) ||
//                 file.refuseLine();
//         }
//         file.require(health > 0, "health = int32");
//     }
//     if (file.isGood()) { ... }                       // the whole file
//
// Parser logs a line that it cannot read and continues with the next line. DataFile stops at the first fault: a game
// that starts with half of its data fails later, where the cause is hard to see.
//
// DataFile needs no memory manager, because the game reads the definitions of its banks with it.
#pragma once

#include "demo/picture.h"

#include "core/parser.h"

#include <string>
#include <vector>

struct DataFault {
    std::string path;      // empty when there is no fault
    unsigned int line = 0; // from 1; 0 when the file can't be read at all
    std::string expected;  // the form that the line should have: "health = int32, 1..1000"
    std::string found;     // the line in the file
};

class DataFile {
public:
    explicit DataFile(const std::string& path);

    DataFile(const DataFile&) = delete;
    DataFile& operator=(const DataFile&) = delete;

    // Each returns false at the end of the file or block, and after a fault.
    bool nextBlock(const char* name); // goes to the next block of the file; a block with a different name is a fault
    bool nextLine();                  // goes to the next line of the current block; false after its closing brace

    // Each returns true when the current line has this name. A wrong value is a fault and is not stored.
    bool readInt(const char* name, int low, int high, int* value);
    bool readInts(const char* name, int low, int high, int* first, int* second); // second >= first
    bool readWord(const char* name, unsigned int* value);                        // 0 to 999999999
    bool readFloat(const char* name, float low, float high, float* value);
    bool readFloats(const char* name, float low, float high, float* first, float* second);
    bool readRange(const char* name, float low, float high, float* first, float* second); // second may be missing
    bool readBool(const char* name, bool* value);
    bool readString(const char* name, std::string* text, size_t longest); // 1 to longest bytes; longest <= 255
    bool readChoice(const char* name, const std::vector<const char*>& choices, int* choice); // stores the index
    bool readColour(const char* name, unsigned int* colour);       // "rrggbb", in small letters
    bool readPoints(const char* name, std::vector<Point>* points); // "x y x y x y ...", three points or more
    bool beginBlock(const char* name); // an inner block: read its lines until nextLine returns false

    bool refuseLine();                              // the line has none of the tried names: a fault; returns true
    void require(bool given, const char* expected); // call it at the end of a block: false for given is a fault

    bool isGood() const { return m_fault.path.empty(); }
    const DataFault& fault() const { return m_fault; }

private:
    bool takeLine();
    bool isLine(const char* name);
    template <class Number, class Read>
    bool readNumbers(const char* name, const std::string& types, Number low, Number high,
                     const std::vector<Number*>& values, Read read);
    bool expect(bool good, const char* name, const std::string& form);
    void blame(const std::string& expected);

    std::string m_path;
    std::string m_text; // the text for the parser, which writes NULs into it
    Parser m_parser;
    std::vector<std::string> m_lines; // of the text, as they are in the file
    size_t m_line = 0;                // the current line, from 1
    std::vector<std::string> m_words; // of the current line, without a comment at its end
    char* m_token = nullptr;          // the first word of the line, in m_text
    std::string m_tried;              // the names that the current line was compared with
    DataFault m_fault;
};
