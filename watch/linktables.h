// The two tables that the 32-bit links of a 64-bit game refer to: source names and fallback links.
//
// core/memorymgr_refs.h describes the links. The tables are private to the library, and a stripped library has no
// symbol for them. So they are found by their form: 20 pointers to chunks, of which the first few are set, then the
// count of the chunks, then the count of the entries. A 32-bit game has plain pointers and no tables.
#pragma once

#include "watch/memoryreader.h"

namespace watch {

struct MemoryRange {
    uint64_t begin;
    uint64_t end; // the address after the last byte
};

struct LinkTables {
    uint64_t names = 0; // addresses of the two records; 0: not found, or not needed
    uint64_t links = 0;
};

// Finds the tables in the writable memory of the program or library that contains the memory manager.
LinkTables findLinkTables(const MemoryReader& memory, const std::vector<MemoryRange>& writable);

// A table whose record was read once, for a walk that follows many links at one moment of the game.
class LinkTable {
public:
    // table is one of the addresses in LinkTables.
    LinkTable(const MemoryReader& memory, uint64_t table);

    // Returns the address of an entry; 0 when the table has no such entry.
    uint64_t entryAt(uint32_t number, uint32_t entrySize) const;

private:
    static const uint32_t sc_chunks = 20;

    uint64_t m_chunks[sc_chunks];
    uint32_t m_chunkCount;
    uint32_t m_dealt; // entries
};

// Read the source name, or the node, that a word of a header refers to. `at` is the address of the word. Both return
// false when the word leads nowhere. A null link gives the node 0; a null name gives an empty text.
bool readName(const MemoryReader& memory, const LinkTables& tables, uint32_t word, std::string* out);
bool readLink(const MemoryReader& memory, const LinkTable& links, uint64_t at, uint32_t word, uint64_t* node);

} // namespace watch
