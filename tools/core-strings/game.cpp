// What a game makes of a strings file.
//
// 1. The parser's own results say which lines it took and which texts they have. A text's place in the file is the
//    place of the returned pointer in the buffer.
// 2. The string table's own answers say which entries a game can find.
//
// The program defines some functions of the library itself, and the library calls these: the file that the string
// table opens is in memory, its blocks come from malloc, its messages are dropped, and it makes no folder.
#include "tools/core-strings/game.h"

#include "core/memorymgr.h"
#include "core/parser.h"
#include "core/platform.h"
#include "core/str.h"
#include "core/stringtable.h"
#include "file/file.h"
#include "logger/logger.h"
#include "tools/shared/findings.h"

#include <algorithm>
#include <memory>
#include <new>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unordered_set>

static const std::string* s_file; // what File::open gives to the string table
static std::unordered_set<void*> s_blocks;
static _BkzFileType_s s_handle;

_BkzFileType_s* File::open(const char*, const char* mode)
{
    return s_file && strcmp(mode, "rb") == 0 ? &s_handle : nullptr; // nothing is written
}

unsigned long File::getLength(_BkzFileType_s*)
{
    return s_file->size();
}

unsigned long File::read(void* buffer, unsigned long size, unsigned long, _BkzFileType_s*)
{
    memcpy(buffer, s_file->data(), size);
    return size > 0;
}

int File::close(_BkzFileType_s*)
{
    return 0;
}

void owLogger::log(int, const char*, ...)
{
}

const char* Platform::GetAppDataDir(const char*)
{
    return "";
}

[[noreturn]] static void endWithoutMemory()
{
    fputs("core-strings: there is not enough memory\n", stderr);
    exit(TOOL_CANT_ACCESS);
}

// Never returns null, like the library's own alloc: the library would read a text that it cannot copy as another text.
// Throws nothing, because the library's destructors call this function too. Without memory the program ends. It replaces
// a file as a whole, so every file has the old contents or the new ones.
void* MemoryMgr::alloc(int, unsigned long size, const char*, unsigned int)
{
    void* block = malloc(size);
    try {
        if (block) {
            s_blocks.insert(block);
            return block;
        }
    } catch (const std::bad_alloc&) { // the program ends below
    }
    endWithoutMemory();
}

int MemoryMgr::free(int, void* block)
{
    s_blocks.erase(block);
    ::free(block);
    return 0;
}

namespace {
class ToolMemory : public MemoryMgr {
    void onOutOfMemory(int) override {}
};
} // namespace

// The library needs a memory manager. It is never destroyed: its destructor writes the sizes of banks.
static void makeMemory()
{
    if (!g_MemoryPtr && !new ToolMemory) {
        endWithoutMemory();
    }
}

bool readEntry(const std::string& line, std::string* key, std::string* translation)
{
    std::vector<char> buffer(line.begin(), line.end());
    buffer.push_back('\0');
    Parser parser(buffer.data());
    const char* const first = parser.ParseLine() ? parser.GetString() : nullptr;
    const char* const second = first && parser.GetEqualsToken() ? parser.GetString() : nullptr;
    if (second) {
        *key = first;
        *translation = second;
    }
    return second;
}

bool decodeEscapes(const std::string& escaped, std::string* text)
{
    std::vector<char> buffer(escaped.begin(), escaped.end());
    buffer.push_back('\0');
    const bool isKnown = str::unescape(buffer.data());
    *text = buffer.data();
    return isKnown;
}

std::string encodeEscapes(const std::string& text)
{
    makeMemory();
    char* escaped = nullptr;
    if (!str::escape(&escaped, text.c_str())) {
        return "";
    }
    std::string result = escaped;
    g_MemoryPtr->free(0, escaped);
    return result;
}

namespace {
// The parser at work on a copy of the text.
class Trace {
public:
    explicit Trace(const std::string& text) : m_text(text), m_buffer(text.begin(), text.end())
    {
        // A line feed at the end changes nothing for the parser, and shows below when it takes the last line.
        m_buffer.push_back('\n');
        m_buffer.push_back('\0');
    }

    std::vector<TakenLine> run()
    {
        std::vector<TakenLine> lines;
        Parser parser(m_buffer.data());
        while (parser.ParseLine()) {
            TakenLine line = _place();
            line.key = _textAt(parser.GetString());
            line.hasEquals = line.key.isPresent && parser.GetEqualsToken();
            line.value = line.hasEquals ? _textAt(parser.GetString()) : QuotedText();
            lines.push_back(std::move(line));
        }
        return lines;
    }

private:
    size_t _endOfLine(size_t begin) const { return std::min(m_text.find('\n', begin), m_text.size()); }

    // Finds the line that the parser just took: it has written a NUL over the line feed at the line's end. Otherwise
    // it took a part of a line: of the last one again, or of one that a text before it reaches into.
    TakenLine _place()
    {
        TakenLine line;
        line.begin = std::min(m_text.find_first_not_of('\n', m_next), m_text.size());
        line.end = _endOfLine(line.begin);
        if (line.begin < line.end && m_buffer[line.end] != '\n') {
            m_last = line;
            m_next = std::min(line.end + 1, m_text.size());
            return line;
        }
        line = m_last;
        line.isRepeated = true;
        return line;
    }

    QuotedText _textAt(const char* text) const
    {
        QuotedText result;
        if (!text) {
            return result;
        }
        result.isPresent = true;
        result.begin = static_cast<size_t>(text - m_buffer.data());
        result.end = result.begin; // the parser's rule: a quote that has no backslash directly before it
        while (result.end < m_text.size() && (m_text[result.end] != '"' || m_text[result.end - 1] == '\\')) {
            ++result.end;
        }
        result.text = text;
        return result;
    }

    const std::string& m_text;
    std::vector<char> m_buffer;
    size_t m_next = 0;
    TakenLine m_last;
};
} // namespace

// Asks the string table for the keys of all entries.
static void askForKeys(const std::string& bytes, std::vector<TakenLine>* lines)
{
    makeMemory();
    s_file = &bytes;
    {
        const auto table = std::unique_ptr<StringTable>(new StringTable);
        table->setLanguage("");
        for (TakenLine& line : *lines) {
            // A key that is not in the table becomes its own translation, so a value that equals its key needs the
            // check that the answer isn't the tool's own text.
            const char* answer = line.value.isPresent ? table->translate(line.key.text.c_str()) : nullptr;
            line.isFound = answer && answer != line.key.text.c_str() && line.value.text == answer;
        }
    }
    s_file = nullptr;
    for (void* block : s_blocks) { // a full table does not free the records of further entries
        ::free(block);
    }
    s_blocks.clear();
}

GamesView readAsGame(const std::string& bytes)
{
    GamesView view;
    const size_t begin = bytes.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
    view.text = bytes.substr(begin, bytes.find('\0', begin) - begin);
    view.lines = Trace(view.text).run();
    askForKeys(bytes, &view.lines);
    return view;
}
