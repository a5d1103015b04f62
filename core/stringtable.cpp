// The string table: loading a strings file, finding translations, collecting and exporting texts.
//
// 1. Each entry owns two blocks: its record and its text. Only the destructor of the table frees them.
// 2. An entry is never replaced. Of several entries with the same key, the oldest is found.
// 3. A table that has opened a strings file never writes one.
//
// The line in the tag of each block is a frozen number (56, 146, 169, 221, 226), and not a line of this file:
// docs/architecture.md, "Numbers in block tags".
#include "core/stringtable.h"
#include "core/hashtable.h"
#include "core/hashtable_rules.h"
#include "core/otherslinks.h"
#include "core/parser.h"
#include "core/str.h"
#include "file/file.h"
#include "logger/logger.h"

#include <algorithm>
#include <assert.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

static const char* const sc_source = "core/stringtable";

// The largest strings file in bytes, a little less than 2 GiB. A longer file is refused with the message for
// missing memory. Otherwise the request for its block would end the game.
static const unsigned long sc_longestFile = 0x7fffff00;

StringTable* g_stringTblPtr;

char StringTable::s_localePath[1024];
const char* const StringTable::sc_stringFileName = "strings.utf8";

// Returns true if the hash table keeps its rules. Otherwise prints the first broken rule and returns false.
[[maybe_unused]] static bool keepsItsRules(const HashTable<_StringTableNode_s>& table)
{
    const char* broken = BrokenHashRule(table);
    if (broken) {
        fprintf(stderr, "a string table breaks a rule: %s\n", broken);
    }
    return !broken;
}

StringTable::StringTable() : m_loaded(0), m_table(nullptr)
{
    m_spare[0] = '\0';
    m_language[0] = '\0';
    m_table = new (sc_source, 56) HashTable<_StringTableNode_s>(1021, 1024); // 56: frozen; 1021 buckets, 1024 nodes
    g_stringTblPtr = this;
}

static void freeTexts(HashTable<_StringTableNode_s>* table)
{
    HashTableIter_t<_StringTableNode_s> it;
    const _StringTableNode_s* entry = table->getFirstElement(it);
    for (; entry; entry = table->getNextElement(it)) {
        if (entry->string) {
            FreeInBank(0, entry->string);
        }
    }
}

StringTable::~StringTable()
{
    g_stringTblPtr = nullptr;
    if (m_table) { // null without a memory manager: an export would then empty an existing strings file
        assert(keepsItsRules(*m_table));
        if (!m_loaded) {
            _exportStringTable();
        }
        freeTexts(m_table);
        m_table->removeAll(true);
    }
    delete m_table;
}

void StringTable::s_setLocalePath(const char* path)
{
    if (!path || path[0] == '\0') {
        return;
    }
    const size_t length = std::min(strlen(path), sizeof(s_localePath) - 1);
    memmove(s_localePath, path, length);
    s_localePath[length] = '\0';
}

// Returns the path of the strings file, in a static buffer. The path is truncated to 127 bytes, deliberately.
const char* StringTable::_stringTableFilename()
{
    static char filename[128];
    if (s_localePath[0] != '\0') {
        snprintf(filename, sizeof(filename), "%s/%s", s_localePath, sc_stringFileName);
    } else {
        snprintf(filename, sizeof(filename), "%s", sc_stringFileName);
    }
    return filename;
}

// Returns the end of the printf conversion that begins at percent; null if the '%' begins no conversion.
static const char* conversionEnd(const char* percent)
{
    const char* letter = percent + 1 + strspn(percent + 1, "-+ #'0123456789.*$hlLqjzt");
    return *letter != '\0' && strchr("%diouxXeEfFgGaAcCsSpnm", *letter) ? letter + 1 : nullptr;
}

// Copies a printf format to out, at most size - 1 bytes and a NUL. Leaves out the conversions. "%%" becomes "%",
// and a '%' that begins no conversion is copied.
static void formatWithoutArguments(char* out, size_t size, const char* format)
{
    const char* const last = out + size - 1;
    while (*format != '\0' && out < last) {
        const char* end = *format == '%' ? conversionEnd(format) : nullptr;
        if (!end || end[-1] == '%') {
            *out++ = *format;
        }
        format = end ? end : format + 1;
    }
    *out = '\0';
}

// Reads the whole file into a block of bank 0, adds a NUL and closes the file. Returns the text. On failure logs a
// message and returns null; the file is then not closed, deliberately.
static char* readText(_BkzFileType_s* file, const char* path)
{
    const unsigned long length = File::getLength(file);
    void* block = length <= sc_longestFile ? AllocInBank(0, length + 1, sc_source, 146) : nullptr; // 146: frozen
    if (!block) {
        owLogger::log(3, "^CFF0000StringTable::setLanguage:^c ^CFF0000Memory Allocation Error^c %s\f", path);
        return nullptr;
    }
    char* text = static_cast<char*>(memset(block, 0, length + 1));
    if (File::read(text, length, 1, file) != 1) {
        owLogger::log(3, "^CFF0000StringTable::setLanguage:^c ^CFF0000File I/O Error:^c %s\f", path);
        FreeInBank(0, text);
        return nullptr;
    }
    File::close(file);
    return text;
}

bool StringTable::setLanguage(const char* language)
{
    if (!language) {
        return false;
    }
    formatWithoutArguments(m_language, sizeof(m_language), language);
    const char* path = _stringTableFilename();
    _BkzFileType_s* file = File::open(path, "rb");
    if (!file) {
        owLogger::log(6, "^CFF0000StringTable::setLanguage: ^c File Not Found: \"^CFFFF00%s^c\"\f", path);
        return false;
    }
    m_loaded = 1;
    if (char* text = readText(file, path)) {
        _parseStringTable(text);
        FreeInBank(0, text);
    }
    return true;
}

void StringTable::_parseStringTable(char* text)
{
    const bool hasByteOrderMark = strncmp(text, "\xEF\xBB\xBF", 3) == 0;
    Parser* parser = new (sc_source, 169) Parser(hasByteOrderMark ? text + 3 : text); // 169: frozen
    while (parser && parser->ParseLine()) {
        _parseStringTableEntry(parser);
    }
    delete parser;
}

void StringTable::_parseStringTableEntry(Parser* parser)
{
    const char* key = parser->GetString();
    if (!key || !parser->GetEqualsToken()) {
        return;
    }
    if (const char* translation = parser->GetString()) {
        _insertString(key, reinterpret_cast<const unsigned char*>(translation));
    }
}

// Adds an entry with a copy of text. Deliberate: if the table is full, the entry's record and its text are not
// freed. A leak report shows them as "core/stringtable" with the lines 221 and 226.
void StringTable::_insertString(const char* key, const unsigned char* text)
{
    if (!m_table) {
        return;
    }
    void* record = AllocInBank(0, sizeof(_StringTableNode_s), sc_source, 221); // 221: frozen
    if (!record) {
        return;
    }
    const size_t size = strlen(reinterpret_cast<const char*>(text)) + 1;
    void* copy = AllocInBank(0, size, sc_source, 226); // 226: frozen
    if (!copy) {
        FreeInBank(0, record);
        return;
    }
    _StringTableNode_s* entry = static_cast<_StringTableNode_s*>(record);
    entry->string = static_cast<char*>(memcpy(copy, text, size));
    [[maybe_unused]] const HashData<_StringTableNode_s>* node = m_table->insert(key, entry);
    assert(entry->string != reinterpret_cast<const char*>(text) && "1: each entry owns two blocks");
    assert((!node || !node->m_next) && "2: of several entries with the same key, the oldest is found");
}

const char* StringTable::translate(const char* text)
{
    const _StringTableNode_s* entry = m_table ? m_table->getData(text) : nullptr;
    if (!entry && m_table && text) {
        _insertString(text, reinterpret_cast<const unsigned char*>(text));
        entry = m_table->getData(text);
    }
    if (!entry) {
        // Deliberate: the message shows the text's address as a number, not the text. 64-bit hosts show its low 32
        // bits.
        const int address = static_cast<int>(reinterpret_cast<uintptr_t>(text));
        owLogger::log(3, "Failed to insert translated string: ^CFFFF00%d^c\f", address);
        return text;
    }
    return entry->string;
}

// Writes one entry. Returns false, and writes nothing, if a text cannot be escaped for lack of memory.
static bool writeEntry(FILE* stream, const char* key, const char* text)
{
    char* escapedKey = nullptr;
    if (!str::escape(&escapedKey, key)) {
        return false;
    }
    char* escapedText = nullptr;
    const bool escaped = str::escape(&escapedText, text);
    if (escaped) {
        fprintf(stream, "\"%s\" = \"%s\"\n", escapedKey, escapedText);
        FreeInBank(0, escapedText);
    }
    FreeInBank(0, escapedKey);
    return escaped;
}

void StringTable::_exportStringTable()
{
    assert(!m_loaded && "3: a table that has opened a strings file never writes one");
    const char* path = _stringTableFilename();
    if (HasOthersLink(path)) {
        owLogger::log(
            3,
            "^CFF0000StringTable::_exportStringTable:^c The texts are not written through another user's link: "
            "\"^CFFFF00%s^c\"\f",
            path);
        return;
    }
    _BkzFileType_s* file = File::open(path, "w");
    if (!file) {
        owLogger::log(
            6, "^CFF0000StringTable::_exportStringTable:^c Failed to open file for writing: \"^CFFFF00%s^c\"\f",
            path);
        return;
    }
    HashTableIter_t<_StringTableNode_s> it;
    const _StringTableNode_s* entry = m_table->getFirstElement(it);
    while (entry && g_MemoryPtr) {
        // Deliberate: if an entry cannot be escaped, the loop tries the same entry again, without a limit.
        if (writeEntry(file->stream, it.key, entry->string)) {
            entry = m_table->getNextElement(it);
        }
    }
    File::close(file);
}

// These lines compile all functions of the templates for this record. So the list of the library's exported symbols
// does not depend on which functions a compiler inlines.
template class HashData<_StringTableNode_s>;
template class HashPool<_StringTableNode_s>;
template class HashTable<_StringTableNode_s>;
