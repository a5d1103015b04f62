#include "core/memorymgr_index.h"
#include "core/memorymgr_nodes.h"

#include <stdlib.h>

static const unsigned int sc_smallestBank = 32 << 10; // bytes: the list of a smaller one is short enough to walk
static const unsigned int sc_wordBits = 64;

FreeIndex::Set FreeIndex::s_sets[4];

static unsigned int lowestBit(uint64_t word)
{
    return static_cast<unsigned int>(__builtin_ctzll(word));
}

static unsigned int highestBit(uint64_t word)
{
    return sc_wordBits - 1 - static_cast<unsigned int>(__builtin_clzll(word));
}

// The lowest bits of a word, up to this one.
static uint64_t bitsUpTo(unsigned int bit)
{
    return ~uint64_t(0) >> (sc_wordBits - 1 - bit % sc_wordBits);
}

static uint64_t bitsFrom(unsigned int bit)
{
    return ~uint64_t(0) << bit % sc_wordBits;
}

static uint64_t oneBit(unsigned int bit)
{
    return uint64_t(1) << bit % sc_wordBits;
}

static unsigned int wordsFor(unsigned int bits)
{
    return (bits + sc_wordBits - 1) / sc_wordBits;
}

// ---- Which bank has which index

void FreeIndex::make(const MemoryMgr* manager, int number, const MemoryBank_s& bank)
{
    Set* set = _setOf(manager);
    if (!set) {
        set = _setOf(nullptr);
    }
    if (!set || !bank.base || bank.size < sc_smallestBank) {
        return;
    }
    const unsigned int unitWords = wordsFor(unitsFor(bank.size));
    const unsigned int classCount = bank.size / (64 * sc_unit) + 2;
    unsigned int levelWords[sc_levels] = {wordsFor(classCount)};
    unsigned int usedWords = levelWords[0];
    for (int level = 1; level < sc_levels && levelWords[level - 1] > 1; ++level) {
        levelWords[level] = wordsFor(levelWords[level - 1]);
        usedWords += levelWords[level];
    }
    // The units' bits mean nothing yet, and stay untouched until they do: what isn't used of a bank costs nothing here.
    const size_t bytes = sizeof(FreeIndex) + usedWords * sizeof(uint64_t) + classCount * sizeof(unsigned int);
    void* memory = calloc(1, bytes);
    void* units = malloc((unitWords + wordsFor(unitWords)) * sizeof(uint64_t));
    if (!memory || !units) {
        ::free(memory);
        ::free(units);
        return;
    }
    FreeIndex* index = static_cast<FreeIndex*>(memory);
    index->m_units = static_cast<uint64_t*>(units);
    index->m_spanned = index->m_units + unitWords;
    uint64_t* next = reinterpret_cast<uint64_t*>(index + 1);
    for (int level = 0; level < sc_levels && levelWords[level] != 0; ++level) {
        index->m_used[level] = next;
        next += levelWords[level];
    }
    index->m_heads = reinterpret_cast<unsigned int*>(next);
    index->m_base = bank.base;
    index->m_size = bank.size;
    index->m_classCount = classCount;
    index->added(bank.freeList);

    index->m_place = &set->indexes[number];
    *index->m_place = index;
    set->manager.store(manager, std::memory_order_release);
}

void FreeIndex::dropAll(const MemoryMgr* manager)
{
    Set* set = _setOf(manager);
    if (!set) {
        return;
    }
    for (FreeIndex* index : set->indexes) {
        if (index) {
            index->_drop();
        }
    }
    set->manager.store(nullptr, std::memory_order_release);
}

void FreeIndex::_drop()
{
    *m_place = nullptr;
    ::free(m_units);
    ::free(this);
}

bool FreeIndex::_giveUp()
{
    _drop();
    return false;
}

// ---- Classes

unsigned int FreeIndex::_classOf(unsigned long size) const
{
    const unsigned long number = size / sc_unit;
    return number < m_classCount ? static_cast<unsigned int>(number) : m_classCount - 1;
}

// The first class from number on that isn't empty; sc_noClass when all are.
unsigned int FreeIndex::_firstClassFrom(unsigned int number) const
{
    unsigned int count = m_classCount;
    for (int level = 0; level < sc_levels && number < count; ++level) {
        const uint64_t word = m_used[level][number / sc_wordBits] & bitsFrom(number);
        if (word) {
            number = number / sc_wordBits * sc_wordBits + lowestBit(word);
            while (level-- > 0) {
                number = number * sc_wordBits + lowestBit(m_used[level][number]);
            }
            return number;
        }
        number = number / sc_wordBits + 1;
        count = wordsFor(count);
    }
    return sc_noClass;
}

// node is the first of its class from here on; null when there is none.
void FreeIndex::_setHead(unsigned int number, const MemoryHeapNode_s* node)
{
    const bool was = m_heads[number] != 0;
    m_heads[number] = node ? _unitOf(node) + 1 : 0;
    if (was == (node != nullptr)) {
        return;
    }
    for (int level = 0; level < sc_levels && m_used[level]; ++level) {
        uint64_t& word = m_used[level][number / sc_wordBits];
        const uint64_t others = word & ~oneBit(number);
        word = node ? word | oneBit(number) : others;
        if (others) {
            return; // the word's own bit, in the next level, stays
        }
        number /= sc_wordBits;
    }
}

// node is of this class, and in front of after on the list.
void FreeIndex::_enterClass(unsigned int number, const MemoryHeapNode_s* node, const MemoryHeapNode_s* after)
{
    const unsigned int head = m_heads[number];
    if (head == 0 || (after && head == _unitOf(after) + 1)) {
        _setHead(number, node);
    }
}

void FreeIndex::_leaveClass(unsigned int number, const MemoryHeapNode_s* node, const MemoryHeapNode_s* after)
{
    if (m_heads[number] == _unitOf(node) + 1) {
        _setHead(number, after && _classOf(after->size) == number ? after : nullptr);
    }
}

// ---- Units

MemoryHeapNode_s* FreeIndex::_nodeAt(unsigned int unit) const
{
    return reinterpret_cast<MemoryHeapNode_s*>(m_base + static_cast<size_t>(unit) * sc_unit);
}

unsigned int FreeIndex::_unitOf(const MemoryHeapNode_s* node) const
{
    return static_cast<unsigned int>(reinterpret_cast<const char*>(node) - m_base) / sc_unit;
}

bool FreeIndex::_isFree(unsigned int unit) const
{
    return m_units[unit / sc_wordBits] & oneBit(unit);
}

// The first unit of the free node that has this one for its last.
unsigned int FreeIndex::_firstUnitOfNodeUpTo(unsigned int last) const
{
    unsigned int word = last / sc_wordBits;
    uint64_t clear = ~m_units[word] & bitsUpTo(last);
    if (!clear && word > 0) {
        if (m_spanned[word / sc_wordBits] & oneBit(word)) {
            return static_cast<unsigned int>(m_units[word - 1]);
        }
        word -= 1;
        clear = ~m_units[word];
    }
    return word * sc_wordBits + (clear ? highestBit(clear) + 1 : 0);
}

void FreeIndex::_markFree(unsigned int first, unsigned int last)
{
    const unsigned int low = first / sc_wordBits;
    const unsigned int high = last / sc_wordBits;
    if (low == high) {
        m_units[low] |= bitsFrom(first) & bitsUpTo(last);
    } else {
        m_units[low] |= bitsFrom(first);
        m_units[high] |= bitsUpTo(last);
    }
    if (low + 1 < high) {
        m_units[high - 1] = first;
        m_spanned[high / sc_wordBits] |= oneBit(high);
    } else if (low < high || first % sc_wordBits == 0) {
        m_spanned[high / sc_wordBits] &= ~oneBit(high);
    }
}

// ---- Consistency checks

// Whether the bank can have such a node at all.
bool FreeIndex::_canHold(const MemoryHeapNode_s* node) const
{
    const uintptr_t at = reinterpret_cast<uintptr_t>(node) - reinterpret_cast<uintptr_t>(m_base);
    const uintptr_t end = at + node->size;
    return at < end && end <= m_size && at % sc_unit == 0 && (end % sc_unit == 0 || end == m_size);
}

// Whether a header that should be a free node's is one.
bool FreeIndex::_looksFree(const MemoryHeapNode_s* node) const
{
    return node->magic == sc_magicFree;
}

// ---- The three questions

// False: what the class says is first of its nodes is no free node of that size.
bool FreeIndex::_find(unsigned long size, MemoryHeapNode_s** found) const
{
    *found = nullptr;
    if (size > m_size) {
        return true;
    }
    unsigned int number = _classOf(size + sc_unit - 1);
    if (m_heads[number] == 0) {
        number = _firstClassFrom(number);
        if (number == sc_noClass) {
            return true;
        }
    }
    MemoryHeapNode_s* node = _nodeAt(m_heads[number] - 1);
    if (number == m_classCount - 1) {
        while (node && node->size < size) {
            node = insideLink(node->next);
        }
    }
    *found = node;
    return !node || (_looksFree(node) && node->size >= size && _canHold(node));
}

bool FreeIndex::firstOfAtLeast(const MemoryBank_s* bank, unsigned long size, MemoryHeapNode_s** node)
{
    return (bank->freeList == m_first && _find(size, node)) || _giveUp();
}

bool FreeIndex::placeFor(const MemoryBank_s* bank, unsigned int size, FreePlace* place)
{
    if (bank->freeList != m_first || !_find(size, &place->after)) {
        return _giveUp();
    }
    place->before = place->after ? insideLink(place->after->prev) : const_cast<MemoryHeapNode_s*>(m_last);
    return true;
}

bool FreeIndex::neighboursOf(const MemoryBank_s* bank, MemoryHeapNode_s* node, FreeNeighbours* found)
{
    if (bank->freeList != m_first || !_canHold(node)) {
        return _giveUp();
    }
    const unsigned int first = _unitOf(node);
    MemoryHeapNode_s* lower = first > 0 && _isFree(first - 1) ? _nodeAt(_firstUnitOfNodeUpTo(first - 1)) : nullptr;
    MemoryHeapNode_s* upper = behind(node);
    if (reinterpret_cast<char*>(upper) == m_base + m_size || !_isFree(_unitOf(upper))) {
        upper = nullptr;
    }
    if ((lower && (!_looksFree(lower) || behind(lower) != node)) ||
        (upper && (!_looksFree(upper) || !_canHold(upper)))) {
        return _giveUp();
    }
    *found = {lower, upper};
    return true;
}

bool FreeIndex::isPlaceFor(const MemoryHeapNode_s* node, unsigned int size) const
{
    const MemoryHeapNode_s* before = insideLink(node->prev);
    const MemoryHeapNode_s* after = insideLink(node->next);
    return size < node->size ? !before || before->size < size : !after || after->size >= size;
}

// ---- Changes

void FreeIndex::added(const MemoryHeapNode_s* node)
{
    const MemoryHeapNode_s* after = insideLink(node->next);
    m_first = insideLink(node->prev) ? m_first : node;
    m_last = after ? m_last : node;
    _enterClass(_classOf(node->size), node, after);
    _markFree(_unitOf(node), _unitOf(node) + unitsFor(node->size) - 1);
}

void FreeIndex::removed(const MemoryHeapNode_s* node)
{
    const MemoryHeapNode_s* before = insideLink(node->prev);
    const MemoryHeapNode_s* after = insideLink(node->next);
    m_first = before ? m_first : after;
    m_last = after ? m_last : before;
    _leaveClass(_classOf(node->size), node, after);
}

void FreeIndex::replaced(const MemoryHeapNode_s* old, MemoryHeapNode_s* node, unsigned int size)
{
    const MemoryHeapNode_s* after = insideLink(old->next);
    m_first = m_first == old ? node : m_first;
    m_last = m_last == old ? node : m_last;
    const unsigned int from = _classOf(old->size);
    const unsigned int to = _classOf(size);
    if (from != to) {
        _leaveClass(from, old, after);
        _enterClass(to, node, after);
    } else if (m_heads[to] == _unitOf(old) + 1) {
        m_heads[to] = _unitOf(node) + 1;
    }
    _markFree(_unitOf(node), _unitOf(node) + unitsFor(size) - 1);
}

void FreeIndex::taken(const MemoryHeapNode_s* node)
{
    const unsigned int first = _unitOf(node);
    const unsigned int last = first + unitsFor(node->size) - 1;
    m_units[first / sc_wordBits] &= ~oneBit(first);
    m_units[last / sc_wordBits] &= ~oneBit(last);
}
