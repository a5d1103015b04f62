// A strings file of any bytes: it is loaded, each of its lines is translated, and what a table has collected is
// written out and loaded again.
//
// The file is in memory, and each block of the library's has exactly its size: the sanitizers see a step too far.
#include "core/hashtable.h"
#include "core/platform.h"
#include "core/stringtable.h"
#include "logger/logger.h"

#include "tests/support/memory_file.h"
#include "tests/support/stringtable_access.h"

#include <algorithm>
#include <set>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <vector>

// Messages have to be good enough to be printed.
__attribute__((format(printf, 2, 3))) void owLogger::log(int level, const char* format, ...)
{
    char text[512];
    va_list args;
    va_start(args, format);
    const int length = vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    if ((level != 3 && level != 6) || length < 0 || text[length - 1] != '\f') {
        abort();
    }
}

const char* Platform::GetAppDataDir(const char*)
{
    return "";
}

class Memory : public MemoryMgr {
    void onOutOfMemory(int) override {}
};

static std::set<void*> s_blocks;

void* MemoryMgr::alloc(int, unsigned long size, const char*, unsigned int)
{
    return *s_blocks.insert(malloc(size)).first;
}

int MemoryMgr::free(int, void* block)
{
    if (s_blocks.erase(block) != 1) {
        abort();
    }
    ::free(block);
    return 0;
}

// What a table holds, and whether all of it can be written and read back.
struct Contents {
    explicit Contents(StringTable& table)
    {
        HashTableIter_t<_StringTableNode_s> it;
        HashTable<_StringTableNode_s>& hashTable = *m_tableOf(table);
        const _StringTableNode_s* entry = hashTable.getFirstElement(it);
        for (; entry; entry = hashTable.getNextElement(it)) {
            const std::string key = it.key;
            const std::string text = entry->string;
            returns = returns && (key.empty() || (key.back() != '\\' && text.back() != '\\'));
            entries.push_back({key, text});
        }
        std::sort(entries.begin(), entries.end()); // a key that was cut comes back in another bucket
    }

    std::vector<std::pair<std::string, std::string>> entries;
    bool returns = true;
};

// A text that was asked for before is where it was, and any other is the table's copy of it.
static void translate(StringTable& table, const std::string& text)
{
    const char* got = table.translate(text.c_str());
    const bool added = got != text.c_str();
    if (strlen(got) > text.size() + s_file.size() || (added && table.translate(text.c_str()) != got)) {
        abort();
    }
}

static std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines{""};
    for (char letter : text) {
        if (letter == '\n') {
            lines.push_back("");
        } else if (letter != '\0') {
            lines.back() += letter;
        }
    }
    return lines;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Memory s_memory;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::vector<std::string> lines = linesOf(bytes);

    s_file = bytes;
    {
        StringTable table;
        table.setLanguage(lines[0].c_str());
        for (const std::string& line : lines) {
            translate(table, line);
        }
        table.setLanguage(""); // adds them all once more
    }
    if (s_file != bytes) {
        abort(); // a table that has opened a file writes none
    }

    std::vector<std::pair<std::string, std::string>> collected;
    bool returns;
    {
        StringTable table;
        for (const std::string& line : lines) {
            translate(table, line);
        }
        Contents contents(table);
        returns = contents.returns;
        collected = contents.entries;
    }
    {
        StringTable table;
        table.setLanguage("");
        if (returns && Contents(table).entries != collected) {
            abort();
        }
    }

    // Only what found no node is left.
    if (lines.size() < 200 && size < 1024 && !s_blocks.empty()) {
        abort();
    }
    while (!s_blocks.empty()) {
        s_memory.free(0, *s_blocks.begin());
    }
    return 0;
}
