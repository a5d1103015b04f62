#include "core/memorymgr_index.h"
#include "core/memorymgr_nodes.h"

#include <stdlib.h>

static const unsigned int sc_smallestBank = 32 << 10; // bytes: the list of a smaller one is short enough to walk
static const unsigned int sc_wordBits = 64;
static const unsigned int sc_unit = sc_granularity;
static const unsigned int sc_nothing = UINT32_MAX;

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

static unsigned int unitsFor(unsigned int bytes)
{
    return (bytes + sc_unit - 1) / sc_unit; // bytes are less than 2^31
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
    index->m_first = index->m_last = bank.freeList;
    index->_enterClass(bank.freeList, nullptr);
    index->_markFree(bank.freeList);

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

// The first class from number on that isn't empty; sc_nothing when all are.
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
    return sc_nothing;
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

MemoryHeapNode_s* FreeIndex::_firstOfAtLeast(unsigned long size) const
{
    unsigned int number = _classOf(size + sc_unit - 1);
    if (m_heads[number] == 0) {
        number = _firstClassFrom(number);
        if (number == sc_nothing) {
            return nullptr;
        }
    }
    MemoryHeapNode_s* node = _nodeAt(m_heads[number] - 1);
    if (number == m_classCount - 1) {
        while (node && node->size < size) {
            node = insideLink(node->next);
        }
    }
    return node;
}

// after is what follows node on the list.
void FreeIndex::_enterClass(const MemoryHeapNode_s* node, const MemoryHeapNode_s* after)
{
    const unsigned int number = _classOf(node->size);
    const unsigned int head = m_heads[number];
    if (head == 0 || (after && head == _unitOf(after) + 1)) {
        _setHead(number, node);
    }
}

void FreeIndex::_leaveClass(const MemoryHeapNode_s* node, const MemoryHeapNode_s* after)
{
    const unsigned int number = _classOf(node->size);
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

void FreeIndex::_markFree(const MemoryHeapNode_s* node)
{
    const unsigned int first = _unitOf(node);
    const unsigned int last = first + unitsFor(node->size) - 1;
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

void FreeIndex::_markUsed(const MemoryHeapNode_s* node)
{
    const unsigned int first = _unitOf(node);
    const unsigned int last = first + unitsFor(node->size) - 1;
    m_units[first / sc_wordBits] &= ~oneBit(first);
    m_units[last / sc_wordBits] &= ~oneBit(last);
}

// ---- Doubts

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

// ---- The list

void FreeIndex::_link(MemoryBank_s* bank, MemoryHeapNode_s* before, MemoryHeapNode_s* node, MemoryHeapNode_s* after)
{
    setInsideLink(node->prev, before);
    setInsideLink(node->next, after);
    if (before) {
        setInsideLink(before->next, node);
    } else {
        bank->freeList = m_first = node;
    }
    if (after) {
        setInsideLink(after->prev, node);
    } else {
        m_last = node;
    }
}

void FreeIndex::_insert(MemoryBank_s* bank, MemoryHeapNode_s* node)
{
    MemoryHeapNode_s* after = _firstOfAtLeast(node->size);
    _link(bank, after ? insideLink(after->prev) : m_last, node, after);
    _enterClass(node, after);
}

void FreeIndex::_remove(MemoryBank_s* bank, MemoryHeapNode_s* node)
{
    MemoryHeapNode_s* before = insideLink(node->prev);
    MemoryHeapNode_s* after = insideLink(node->next);
    _leaveClass(node, after);
    if (before) {
        setInsideLink(before->next, after);
    } else {
        bank->freeList = m_first = after;
    }
    if (after) {
        setInsideLink(after->prev, before);
    } else {
        m_last = before;
    }
}

// node, of this size, takes the place of old; another place where the list's order asks for it. They may be the same.
void FreeIndex::_replace(MemoryBank_s* bank, MemoryHeapNode_s* old, MemoryHeapNode_s* node, unsigned int size)
{
    MemoryHeapNode_s* before = insideLink(old->prev);
    MemoryHeapNode_s* after = insideLink(old->next);
    const bool moves = size < old->size ? before && before->size >= size : after && after->size < size;
    if (moves) {
        _remove(bank, old);
        node->size = size;
        _insert(bank, node);
        return;
    }
    const unsigned int from = _classOf(old->size);
    const unsigned int to = _classOf(size);
    if (from != to) {
        _leaveClass(old, after);
    } else if (m_heads[to] == _unitOf(old) + 1) {
        m_heads[to] = _unitOf(node) + 1;
    }
    node->size = size;
    if (node != old) {
        _link(bank, before, node, after);
    }
    if (from != to) {
        _enterClass(node, after);
    }
}

// flatten: these two are all there is to a bank's speed, and a tenth of it went into calls between the above.
__attribute__((flatten)) bool FreeIndex::take(MemoryBank_s* bank, unsigned long size, MemoryHeapNode_s** taken)
{
    if (bank->freeList != m_first) {
        return _giveUp();
    }
    MemoryHeapNode_s* node = size <= m_size ? _firstOfAtLeast(size) : nullptr;
    *taken = node;
    if (!node) {
        return true;
    }
    if (!_looksFree(node) || node->size < size || !_canHold(node)) {
        return _giveUp();
    }
    if (size + sc_headerSize < node->size) { // else the rest would hold a header and no byte more
        const unsigned int rest = node->size - static_cast<unsigned int>(size);
        MemoryHeapNode_s* upper = makeFreeNode(reinterpret_cast<char*>(node) + size, rest);
        _replace(bank, node, upper, rest);
        node->size = static_cast<unsigned int>(size);
        _markUsed(node);
        _markFree(upper);
    } else {
        _remove(bank, node);
        bank->freeNodeCount -= 1;
        _markUsed(node);
    }
    return true;
}

__attribute__((flatten)) bool FreeIndex::give(MemoryBank_s* bank, MemoryHeapNode_s* node)
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
    unsigned int size = node->size;
    bank->freeNodeCount += 1;
    if (upper) {
        size += upper->size;
        bank->freeNodeCount -= 1;
    }
    if (lower) {
        size += lower->size;
        bank->freeNodeCount -= 1;
        if (upper) {
            _remove(bank, upper);
        }
        _replace(bank, lower, lower, size);
        node = lower;
    } else if (upper) {
        _replace(bank, upper, node, size);
    } else {
        _insert(bank, node);
    }
    _markFree(node);
    return true;
}
