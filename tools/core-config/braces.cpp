#include "tools/core-config/braces.h"

#include <algorithm>

namespace config {

void Braces::add(size_t line, const Word& word, bool isOpen)
{
    const std::string& bytes = m_text.bytes();
    const size_t begin = m_text.lines()[line].begin;
    size_t first = begin;
    while (isBlank(bytes[first])) {
        ++first;
    }
    m_braces.push_back({line, word.begin, first - begin, isOpen});
    if (isOpen) {
        ++m_depth;
    } else if (m_depth > 0) {
        --m_depth;
    } else {
        m_isBalanced = false;
    }
}

// Returns the first word of the block's head: of the brace's line, or of the last line with words before it.
std::string Braces::_titleOf(const Brace& brace) const
{
    static const size_t sc_farthest = 20; // lines
    std::vector<Word> words;
    for (size_t back = 0; back <= std::min(brace.line, sc_farthest); ++back) {
        m_text.wordsOf(brace.line - back, &words);
        if (!words.empty() && words[0].begin < brace.place) {
            return m_text.text(words[0]);
        }
    }
    return "";
}

void Braces::_blameOpen(const Brace& brace, Faults* faults) const
{
    const std::string title = _titleOf(brace);
    const std::string block = title.empty() ? "the block" : "the block " + quoted(title);
    faults->push_back({brace.place,
                       1,
                       true,
                       block + " that opens here is never closed",
                       "write \"}\" at the end of the block",
                       "open-brace",
                       {}});
}

void Braces::check(Faults* faults) const
{
    if (m_isBalanced && m_depth == 0) {
        return; // also if the indentation is strange
    }
    std::vector<const Brace*> open;
    for (const Brace& brace : m_braces) {
        if (brace.isOpen) {
            open.push_back(&brace);
            continue;
        }
        const auto partner = std::find_if(open.rbegin(), open.rend(), [&](const Brace* candidate) {
            return candidate->indentation == brace.indentation;
        });
        const bool isLost = partner != open.rend() && open.back()->indentation > brace.indentation;
        while (isLost && open.back()->indentation > brace.indentation) {
            _blameOpen(*open.back(), faults);
            open.pop_back();
        }
        if (open.empty()) {
            faults->push_back({brace.place,
                               1,
                               true,
                               "this brace closes no block",
                               "remove \"}\", or write the \"{\" that is missing before it",
                               "close-brace",
                               {}});
        } else {
            open.pop_back();
        }
    }
    for (const Brace* brace : open) {
        _blameOpen(*brace, faults);
    }
}

} // namespace config
