// A strings file of any bytes: it is loaded, each of its lines is translated, and what a table has collected is
// written out and loaded again.
//
// The file is in memory, and each block of the library's has exactly its size: the sanitizers see a step too far.
//
// To make and free the 1024 nodes and 1021 buckets of a game's table takes a hundred times as long as to read a small
// file. So most inputs use a table with 64 nodes and 31 buckets, which all of them share and which is emptied after each.
// An input of 200 bytes uses tables of a game's size, and their constructors and destructors.
#include "core/hashtable.h"
#include "core/stringtable.h"
#include "logger/logger.h"

#include "tests/fuzz/observe.h"
#include "tests/fuzz/plain_memory.h"
#include "tests/support/memory_file.h"
#include "tests/support/stringtable_access.h"

#include <algorithm>
#include <stdarg.h>
#include <stdio.h>
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

static bool endsInBackslash(const std::string& text)
{
    return !text.empty() && text.back() == '\\';
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
            returns = returns && (key.empty() || (!endsInBackslash(key) && !endsInBackslash(text)));
            entries.push_back({key, text});
        }
        std::sort(entries.begin(), entries.end()); // a key that was cut comes back in another bucket
    }

    void observe() const
    {
        for (const auto& [key, text] : entries) {
            observeText(key);
            observeText(text);
        }
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

static const size_t sc_smallTable = 64; // entries

// The table that most inputs share. It is never destroyed.
static StringTable& smallTable()
{
    static StringTable* s_table;
    if (!s_table) {
        s_table = new ("fuzz", 1) StringTable;
        delete m_tableOf(*s_table);
        m_tableOf(*s_table) = new ("fuzz", 2) HashTable<_StringTableNode_s>(31, sc_smallTable);
        s_blocks.clear(); // these blocks are not the input's
    }
    return *s_table;
}

// Empties the shared table as the destructor of a table does, after the table has written its texts if it would.
static void emptySmallTable()
{
    StringTable& table = smallTable();
    if (!m_loadedOf(table)) {
        exportTable(table);
    }
    HashTableIter_t<_StringTableNode_s> it;
    HashTable<_StringTableNode_s>& hashTable = *m_tableOf(table);
    const _StringTableNode_s* entry = hashTable.getFirstElement(it);
    for (; entry; entry = hashTable.getNextElement(it)) {
        g_MemoryPtr->free(0, entry->string);
    }
    hashTable.removeAll(true);
    m_loadedOf(table) = 0;
}

// Does some work with an empty table, and ends the table.
template <typename Work>
static void withTable(bool isSmall, Work work)
{
    if (isSmall) {
        work(smallTable());
        emptySmallTable();
    } else {
        StringTable table;
        work(table);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    makePlainMemory();
    const bool isSmall = size != 200;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::vector<std::string> lines = linesOf(bytes);
    smallTable();

    s_file = bytes;
    withTable(isSmall, [&](StringTable& table) {
        table.setLanguage(lines[0].c_str());
        for (const std::string& line : lines) {
            translate(table, line);
        }
        table.setLanguage(""); // adds them all once more
        Contents(table).observe();
    });
    if (s_file != bytes) {
        abort(); // a table that has opened a file writes none
    }

    std::vector<std::pair<std::string, std::string>> collected;
    bool returns;
    withTable(isSmall, [&](StringTable& table) {
        for (const std::string& line : lines) {
            translate(table, line);
        }
        Contents contents(table);
        returns = contents.returns;
        collected = contents.entries;
    });
    observeText(s_file);
    withTable(isSmall, [&](StringTable& table) {
        table.setLanguage("");
        if (returns && Contents(table).entries != collected) {
            abort();
        }
    });

    // Only what found no node is left.
    if (lines.size() * 3 < (isSmall ? sc_smallTable : 1024) && !s_blocks.empty()) {
        abort();
    }
    while (!s_blocks.empty()) {
        g_MemoryPtr->free(0, *s_blocks.begin());
    }
    return 0;
}
