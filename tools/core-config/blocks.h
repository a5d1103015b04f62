// The blocks of a config file: tells which lines are heads, and in which block each line is.
#pragma once

#include "tools/core-config/configtext.h"

#include <string>
#include <vector>

namespace config {

// Returns true if the line is the head of a block: the line contains an open brace; or its second word is not "=" and
// the next line with words begins with an open brace. words are the words of the line; *scratch is a buffer for other
// lines.
bool isBlockHead(const ConfigText& text, size_t line, const std::vector<Word>& words, std::vector<Word>* scratch);

// The blocks of a file, in the order of their heads.
//
//     const BlockMap map(text);
//     const BlockMap::Block& block = map.blocks()[map.blockOf(line)];    // the block that the line is in
//
class BlockMap {
public:
    struct Block {
        std::string name; // empty for the whole file, and for a block without a head
        size_t outer;     // the index of the block around it; 0 for the whole file
    };

    explicit BlockMap(const ConfigText& text);

    const std::vector<Block>& blocks() const { return m_blocks; } // the first one is the whole file
    size_t blockOf(size_t line) const { return m_lines[line].block; }
    bool isHead(size_t line) const { return m_lines[line].isHead; }
    bool isBrace(size_t line) const { return m_lines[line].isBrace; } // the line begins with a brace

private:
    struct LineFacts {
        size_t block;
        bool isHead;
        bool isBrace;
    };

    std::vector<Block> m_blocks = {{"", 0}};
    std::vector<LineFacts> m_lines;
};

} // namespace config
