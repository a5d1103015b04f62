#include "watch/linktables.h"

#include <algorithm>

namespace watch {

// The record of a table, as a 64-bit build lays it out (core/memorymgr_refs.cpp):
//
//   0                                160         164      168           172
//   +--------------------------------+-----------+--------+-------------+-----------+
//   | 20 pointers to chunks, 0: none | m_chunks- | m_dealt| m_firstFree | m_free-   |
//   |                                | Count     |        | (links only)| Count     |
//   +--------------------------------+-----------+--------+-------------+-----------+
static const uint32_t sc_chunks = 20;
static const uint32_t sc_countOffset = 160;
static const uint32_t sc_dealtOffset = 164;
static const uint32_t sc_recordSize = 168;
static const uint32_t sc_firstChunk = 1024; // entries; chunk k has sc_firstChunk << k of them

static const uint32_t sc_linksSize = 24; // bytes of an entry of the table of links: next, prev, nextFree
static const uint32_t sc_prevOffset = 8;
static const uint32_t sc_nameSize = 8; // bytes of an entry of the table of names: a pointer

static const size_t sc_longestName = 1024;          // bytes: a longer source name is truncated
static const uint64_t sc_largestRange = 256u << 20; // bytes: of a larger range only the beginning is searched
static const uint64_t sc_searchPart = 1u << 20;     // bytes that are searched at once

struct TableRecord {
    uint64_t chunks[sc_chunks];
    uint32_t chunkCount;
    uint32_t dealt; // entries
};

static uint32_t capacityOf(uint32_t chunkCount)
{
    return (sc_firstChunk << chunkCount) - sc_firstChunk;
}

static TableRecord recordAt(const MemoryReader& memory, const unsigned char* bytes)
{
    TableRecord record;
    for (uint32_t index = 0; index < sc_chunks; ++index) {
        record.chunks[index] = memory.pointerAt(bytes + 8 * index);
    }
    record.chunkCount = memory.wordAt(bytes + sc_countOffset);
    record.dealt = memory.wordAt(bytes + sc_dealtOffset);
    return record;
}

static bool isTable(const TableRecord& record, const MemoryRange& range)
{
    if (record.chunkCount == 0 || record.chunkCount > sc_chunks || record.dealt > capacityOf(record.chunkCount) ||
        record.chunks[0] - range.begin >= range.end - range.begin) {
        return false; // the first chunk is a static array beside the table
    }
    for (uint32_t index = 0; index < sc_chunks; ++index) {
        if ((record.chunks[index] != 0) != (index < record.chunkCount)) {
            return false;
        }
    }
    return true;
}

// True when the first entries are pointers to texts. A link of a fallback block is null, or points to a header, whose
// mark is no text.
static bool hasTexts(const MemoryReader& memory, const TableRecord& record)
{
    const uint32_t count = std::min(record.dealt, 16u);
    for (uint32_t index = 0; index < count; ++index) {
        uint64_t name = 0;
        std::string text;
        if (!memory.readPointer(record.chunks[0] + index * sc_nameSize, &name) || name == 0 ||
            !memory.readText(name, sc_longestName, &text)) {
            return false;
        }
        if (text.compare(0, 4, "\xce\xfa\xed\xfe") == 0 || text.compare(0, 4, "\xfe\xed\xfa\xce") == 0) {
            return false;
        }
    }
    return count != 0;
}

// Looks at one record that has the form of a table.
static void addTable(const MemoryReader& memory, uint64_t address, const TableRecord& record, LinkTables* found)
{
    uint32_t firstFree = 0;
    uint32_t freeCount = 0;
    if (hasTexts(memory, record)) {
        found->names = found->names ? found->names : address;
    } else if (record.dealt != 0 && memory.readWord(address + sc_recordSize, &firstFree) &&
               memory.readWord(address + sc_recordSize + 4, &freeCount) && firstFree <= record.dealt &&
               freeCount <= record.dealt) {
        found->links = found->links ? found->links : address;
    }
}

static void searchRange(const MemoryReader& memory, const MemoryRange& range, LinkTables* found)
{
    const uint64_t end = range.begin + std::min(range.end - range.begin, sc_largestRange);
    const uint64_t first = (range.begin + 7) & ~uint64_t(7);
    std::vector<unsigned char> bytes;
    for (uint64_t at = first; at < end && end - at >= sc_recordSize; at += sc_searchPart) {
        const uint64_t part = std::min(end - at, sc_searchPart + sc_recordSize);
        bytes.resize(static_cast<size_t>(part));
        if (!memory.read(at, bytes.data(), bytes.size())) {
            continue;
        }
        for (size_t place = 0; place + sc_recordSize <= bytes.size() && place < sc_searchPart; place += 8) {
            const uint32_t chunkCount = memory.wordAt(bytes.data() + place + sc_countOffset);
            if (chunkCount == 0 || chunkCount > sc_chunks) {
                continue;
            }
            const TableRecord record = recordAt(memory, bytes.data() + place);
            if (isTable(record, range)) {
                addTable(memory, at + place, record, found);
            }
        }
    }
}

LinkTables findLinkTables(const MemoryReader& memory, const std::vector<MemoryRange>& writable)
{
    LinkTables found;
    for (const MemoryRange& range : writable) {
        if (memory.layout().wordSize == 8 && range.begin < range.end) {
            searchRange(memory, range, &found);
        }
    }
    return found;
}

LinkTable::LinkTable(const MemoryReader& memory, uint64_t table) : m_chunks(), m_chunkCount(0), m_dealt(0)
{
    unsigned char bytes[sc_recordSize];
    if (table == 0 || !memory.read(table, bytes, sizeof(bytes))) {
        return;
    }
    const TableRecord record = recordAt(memory, bytes);
    if (record.chunkCount <= sc_chunks && record.dealt <= capacityOf(record.chunkCount)) {
        std::copy(record.chunks, record.chunks + sc_chunks, m_chunks);
        m_chunkCount = record.chunkCount;
        m_dealt = record.dealt;
    }
}

uint64_t LinkTable::entryAt(uint32_t number, uint32_t entrySize) const
{
    if (number >= m_dealt) {
        return 0;
    }
    uint32_t chunk = 0;
    while (number >= capacityOf(chunk + 1)) {
        chunk += 1;
    }
    const uint64_t first = m_chunks[chunk];
    return first == 0 ? 0 : first + static_cast<uint64_t>(number - capacityOf(chunk)) * entrySize;
}

bool readName(const MemoryReader& memory, const LinkTables& tables, uint32_t word, std::string* out)
{
    out->clear();
    if (word == 0) {
        return true;
    }
    uint64_t name = word;
    if (memory.layout().wordSize == 8) {
        const uint64_t entry = LinkTable(memory, tables.names).entryAt(word - 1, sc_nameSize);
        if (entry == 0 || !memory.readPointer(entry, &name)) {
            return false;
        }
    }
    return name != 0 && memory.readText(name, sc_longestName, out);
}

bool readLink(const MemoryReader& memory, const LinkTable& links, uint64_t at, uint32_t word, uint64_t* node)
{
    if (memory.layout().wordSize == 4) {
        *node = word;
        return true;
    }
    if (!(word & 1)) { // a node of a bank: the distance from the word
        *node = word ? at + static_cast<uint64_t>(static_cast<int64_t>(static_cast<int32_t>(word))) : 0;
        return true;
    }
    const uint64_t entry = links.entryAt(word / 4, sc_linksSize);
    return entry != 0 && memory.readPointer(entry + (word & 2 ? sc_prevOffset : 0), node);
}

} // namespace watch
