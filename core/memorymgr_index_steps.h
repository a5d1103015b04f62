// The steps of FreeIndex that run in each alloc and free. They are in a header so that the compiler inlines them into
// memorymgr_heap.cpp: as separate functions, a third of an operation's instructions would be calls and returns.
#pragma once

#include "core/memorymgr_index.h"

static const unsigned int sc_wordBits = 64;

inline unsigned int lowestBit(uint64_t word)
{
    return static_cast<unsigned int>(__builtin_ctzll(word));
}

inline unsigned int highestBit(uint64_t word)
{
    return sc_wordBits - 1 - static_cast<unsigned int>(__builtin_clzll(word));
}

// Returns a word with bit % 64 and all lower bits set.
inline uint64_t bitsUpTo(unsigned int bit)
{
    return ~uint64_t(0) >> (sc_wordBits - 1 - bit % sc_wordBits);
}

inline uint64_t bitsFrom(unsigned int bit)
{
    return ~uint64_t(0) << bit % sc_wordBits;
}

inline uint64_t oneBit(unsigned int bit)
{
    return uint64_t(1) << bit % sc_wordBits;
}

// ---- Classes

inline unsigned int FreeIndex::_classOf(unsigned int size) const
{
    const unsigned int number = size / sc_unit;
    return number < m_exactCount ? number : _largeClassOf(size);
}

// The position of the size's highest bit and the two bits below it make one number, which grows with the size.
inline unsigned int FreeIndex::_largeClassOf(unsigned int size) const
{
    const unsigned int top = highestBit(size);
    return m_largeOffset + top * 4 + (size >> (top - 2) & 3);
}

// Returns the first class from number on that has nodes; sc_noClass if there is none.
inline unsigned int FreeIndex::_firstClassFrom(unsigned int number) const
{
    const unsigned int word = number / sc_wordBits;
    const uint64_t classes = m_classes[word] & bitsFrom(number);
    return classes ? word * sc_wordBits + lowestBit(classes) : _firstClassBehindWord(word);
}

inline unsigned int FreeIndex::_firstClassBehindWord(unsigned int word) const
{
    unsigned int group = word / sc_wordBits;
    uint64_t words = m_groups[group] & (bitsFrom(word) ^ oneBit(word));
    if (!words) {
        unsigned int top = group / sc_wordBits;
        uint64_t groups = m_tops[top] & (bitsFrom(group) ^ oneBit(group));
        while (!groups) {
            if (++top == sc_topCount) {
                return sc_noClass;
            }
            groups = m_tops[top];
        }
        group = top * sc_wordBits + lowestBit(groups);
        words = m_groups[group];
    }
    word = group * sc_wordBits + lowestBit(words);
    return word * sc_wordBits + lowestBit(m_classes[word]);
}

// Makes node the first node of a class. Null makes the class empty.
inline void FreeIndex::_setHead(unsigned int number, const MemoryHeapNode_s* node)
{
    const unsigned int word = number / sc_wordBits;
    const unsigned int group = word / sc_wordBits;
    if (node) {
        m_heads[number] = _unitOf(node) + 1;
        if (!m_classes[word]) {
            m_groups[group] |= oneBit(word);
            m_tops[group / sc_wordBits] |= oneBit(group);
        }
        m_classes[word] |= oneBit(number);
        return;
    }
    m_heads[number] = 0;
    m_classes[word] &= ~oneBit(number);
    if (!m_classes[word]) {
        m_groups[group] &= ~oneBit(word);
        if (!m_groups[group]) {
            m_tops[group / sc_wordBits] &= ~oneBit(group);
        }
    }
}

// Adds node to its class. after is the next node on the list, of any class; null at the list's end.
inline void FreeIndex::_enterClass(unsigned int number, const MemoryHeapNode_s* node, const MemoryHeapNode_s* after)
{
    const unsigned int head = m_heads[number];
    if (head == 0) {
        _setHead(number, node);
    } else if (after && head == _unitOf(after) + 1) {
        m_heads[number] = _unitOf(node) + 1;
    }
}

inline void FreeIndex::_leaveClass(unsigned int number, const MemoryHeapNode_s* node, const MemoryHeapNode_s* after)
{
    if (m_heads[number] == _unitOf(node) + 1) {
        _setHead(number, after && _classOf(after->size) == number ? after : nullptr);
    }
}

// Returns the first node of at least size bytes; null if there is none. The caller has to check the node's header.
inline MemoryHeapNode_s* FreeIndex::_firstFrom(unsigned long size) const
{
    if (m_first == m_last) { // one node or none
        return m_first && m_first->size >= size ? const_cast<MemoryHeapNode_s*>(m_first) : nullptr;
    }
    const unsigned long units = (size + sc_unit - 1) / sc_unit;
    if (units >= m_exactCount) {
        return _firstLargeFrom(size);
    }
    if (const unsigned int head = m_heads[units]) { // a shortcut: the search below would give the same class
        return _nodeAt(head - 1);
    }
    const unsigned int number = _firstClassFrom(static_cast<unsigned int>(units));
    return number != sc_noClass ? _nodeAt(m_heads[number] - 1) : nullptr;
}

// ---- Units

inline MemoryHeapNode_s* FreeIndex::_nodeAt(unsigned int unit) const
{
    return reinterpret_cast<MemoryHeapNode_s*>(m_base + static_cast<size_t>(unit) * sc_unit);
}

inline unsigned int FreeIndex::_unitOf(const MemoryHeapNode_s* node) const
{
    return static_cast<unsigned int>(reinterpret_cast<const char*>(node) - m_base) / sc_unit;
}

inline bool FreeIndex::_isFree(unsigned int unit) const
{
    return m_units[unit / sc_wordBits] & oneBit(unit);
}

// Returns the first unit of the free node whose last unit is last (rule 4).
inline unsigned int FreeIndex::_firstUnitOfNodeUpTo(unsigned int last) const
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

inline void FreeIndex::_markFree(unsigned int first, unsigned int last)
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

// Whether the node's size is possible at its place: it ends inside the bank, and at a unit's end or the bank's end.
inline bool FreeIndex::_isPossible(const MemoryHeapNode_s* node) const
{
    const unsigned int room = m_size - static_cast<unsigned int>(reinterpret_cast<const char*>(node) - m_base);
    return node->size - 1 < room && (node->size % sc_unit == 0 || node->size == room);
}

// Whether the header is that of a free node of at least size bytes.
inline bool FreeIndex::_isFreeNode(const MemoryHeapNode_s* node, unsigned long size) const
{
    return node->magic == sc_magicFree && node->size >= size && _isPossible(node);
}

// Whether node lies in the bank, at the start of a unit.
inline bool FreeIndex::_isUnit(const MemoryHeapNode_s* node) const
{
    const uintptr_t at = reinterpret_cast<uintptr_t>(node) - reinterpret_cast<uintptr_t>(m_base);
    return at < m_size && at % sc_unit == 0;
}

// ---- The three questions

inline bool FreeIndex::firstOfAtLeast(const MemoryBank_s* bank, unsigned long size, MemoryHeapNode_s** node)
{
    *node = _firstFrom(size);
    return (bank->freeList == m_first && (!*node || _isFreeNode(*node, size))) || _giveUp();
}

// Does not compare m_first with the bank's list: each operation has asked one of the other two questions before, and
// these compare it. In the common case, the new size lies between the sizes of leaving's neighbours on the list; then
// no search is needed.
inline bool FreeIndex::placeFor(unsigned int size, const MemoryHeapNode_s* leaving, FreePlace* place)
{
    if (leaving) {
        const MemoryHeapNode_s* before = insideLink(leaving->prev);
        MemoryHeapNode_s* after = insideLink(leaving->next);
        if (size < leaving->size ? !before || before->size < size : !after || after->size >= size) {
            *place = {const_cast<MemoryHeapNode_s*>(leaving), after};
            return true;
        }
    }
    MemoryHeapNode_s* after = _firstFrom(size);
    if (after && after->magic != sc_magicFree) {
        return _giveUp();
    }
    *place = {after ? insideLink(after->prev) : const_cast<MemoryHeapNode_s*>(m_last), after};
    return true;
}

inline bool FreeIndex::neighboursOf(const MemoryBank_s* bank, MemoryHeapNode_s* node, FreeNeighbours* found)
{
    if (bank->freeList != m_first || !_isUnit(node) || !_isPossible(node)) {
        return _giveUp();
    }
    if (m_first == m_last) {
        MemoryHeapNode_s* only = const_cast<MemoryHeapNode_s*>(m_first);
        *found = {only && behind(only) == node ? only : nullptr, behind(node) == only ? only : nullptr};
        return !only || _isFreeNode(only, 1) || _giveUp();
    }
    const unsigned int first = _unitOf(node);
    MemoryHeapNode_s* upper = behind(node);
    MemoryHeapNode_s* lower = first > 0 && _isFree(first - 1) ? _nodeAt(_firstUnitOfNodeUpTo(first - 1)) : nullptr;
    if (reinterpret_cast<char*>(upper) == m_base + m_size || !_isFree(_unitOf(upper))) {
        upper = nullptr;
    }
    *found = {lower, upper};
    const bool isLower = !lower || (lower->magic == sc_magicFree && behind(lower) == node);
    const bool isUpper = !upper || (upper->magic == sc_magicFree && _isPossible(upper));
    return (isLower && isUpper) || _giveUp();
}

// ---- Changes

inline void FreeIndex::_enter(const MemoryHeapNode_s* node, const MemoryHeapNode_s* after)
{
    _enterClass(_classOf(node->size), node, after);
    _markFree(_unitOf(node), _unitOf(node) + unitsFor(node->size) - 1);
}

inline void FreeIndex::added(const MemoryBank_s* bank, const MemoryHeapNode_s* node, const MemoryHeapNode_s* after)
{
    const MemoryHeapNode_s* only = m_first == m_last ? m_first : nullptr;
    const bool isFirst = !m_first;
    m_first = bank->freeList;
    if (!after) {
        m_last = node;
    }
    if (isFirst) {
        return;
    }
    if (only) {
        _enterOnly(only);
    }
    _enter(node, after);
}

inline void FreeIndex::removed(const MemoryHeapNode_s* node)
{
    const bool isOnly = m_first == m_last;
    const MemoryHeapNode_s* after = insideLink(node->next);
    if (m_first == node) {
        m_first = after;
    }
    if (!after) {
        m_last = insideLink(node->prev);
    }
    if (isOnly) {
        return;
    }
    _leaveClass(_classOf(node->size), node, after);
    if (m_first == m_last) {
        _leaveOnly();
    }
}

inline void FreeIndex::replaced(const MemoryHeapNode_s* old, const MemoryHeapNode_s* node, unsigned int size)
{
    if (m_first == m_last) {
        m_first = m_last = node;
        return;
    }
    const MemoryHeapNode_s* after = insideLink(old->next);
    if (m_first == old) {
        m_first = node;
    }
    if (!after) {
        m_last = node;
    }
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

inline void FreeIndex::taken(const MemoryHeapNode_s* node)
{
    const unsigned int first = _unitOf(node);
    const unsigned int last = first + unitsFor(node->size) - 1;
    m_units[first / sc_wordBits] &= ~oneBit(first);
    m_units[last / sc_wordBits] &= ~oneBit(last);
}
