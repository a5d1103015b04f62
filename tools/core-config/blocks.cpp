#include "tools/core-config/blocks.h"

#include <algorithm>

namespace config {

bool isBlockHead(const ConfigText& text, size_t line, const std::vector<Word>& words, std::vector<Word>* scratch)
{
    static const size_t sc_farthest = 100; // lines
    if (std::any_of(words.begin(), words.end(), [&](const Word& word) { return text.is(word, '{'); })) {
        return true;
    }
    if (words.size() > 1 && text.is(words[1], '=')) {
        return false;
    }
    for (size_t next = line + 1; next < std::min(line + sc_farthest, text.lines().size()); ++next) {
        text.wordsOf(next, scratch);
        if (!scratch->empty()) {
            return text.is((*scratch)[0], '{');
        }
    }
    return false;
}

BlockMap::BlockMap(const ConfigText& text)
{
    std::vector<Word> words;
    std::vector<Word> scratch;
    std::string name; // of the last head, until its open brace is found
    size_t block = 0;
    const auto open = [&] {
        m_blocks.push_back({name, block});
        block = m_blocks.size() - 1;
        name.clear();
    };
    for (size_t line = 0; line < text.lines().size(); ++line) {
        text.wordsOf(line, &words);
        const bool isOpen = !words.empty() && text.is(words[0], '{');
        const bool isClose = !words.empty() && text.is(words[0], '}');
        const bool isHead = !words.empty() && !isOpen && !isClose && isBlockHead(text, line, words, &scratch);
        m_lines.push_back({block, isHead, isOpen || isClose});
        if (isOpen) {
            open();
        } else if (isClose) {
            block = m_blocks[block].outer;
        } else if (isHead) {
            name = text.text(words[0]);
            if (text.is(words.back(), '{')) {
                open();
            }
        }
    }
}

} // namespace config
