// A config file as its author sees it: lines and words, each with its place.
//
//     ConfigText text(bytes);
//     std::vector<Word> words;
//     for (size_t line = 0; line < text.lines().size(); ++line) {
//         text.wordsOf(line, &words);                  // none on an empty line and on a comment
//     }
//
// The words of a line are those that Parser returns for it, when the game calls GetString for each word that begins
// with a double quote, and GetToken(" ") for the others. Reading stops at a comment at the end of the line.
#pragma once

#include <stddef.h>
#include <string>
#include <vector>

namespace config {

struct Line {
    size_t begin;
    size_t end;  // of its text: the carriage returns and the line feed at its end do not belong to it
    size_t next; // the beginning of the next line
};

struct Word {
    size_t begin;
    size_t end;
    bool isString; // begins with a double quote
    bool isClosed; // of a string: the end of the string is in the line
};

class ConfigText {
public:
    // The library takes a NUL for the end of the text, so this class ignores the bytes after it.
    explicit ConfigText(std::string bytes);

    const std::string& bytes() const { return m_bytes; } // all of them
    size_t size() const { return m_size; }               // bytes before the first NUL
    const std::vector<Line>& lines() const { return m_lines; }

    // Returns the index of the line with this place.
    size_t lineOf(size_t place) const;

    void wordsOf(size_t line, std::vector<Word>* words) const;
    std::string text(const Word& word) const { return m_bytes.substr(word.begin, word.end - word.begin); }
    bool is(const Word& word, char mark) const { return word.end - word.begin == 1 && m_bytes[word.begin] == mark; }

    // Returns the text between the quotes of a string.
    std::string inside(const Word& word) const;

private:
    std::string m_bytes;
    size_t m_size;
    std::vector<Line> m_lines;
};

// True for the space and the tab, which the library skips before a word.
inline bool isBlank(char letter)
{
    return letter == ' ' || letter == '\t';
}

} // namespace config
