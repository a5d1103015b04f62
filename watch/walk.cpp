// The walk over a memory manager.
//
// A heap bank is walked twice: along its lists, which tell the age of each block, and from header to header, which
// shows every byte. After a damaged header, the second walk continues at the next node that a list knows.
//
// A list whose links forward and back agree cannot be a circle. So only a node whose link back is wrong is looked up
// among the nodes before it.
#include "watch/walk.h"

#include <algorithm>
#include <stdio.h>
#include <string.h>
#include <unordered_map>

namespace watch {

static const uint32_t sc_magicUsed = 0xfeedface;
static const uint32_t sc_magicFree = 0xdeadf00d;
static const uint32_t sc_extBit = 0x80000000;
static const uint32_t sc_headerSize = 24;
static const uint32_t sc_nextOffset = 16;
static const uint32_t sc_prevOffset = 20;
static const size_t sc_mostDamages = 100; // for each bank; further ones would repeat the first

// A header, read and decoded.
struct Header {
    uint32_t magic;
    uint32_t size;
    uint32_t file;
    uint32_t line;
    uint32_t next;
    uint32_t prev;
    unsigned char bytes[sc_headerSize];
};

static bool readHeader(const MemoryReader& memory, uint64_t address, Header* header)
{
    if (!memory.read(address, header->bytes, sc_headerSize)) {
        return false;
    }
    uint32_t* const words[] = {&header->magic, &header->size, &header->file,
                               &header->line,  &header->next, &header->prev};
    for (size_t index = 0; index < 6; ++index) {
        *words[index] = memory.wordAt(header->bytes + 4 * index);
    }
    return true;
}

// The bytes of a header's mark as they lie in memory, so that they read the same for each byte order.
static std::string markOf(const Header& header)
{
    char text[16];
    snprintf(text, sizeof(text), "%02x %02x %02x %02x", header.bytes[0], header.bytes[1], header.bytes[2],
             header.bytes[3]);
    return text;
}

// The source names of a game, each read once.
class Names {
public:
    Names(const MemoryReader& memory, const LinkTables& tables, Snapshot* snapshot)
        : m_memory(memory), m_tables(tables), m_snapshot(snapshot)
    {
    }

    // Returns the name's index in the snapshot. Stores in isKnown whether the name could be read.
    uint32_t indexOf(uint32_t word, bool* isKnown)
    {
        const auto found = m_indexes.find(word);
        if (found != m_indexes.end()) {
            *isKnown = found->second.second;
            return found->second.first;
        }
        std::string text;
        *isKnown = readName(m_memory, m_tables, word, &text);
        const uint32_t index = m_snapshot->addName(*isKnown ? text : "(unknown)");
        m_indexes[word] = {index, *isKnown};
        return index;
    }

private:
    const MemoryReader& m_memory;
    const LinkTables& m_tables;
    Snapshot* m_snapshot;
    std::unordered_map<uint32_t, std::pair<uint32_t, bool>> m_indexes;
};

// The record of a bank, read and decoded.
struct BankRecord {
    Bank bank;
    uint64_t base;
    uint64_t cursor;
    uint64_t freeList;
    uint64_t usedList;
    uint64_t extList;
};

// ---- One bank

class BankWalk {
public:
    BankWalk(const MemoryReader& memory, const LinkTables& tables, Names* names, Snapshot* snapshot,
             BankRecord* record)
        : m_memory(memory), m_tables(tables), m_links(memory, tables.links), m_names(names), m_snapshot(snapshot),
          m_record(record), m_bank(&record->bank)
    {
    }

    void walk()
    {
        _checkRecord();
        if (m_bank->type == BANK_HEAP && m_bank->hasRegion) {
            _walkHeap();
        }
        if (m_bank->type == BANK_LINEAR && m_bank->hasRegion) {
            _checkCursor();
        }
        _walkFallbacks();
        _checkBytesInUse();
    }

private:
    // A node that a list of the region leads to.
    struct Listed {
        uint32_t offset;
        uint32_t magic; // the mark that the list's nodes have
        uint32_t order; // 0 is the head of the list
        bool isMet;     // the walk from header to header has met it
    };

    void _checkRecord();
    void _checkCursor();
    void _checkBytesInUse();
    void _walkHeap();
    void _walkList(uint64_t first, uint32_t magic, const char* list);
    bool _checkLinks(uint64_t at, uint64_t before, const Header& header, uint32_t magic, const char* list);
    void _walkTiles();
    uint32_t _addTile(uint32_t offset);
    uint32_t _addDamagedTile(uint32_t offset, const Header& header, bool isReadable);
    void _addUsed(const Header& header, Block* block);
    void _checkListed();
    void _checkFreeNodes();
    void _checkCounts();
    void _walkFallbacks();
    bool _addFallback(uint64_t at, uint64_t before, Header* header);
    void _addFallbackDamage(DamageKind kind, const std::string& what, const Block* block);
    void _numberFallbacks();

    bool _readInsideLink(uint64_t at, uint32_t word, uint64_t* node) const;
    bool _areFallbackLinks(const Header& header) const;
    bool _isTile(uint32_t offset, const Header& header) const;
    bool _isInside(uint64_t address) const
    {
        const uint64_t offset = address - m_record->base;
        return offset < m_bank->size && m_bank->size - offset >= sc_headerSize;
    }

    Damage* _add(DamageKind kind, const std::string& what);
    void _addAt(DamageKind kind, uint32_t offset, const std::string& what);
    void _nameNeighbours();
    std::string _describe(const Block& block) const;

    const MemoryReader& m_memory;
    const LinkTables& m_tables;
    const LinkTable m_links;
    Names* m_names;
    Snapshot* m_snapshot;
    BankRecord* m_record;
    Bank* m_bank;
    std::vector<Listed> m_listed; // in the order of the lists; by offset during and after the walk over the headers
    std::vector<Listed>::iterator m_next;
    bool m_isFreeListSorted = true;
    uint32_t m_lost[2] = {0, 0}; // used and free nodes that are on no list
    uint32_t m_firstLost[2] = {sc_noNumber, sc_noNumber};
    size_t m_damages = 0;
    size_t m_firstDamage = 0; // of the region, or of the fallback blocks
};

Damage* BankWalk::_add(DamageKind kind, const std::string& what)
{
    static Damage s_ignored;
    m_damages += 1;
    if (m_damages > sc_mostDamages) {
        return &s_ignored;
    }
    Damage damage;
    damage.kind = kind;
    damage.bank = m_bank->index;
    damage.what = m_damages == sc_mostDamages ? "there is more damage than this list shows" : what;
    m_snapshot->damages.push_back(damage);
    return &m_snapshot->damages.back();
}

void BankWalk::_addAt(DamageKind kind, uint32_t offset, const std::string& what)
{
    _add(kind, what)->offset = offset;
}

void BankWalk::_checkRecord()
{
    if (m_bank->location > 1) {
        _add(DAMAGE_BANK, "the bank's location is " + std::to_string(m_bank->location) + ", which does not exist");
    }
    if (m_bank->index != -1 && m_bank->bytesInUse > m_bank->peakBytes) {
        _add(DAMAGE_COUNTER, "the bank has more bytes in use than its high-water mark");
    }
}

void BankWalk::_checkCursor()
{
    const uint64_t handedOut = m_record->cursor - m_record->base;
    if (handedOut > m_bank->size) {
        _add(DAMAGE_BANK, "the cursor of the linear bank lies outside its region");
        return;
    }
    m_bank->cursor = static_cast<uint32_t>(handedOut);
}

// Reads a link of a node of the region. In a 64-bit game, the lowest bit is set in links of fallback blocks only.
bool BankWalk::_readInsideLink(uint64_t at, uint32_t word, uint64_t* node) const
{
    const bool isOutside = m_memory.layout().wordSize == 8 && (word & 1) != 0;
    return !isOutside && readLink(m_memory, m_links, at, word, node);
}

// In a 64-bit game, next and prev of a fallback block are the two words of one entry: they differ in bit 1 only.
bool BankWalk::_areFallbackLinks(const Header& header) const
{
    return m_memory.layout().wordSize == 4 || ((header.next & 3) == 1 && header.prev == header.next + 2);
}

// Compares a node of a list with the node before it. Returns false when the list must end here.
bool BankWalk::_checkLinks(uint64_t at, uint64_t before, const Header& header, uint32_t magic, const char* list)
{
    const uint32_t offset = static_cast<uint32_t>(at - m_record->base);
    const uint32_t from = before ? static_cast<uint32_t>(before - m_record->base) : sc_noNumber;
    uint64_t prev = 0;
    if (_readInsideLink(at + sc_prevOffset, header.prev, &prev) && prev == before) {
        return true;
    }
    const std::string where = "offset " + std::to_string(offset);
    if (header.magic != magic) {
        _addAt(DAMAGE_LINK, from, std::string("the ") + list + " leads to " + where + ", where no node of it is");
        return false;
    }
    const auto isIt = [&](const Listed& known) { return known.offset == offset; };
    if (std::any_of(m_listed.begin(), m_listed.end(), isIt)) {
        _addAt(DAMAGE_LINK, from, std::string("the ") + list + " leads back to " + where);
        return false;
    }
    _addAt(DAMAGE_LINK, offset, std::string("the node's link to the node before it on the ") + list + " is wrong");
    return m_damages < sc_mostDamages;
}

// Follows a list of the region, and adds its nodes to m_listed.
void BankWalk::_walkList(uint64_t first, uint32_t magic, const char* list)
{
    uint64_t before = 0;
    uint64_t at = first;
    uint32_t smaller = 0;
    for (uint32_t order = 0; at != 0; ++order) {
        const uint32_t from = before ? static_cast<uint32_t>(before - m_record->base) : sc_noNumber;
        Header header;
        if (!_isInside(at) || !readHeader(m_memory, at, &header)) {
            _addAt(DAMAGE_LINK, from, std::string("the ") + list + " leads out of the bank");
            return;
        }
        if (!_checkLinks(at, before, header, magic, list)) {
            return;
        }
        const uint32_t offset = static_cast<uint32_t>(at - m_record->base);
        m_listed.push_back({offset, magic, order, false});
        m_isFreeListSorted = m_isFreeListSorted && (magic == sc_magicUsed || header.size >= smaller);
        smaller = header.size;
        before = at;
        if (!_readInsideLink(at + sc_nextOffset, header.next, &at)) {
            _addAt(DAMAGE_LINK, offset, std::string("the ") + list + " leads to a block that is not in the bank");
            return;
        }
    }
}

// True when a node with this header can lie here: it has a mark, and it ends in the region.
bool BankWalk::_isTile(uint32_t offset, const Header& header) const
{
    const uint32_t room = m_bank->size - offset;
    return (header.magic == sc_magicUsed || header.magic == sc_magicFree) && header.size >= sc_headerSize &&
           header.size <= room;
}

void BankWalk::_addUsed(const Header& header, Block* block)
{
    bool isKnown = true;
    block->state = BLOCK_USED;
    block->name = m_names->indexOf(header.file, &isKnown);
    block->line = header.line;
    if (!isKnown && (m_memory.layout().wordSize == 4 || m_tables.names != 0)) {
        _addAt(DAMAGE_NAME, block->offset, "the block's source name can't be read");
    }
}

// Adds the bytes from a damaged header to the next node that a list knows. Returns where that node is.
uint32_t BankWalk::_addDamagedTile(uint32_t offset, const Header& header, bool isReadable)
{
    const bool isListed = m_next != m_listed.end() && m_next->offset == offset;
    const auto next = isListed ? m_next + 1 : m_next;
    const bool isUsed = header.magic == sc_magicUsed || (isListed && m_next->magic == sc_magicUsed);
    Block block;
    block.state = BLOCK_DAMAGED;
    block.offset = offset;
    block.size = (next == m_listed.end() ? m_bank->size : next->offset) - offset;
    if (isReadable && isUsed) {
        bool isKnown = false;
        block.name = m_names->indexOf(header.file, &isKnown);
        block.line = isKnown ? header.line : 0;
    }
    m_bank->blocks.push_back(block);
    if (!isReadable) {
        _addAt(DAMAGE_SIZE, offset, "the memory of the bank can't be read here");
    } else if (header.magic == sc_magicUsed || header.magic == sc_magicFree) {
        _addAt(DAMAGE_SIZE, offset, "the header's size, " + std::to_string(header.size) + ", can't be right");
    } else {
        _addAt(DAMAGE_MAGIC, offset,
               "the header is neither of a used nor of a free node: it begins with the bytes " + markOf(header));
    }
    return offset + block.size;
}

// Adds the node at an offset, and returns where the next one begins. m_next is the first listed node that does not lie
// before the offset.
uint32_t BankWalk::_addTile(uint32_t offset)
{
    Header header = {};
    const bool isReadable =
        m_bank->size - offset >= sc_headerSize && readHeader(m_memory, m_record->base + offset, &header);
    const bool isListed = m_next != m_listed.end() && m_next->offset == offset;
    if (isListed) {
        m_next->isMet = true;
    }
    // A node that reaches over the beginning of a listed node has a damaged size.
    const auto following = isListed ? m_next + 1 : m_next;
    const bool isTooLong = following != m_listed.end() && header.size > following->offset - offset;
    if (!isReadable || !_isTile(offset, header) || isTooLong) {
        return _addDamagedTile(offset, header, isReadable);
    }
    Block block;
    block.offset = offset;
    block.size = header.size;
    if (header.magic == sc_magicUsed) {
        _addUsed(header, &block);
    }
    const uint32_t magic = block.state == BLOCK_USED ? sc_magicUsed : sc_magicFree;
    if (!isListed) {
        m_lost[block.state] += 1;
        m_firstLost[block.state] = std::min(m_firstLost[block.state], offset);
    } else if (m_next->magic != magic) {
        _addAt(DAMAGE_LIST, offset,
               magic == sc_magicUsed ? "a used block is on the free list" : "a free node is on the used list");
    } else if (magic == sc_magicUsed) {
        block.order = m_next->order;
    }
    m_bank->blocks.push_back(block);
    return offset + header.size;
}

void BankWalk::_walkTiles()
{
    std::sort(m_listed.begin(), m_listed.end(),
              [](const Listed& left, const Listed& right) { return left.offset < right.offset; });
    m_next = m_listed.begin();
    for (uint32_t offset = 0; offset < m_bank->size;) {
        offset = _addTile(offset);
        while (m_next != m_listed.end() && m_next->offset < offset) {
            ++m_next;
        }
    }
}

// Tells which nodes are on no list, in one sentence for each list. When a list is broken, all nodes after the break are
// on no list.
void BankWalk::_checkListed()
{
    static const char* const s_names[2] = {"used", "free"};
    for (int state = 0; state < 2; ++state) {
        if (m_lost[state] != 0) {
            _addAt(DAMAGE_LIST, m_firstLost[state],
                   std::to_string(m_lost[state]) + " " + s_names[state] + " node" +
                       (m_lost[state] == 1 ? " is" : "s are") + " not on the " + s_names[state] + " list");
        }
    }
    for (const Listed& listed : m_listed) {
        if (!listed.isMet) {
            _addAt(DAMAGE_LIST, listed.offset, "a list leads into the middle of another node, or twice to one node");
        }
    }
}

void BankWalk::_checkFreeNodes()
{
    const Block* before = nullptr;
    for (const Block& block : m_bank->blocks) {
        if (before && before->state == BLOCK_FREE && block.state == BLOCK_FREE) {
            _addAt(DAMAGE_LIST, block.offset, "two free nodes touch");
        }
        before = &block;
    }
    if (!m_isFreeListSorted) {
        _add(DAMAGE_LIST, "the free list does not run from small to large");
    }
}

void BankWalk::_checkCounts()
{
    uint32_t counts[3] = {0, 0, 0};
    for (const Block& block : m_bank->blocks) {
        counts[block.state] += 1;
    }
    if (counts[BLOCK_DAMAGED] != 0) {
        return; // how many nodes the damaged bytes were is not known
    }
    if (counts[BLOCK_USED] != m_bank->usedNodeCount) {
        _add(DAMAGE_COUNTER, "the bank counts " + std::to_string(m_bank->usedNodeCount) + " used nodes and has " +
                                 std::to_string(counts[BLOCK_USED]));
    }
    if (counts[BLOCK_FREE] != m_bank->freeNodeCount) {
        _add(DAMAGE_COUNTER, "the bank counts " + std::to_string(m_bank->freeNodeCount) + " free nodes and has " +
                                 std::to_string(counts[BLOCK_FREE]));
    }
}

void BankWalk::_walkHeap()
{
    m_firstDamage = m_snapshot->damages.size();
    _walkList(m_record->usedList, sc_magicUsed, "used list");
    _walkList(m_record->freeList, sc_magicFree, "free list");
    _walkTiles();
    // The used list begins with the newest block. The order of a snapshot begins with the oldest.
    const auto isUsed = [](const Listed& listed) { return listed.magic == sc_magicUsed; };
    const uint32_t used = static_cast<uint32_t>(std::count_if(m_listed.begin(), m_listed.end(), isUsed));
    for (Block& block : m_bank->blocks) {
        block.order = block.order == sc_noNumber ? sc_noNumber : used - 1 - block.order;
    }
    _checkListed();
    _checkFreeNodes();
    _checkCounts();
    _nameNeighbours();
}

std::string BankWalk::_describe(const Block& block) const
{
    const std::string size = std::to_string(block.size) + " bytes at " + std::to_string(block.offset);
    if (block.state == BLOCK_USED) {
        return m_snapshot->placeOf(block) + ", " + size;
    }
    return std::string(block.state == BLOCK_FREE ? "free, " : "damaged, ") + size;
}

// Adds the damaged block and its neighbours to each damage of the region. The damage of headers comes first, because
// it is the cause of wrong links and lists.
void BankWalk::_nameNeighbours()
{
    std::stable_sort(m_snapshot->damages.begin() + static_cast<ptrdiff_t>(m_firstDamage), m_snapshot->damages.end(),
                     [](const Damage& left, const Damage& right) { return left.kind < right.kind; });
    const std::vector<Block>& blocks = m_bank->blocks;
    for (size_t index = m_firstDamage; index < m_snapshot->damages.size(); ++index) {
        Damage& damage = m_snapshot->damages[index];
        if (damage.offset == sc_noNumber) {
            continue;
        }
        const auto after =
            std::upper_bound(blocks.begin(), blocks.end(), damage.offset,
                             [](uint32_t offset, const Block& block) { return offset < block.offset; });
        if (after == blocks.begin()) {
            continue;
        }
        const auto block = after - 1;
        const bool hasPlace = block->state == BLOCK_USED || (block->state == BLOCK_DAMAGED && block->line != 0);
        damage.block = hasPlace ? m_snapshot->placeOf(*block) : "";
        damage.before = block == blocks.begin() ? "" : _describe(*(block - 1));
        damage.after = after == blocks.end() ? "" : _describe(*after);
    }
}

// block is null if no block is known that the damage concerns. Its number is found later, by _numberFallbacks.
void BankWalk::_addFallbackDamage(DamageKind kind, const std::string& what, const Block* block)
{
    Damage* damage = _add(kind, what);
    if (block) {
        damage->block = m_snapshot->placeOf(*block);
        damage->fallback = static_cast<uint32_t>(m_bank->fallbacks.size());
    }
}

// Reads the header of a fallback block into stored, and adds the block and its damage. The block is known by two signs:
// its mark, and its link back to the block before it. One of them is enough. Returns false if the list must end here.
bool BankWalk::_addFallback(uint64_t at, uint64_t before, Header* stored)
{
    static const char sc_noBlock[] = "the list of fallback blocks leads to something that is no fallback block";
    uint64_t prev = 0;
    const bool isReadable = readHeader(m_memory, at, stored);
    const Header& header = *stored;
    const bool isMarked = isReadable && header.magic == sc_magicUsed && (header.size & sc_extBit) != 0;
    const bool isLinkedBack = isReadable && _areFallbackLinks(header) &&
                              readLink(m_memory, m_links, at + sc_prevOffset, header.prev, &prev) && prev == before;
    if (!isMarked && !isLinkedBack) {
        _addFallbackDamage(DAMAGE_FALLBACK, sc_noBlock, before ? &m_bank->fallbacks.back() : nullptr);
        return false;
    }
    Block block;
    block.size = header.size & ~sc_extBit;
    bool isKnown = true;
    block.name = m_names->indexOf(header.file, &isKnown);
    block.line = header.line;
    block.state = BLOCK_FALLBACK;
    m_bank->fallbacks.push_back(block);
    if (header.magic != sc_magicUsed) {
        _addFallbackDamage(DAMAGE_FALLBACK, "the header of a fallback block begins with the bytes " + markOf(header),
                           &block);
    } else if (!isMarked) {
        _addFallbackDamage(DAMAGE_FALLBACK, "the size of a fallback block lacks its mark", &block);
    }
    if (!isKnown && (m_memory.layout().wordSize == 4 || m_tables.names != 0)) {
        _addFallbackDamage(DAMAGE_NAME, "the block's source name can't be read", &block);
    }
    if (!_areFallbackLinks(header)) {
        _addFallbackDamage(DAMAGE_FALLBACK, "the links of a fallback block do not belong together", &block);
    } else if (!isLinkedBack) {
        _addFallbackDamage(DAMAGE_FALLBACK, "the links of a fallback block and of the block before it do not match",
                           &block);
    }
    return isLinkedBack;
}

// The list was read from its newest block. The number 1 is that of the oldest.
void BankWalk::_numberFallbacks()
{
    std::vector<Block>& blocks = m_bank->fallbacks;
    std::reverse(blocks.begin(), blocks.end());
    for (size_t index = 0; index < blocks.size(); ++index) {
        blocks[index].order = static_cast<uint32_t>(index);
    }
    for (size_t index = m_firstDamage; index < m_snapshot->damages.size(); ++index) {
        uint32_t& number = m_snapshot->damages[index].fallback;
        number = number == sc_noNumber ? sc_noNumber : static_cast<uint32_t>(blocks.size()) + 1 - number;
    }
}

void BankWalk::_walkFallbacks()
{
    m_firstDamage = m_snapshot->damages.size();
    uint64_t before = 0;
    uint64_t at = m_record->extList;
    while (at != 0) {
        Header header;
        if (!_addFallback(at, before, &header)) {
            break;
        }
        before = at;
        if (!readLink(m_memory, m_links, at + sc_nextOffset, header.next, &at)) {
            _addFallbackDamage(DAMAGE_FALLBACK, "a fallback block's link to the next one leads nowhere",
                               &m_bank->fallbacks.back());
            break;
        }
    }
    _numberFallbacks();
}

// bytesInUse of an intact heap bank is the sum of its blocks. The system bank starts at 0 in initialize, so its count
// may lack blocks that were made before.
void BankWalk::_checkBytesInUse()
{
    if (m_damages != 0 || m_bank->type != BANK_HEAP || m_bank->index == -1) {
        return;
    }
    uint64_t bytes = 0;
    for (const Block& block : m_bank->blocks) {
        bytes += block.state == BLOCK_USED ? block.size : 0;
    }
    for (const Block& block : m_bank->fallbacks) {
        bytes += block.size;
    }
    if (static_cast<uint32_t>(bytes) != m_bank->bytesInUse) {
        _add(DAMAGE_COUNTER, "the bank counts " + std::to_string(m_bank->bytesInUse) +
                                 " bytes in use, and its blocks have " + std::to_string(bytes));
    }
}

// ---- The manager
//
//   pointer to the virtual table | locked | bankCount | 32 banks | the system bank | ...

static const unsigned int sc_bankCount = 32;
static const unsigned int sc_nameSize = 32;
static const unsigned int sc_nameOffset = 8;
static const unsigned int sc_wordsOffset = 40;
static const unsigned int sc_pointersOffset = 72;

static unsigned int bankBytes(const MemoryReader& memory)
{
    return sc_pointersOffset + 5 * memory.layout().wordSize;
}

static bool readBank(const MemoryReader& memory, uint64_t address, int index, BankRecord* record)
{
    unsigned char bytes[sc_pointersOffset + 5 * 8];
    if (!memory.read(address, bytes, bankBytes(memory))) {
        return false;
    }
    Bank& bank = record->bank;
    bank.index = index;
    bank.location = memory.wordAt(bytes);
    bank.type = memory.wordAt(bytes + 4);
    const char* name = reinterpret_cast<const char*>(bytes + sc_nameOffset);
    bank.name.assign(name, strnlen(name, sc_nameSize));
    uint32_t* const words[] = {&bank.size,          &bank.allocCount,   &bank.freeCount,  &bank.usedNodeCount,
                               &bank.freeNodeCount, &bank.extNodeCount, &bank.bytesInUse, &bank.peakBytes};
    for (size_t word = 0; word < 8; ++word) {
        *words[word] = memory.wordAt(bytes + sc_wordsOffset + 4 * word);
    }
    uint64_t* const pointers[] = {&record->base, &record->cursor, &record->freeList, &record->usedList,
                                  &record->extList};
    for (size_t pointer = 0; pointer < 5; ++pointer) {
        *pointers[pointer] = memory.pointerAt(bytes + sc_pointersOffset + memory.layout().wordSize * pointer);
    }
    bank.hasRegion = record->base != 0;
    return true;
}

// Reads the count of banks. Returns false and stores a sentence in error when this can't be a manager.
static bool readCount(const MemoryReader& memory, uint64_t manager, uint32_t* count, std::string* error)
{
    if (manager == 0) {
        *error = "the game has no memory manager yet";
        return false;
    }
    if (!memory.readWord(manager + memory.layout().wordSize + 4, count) || *count > sc_bankCount) {
        *error = "g_MemoryPtr does not point to a memory manager";
        return false;
    }
    return true;
}

static bool readBankOf(const MemoryReader& memory, uint64_t manager, int index, BankRecord* record,
                       std::string* error)
{
    const uint64_t first = manager + memory.layout().wordSize + 8;
    const unsigned int place = index == -1 ? sc_bankCount : static_cast<unsigned int>(index);
    if (!readBank(memory, first + place * bankBytes(memory), index, record)) {
        *error = "the record of bank " + std::to_string(index) + " can't be read";
        return false;
    }
    return true;
}

static bool walkBank(const MemoryReader& memory, const LinkTables& tables, uint64_t manager, int index, Names* names,
                     Snapshot* snapshot, std::string* error)
{
    BankRecord record = {};
    if (!readBankOf(memory, manager, index, &record, error)) {
        return false;
    }
    BankWalk(memory, tables, names, snapshot, &record).walk();
    snapshot->banks.push_back(std::move(record.bank));
    return true;
}

bool takeSnapshot(const MemoryReader& memory, const LinkTables& tables, uint64_t manager, Snapshot* snapshot,
                  std::string* error)
{
    uint32_t count = 0;
    if (!readCount(memory, manager, &count, error)) {
        return false;
    }
    Names names(memory, tables, snapshot);
    for (uint32_t index = 0; index < count; ++index) {
        if (!walkBank(memory, tables, manager, static_cast<int>(index), &names, snapshot, error)) {
            return false;
        }
    }
    return walkBank(memory, tables, manager, -1, &names, snapshot, error);
}

bool takeCounters(const MemoryReader& memory, uint64_t manager, Snapshot* snapshot, std::string* error)
{
    uint32_t count = 0;
    if (!readCount(memory, manager, &count, error)) {
        return false;
    }
    for (uint32_t place = 0; place <= count; ++place) {
        BankRecord record = {};
        if (!readBankOf(memory, manager, place == count ? -1 : static_cast<int>(place), &record, error)) {
            return false;
        }
        snapshot->banks.push_back(std::move(record.bank));
    }
    return true;
}

bool takeBank(const MemoryReader& memory, const LinkTables& tables, uint64_t manager, int index, Snapshot* snapshot,
              std::string* error)
{
    uint32_t count = 0;
    if (!readCount(memory, manager, &count, error)) {
        return false;
    }
    if (index < -1 || index >= static_cast<int>(sc_bankCount)) {
        *error = "there is no bank " + std::to_string(index);
        return false;
    }
    Names names(memory, tables, snapshot);
    return walkBank(memory, tables, manager, index, &names, snapshot, error);
}

} // namespace watch
