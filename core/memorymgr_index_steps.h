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

inline bool FreeIndex::_isOfClass(unsigned int number, unsigned int size) const
{
    return number < m_exactCount ? size / sc_unit == number : _classOf(size) == number;
}

// The position of the size's highest bit and the two bits below it make one number, which grows with the size.
inline unsigned int FreeIndex::_largeClassOf(unsigned int size) const
{
    const unsigned int top = highestBit(size);
    return m_largeOffset + top * 4 + (size >> (top - 2) & 3);
}

// Returns the first class from number on that has nodes; sc_noClass if no class from number on has nodes.
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
    if (!isUsual(words != 0)) {
        group = _firstGroupAfter(group);
        if (group == sc_noClass) {
            return sc_noClass;
        }
        words = m_groups[group];
    }
    word = group * sc_wordBits + lowestBit(words);
    return word * sc_wordBits + lowestBit(m_classes[word]);
}

// Makes node the only node of a class.
inline void FreeIndex::_setHead(unsigned int number, const MemoryHeapNode_s* node)
{
    const unsigned int word = number / sc_wordBits;
    m_heads[number] = _unitOf(node) + 1;
    if (!m_classes[word]) {
        const unsigned int group = word / sc_wordBits;
        m_groups[group] |= oneBit(word);
        m_tops[group / sc_wordBits] |= oneBit(group);
    }
    m_classes[word] |= oneBit(number);
}

// Makes a class empty.
inline void FreeIndex::_clearHead(unsigned int number)
{
    const unsigned int word = number / sc_wordBits;
    m_heads[number] = 0;
    m_classes[word] &= ~oneBit(number);
    if (!m_classes[word]) {
        const unsigned int group = word / sc_wordBits;
        m_groups[group] &= ~oneBit(word);
        if (!m_groups[group]) {
            m_tops[group / sc_wordBits] &= ~oneBit(group);
        }
    }
}

// Adds node to its class. after is the next node on the list; null at the list's end.
inline void FreeIndex::_enterClass(unsigned int number, const MemoryHeapNode_s* node, const MemoryHeapNode_s* after)
{
    const unsigned int head = m_heads[number];
    if (head == 0) {
        _setHead(number, node);
    } else if (after && head == _unitOf(after) + 1) {
        m_heads[number] = _unitOf(node) + 1;
    }
}

// Removes node from its class. after is the next node on the list that has a class; null if there is none.
inline void FreeIndex::_leaveClass(unsigned int number, const MemoryHeapNode_s* node, const MemoryHeapNode_s* after)
{
    if (m_heads[number] != _unitOf(node) + 1) {
        return;
    }
    if (after && _isOfClass(number, after->size)) {
        m_heads[number] = _unitOf(after) + 1;
    } else {
        _clearHead(number);
    }
}

// Returns the first node of a class; null for sc_noClass. The class must have nodes.
inline MemoryHeapNode_s* FreeIndex::_headOf(unsigned int number) const
{
    return number != sc_noClass ? _nodeAt(m_heads[number] - 1) : nullptr;
}

// Returns the first node of at least size bytes; null if all free nodes are smaller. Usually the header of a node in an
// exact class has the size of that class. Then the whole node lies in the bank, and no further check is needed.
inline FreeIndex::Found FreeIndex::_firstFrom(unsigned long size) const
{
    if (m_newest == m_first && m_newestSize >= size) { // a shortcut: no node comes before it
        return {const_cast<MemoryHeapNode_s*>(m_newest), !m_newest || _isNewestSound()};
    }
    const unsigned long units = (size + sc_unit - 1) / sc_unit;
    if (!isUsual(units < m_exactCount)) {
        MemoryHeapNode_s* node = _firstLargeFrom(size);
        return {node, !node || (node == m_newest ? _isNewestSound() : _isFreeNode(node, size))};
    }
    const unsigned int number = _firstClassFrom(static_cast<unsigned int>(units));
    if (m_newestSize >= size && _isNewestBefore(number)) {
        return {const_cast<MemoryHeapNode_s*>(m_newest), !m_newest || _isNewestSound()};
    }
    if (number == sc_noClass) {
        return {nullptr, true};
    }
    MemoryHeapNode_s* head = _headOf(number);
    const bool isOfClass = head->size == number * sc_unit && number < m_exactCount; // the usual case, quick to check
    return {head, isOfClass ? head->magic == sc_magicFree : _isFreeNode(head, size)};
}

// Whether the newest node comes before all nodes of a class on the list; true for sc_noClass.
inline bool FreeIndex::_isNewestBefore(unsigned int number) const
{
    if (number < m_exactCount || number == sc_noClass) {
        return unitsFor(m_newestSize) <= number;
    }
    return m_newestSize <= _headOf(number)->size;
}

// ---- Units

inline MemoryHeapNode_s* FreeIndex::_nodeAt(unsigned int unit) const
{
    return reinterpret_cast<MemoryHeapNode_s*>(m_base + static_cast<size_t>(unit) * sc_unit);
}

// node may lie outside the bank.
inline size_t FreeIndex::_offsetOf(const MemoryHeapNode_s* node) const
{
    return reinterpret_cast<uintptr_t>(node) - reinterpret_cast<uintptr_t>(m_base);
}

inline unsigned int FreeIndex::_unitOf(const MemoryHeapNode_s* node) const
{
    return static_cast<unsigned int>(_offsetOf(node)) / sc_unit;
}

inline bool FreeIndex::_isBoundary(unsigned int unit) const
{
    return m_boundaries[unit / sc_wordBits] & oneBit(unit);
}

// Returns the first unit of the free node that ends before the unit end (rule 4). If a stray write has changed a
// size, the answer can be another unit of the bank: the caller has to check the node's header.
inline unsigned int FreeIndex::_firstUnitOfNodeBefore(unsigned int end) const
{
    unsigned int word = end / sc_wordBits;
    uint64_t lower = m_boundaries[word] & (oneBit(end) - 1);
    if (!lower && word > 0) {
        word -= 1;
        lower = m_boundaries[word];
        if (m_spanned[word / sc_wordBits] & oneBit(word)) {
            return static_cast<unsigned int>(lower);
        }
    }
    return word * sc_wordBits + highestBit(lower | 1);
}

// Whether a free node from unit first up to the unit before end fills the word below that of end.
inline bool FreeIndex::_isSpanning(unsigned int first, unsigned int end) const
{
    return end / sc_wordBits - first / sc_wordBits > 1;
}

// Sets the bits of a free node.
inline void FreeIndex::_mark(const MemoryHeapNode_s* node)
{
    const unsigned int first = _unitOf(node);
    const unsigned int end = first + unitsFor(node->size);
    m_boundaries[first / sc_wordBits] |= oneBit(first);
    m_boundaries[end / sc_wordBits] |= oneBit(end);
    if (_isSpanning(first, end)) {
        const unsigned int word = end / sc_wordBits - 1;
        m_boundaries[word] = first;
        m_spanned[word / sc_wordBits] |= oneBit(word);
    }
}

// Clears the bits of a free node.
inline void FreeIndex::_unmark(const MemoryHeapNode_s* node)
{
    const unsigned int first = _unitOf(node);
    const unsigned int end = first + unitsFor(node->size);
    m_boundaries[first / sc_wordBits] &= ~oneBit(first);
    m_boundaries[end / sc_wordBits] &= ~oneBit(end);
    if (_isSpanning(first, end)) {
        const unsigned int word = end / sc_wordBits - 1;
        m_boundaries[word] = 0;
        m_spanned[word / sc_wordBits] &= ~oneBit(word);
    }
}

// ---- Consistency checks

// Whether the node lies in the bank, begins at a unit, and ends at a unit's end or the bank's end.
inline bool FreeIndex::_isPossible(const MemoryHeapNode_s* node) const
{
    const size_t start = _offsetOf(node);
    const size_t end = start + node->size; // less than start if the node begins below the bank
    return start < end && end <= m_size &&
           (__builtin_expect((start | node->size) % sc_unit == 0, true) || (start % sc_unit == 0 && end == m_size));
}

// Whether the header is that of a free node of at least size bytes.
inline bool FreeIndex::_isFreeNode(const MemoryHeapNode_s* node, unsigned long size) const
{
    return node->magic == sc_magicFree && node->size >= size && _isPossible(node);
}

// Whether the newest node still has the size with which it was placed.
inline bool FreeIndex::_isNewestSound() const
{
    return m_newest->magic == sc_magicFree && m_newest->size == m_newestSize;
}

// Whether node lies in the bank, at the start of a unit.
inline bool FreeIndex::_isUnit(const MemoryHeapNode_s* node) const
{
    return _offsetOf(node) < m_size && _offsetOf(node) % sc_unit == 0;
}

// ---- The three questions

inline bool FreeIndex::firstOfAtLeast(const MemoryBank_s* bank, unsigned long size, MemoryHeapNode_s** node)
{
    const Found found = _firstFrom(size);
    *node = found.node;
    return (bank->freeList == m_first && found.isSound) || _giveUp();
}

// Does not compare m_first with the bank's list: each operation has called firstOfAtLeast or neighboursOf before,
// which make this comparison.
inline bool FreeIndex::placeFor(unsigned int size, FreePlace* place)
{
    MemoryHeapNode_s* after = _firstFrom(size).node;
    if (after && after->magic != sc_magicFree) {
        return _giveUp();
    }
    *place = {after ? insideLink(after->prev) : const_cast<MemoryHeapNode_s*>(m_last), after};
    return true;
}

inline bool FreeIndex::neighboursOf(const MemoryBank_s* bank, MemoryHeapNode_s* node, FreeNeighbours* found)
{
    if (bank->freeList != m_first || !_isPossible(node)) {
        return _giveUp();
    }
    MemoryHeapNode_s* newest = const_cast<MemoryHeapNode_s*>(m_newest);
    const unsigned int first = _unitOf(node);
    const unsigned int end = first + unitsFor(node->size);
    MemoryHeapNode_s* lower = nullptr;
    if (_isBoundary(first)) {
        lower = _nodeAt(_firstUnitOfNodeBefore(first));
    } else if (_offsetOf(newest) + m_newestSize == _offsetOf(node)) {
        lower = newest;
    }
    MemoryHeapNode_s* upper = behind(node);
    if (upper != newest && !_isBoundary(end)) {
        upper = nullptr;
    }
    *found = {lower, upper};
    const bool isLower = !lower || (lower->magic == sc_magicFree && behind(lower) == node);
    const bool isUpper =
        !upper ||
        (upper == newest ? _isNewestSound() : _isFreeNode(upper, 1) && _isBoundary(end + unitsFor(upper->size)));
    return (isLower && isUpper) || _giveUp();
}

// ---- Changes

// Makes node the newest node; size is its size in bytes. Null and 0: the list then has no newest node.
inline void FreeIndex::_setNewest(const MemoryHeapNode_s* node, unsigned int size)
{
    m_newest = node;
    m_newestSize = size;
}

// Gives the newest node its class and its bits (rule 5), because another node becomes the newest.
inline bool FreeIndex::enterNewest()
{
    if (!m_newest) {
        return true;
    }
    if (!_isNewestSound()) {
        return _giveUp();
    }
    _enterClass(_classOf(m_newest->size), m_newest, insideLink(m_newest->next));
    _mark(m_newest);
    _setNewest(nullptr, 0);
    return true;
}

// Removes a node that is not the newest from its class, and clears its bits.
inline void FreeIndex::_leave(const MemoryHeapNode_s* node)
{
    const MemoryHeapNode_s* after = insideLink(node->next);
    if (after && after == m_newest) {
        after = insideLink(after->next);
    }
    _leaveClass(_classOf(node->size), node, after);
    _unmark(node);
}

inline void FreeIndex::adding(const MemoryHeapNode_s* node, const FreePlace& place)
{
    _setNewest(node, node->size);
    if (!place.before) {
        m_first = node;
    }
    if (!place.after) {
        m_last = node;
    }
}

inline void FreeIndex::removing(const MemoryHeapNode_s* node)
{
    if (m_first == node) {
        m_first = insideLink(node->next);
    }
    if (m_last == node) {
        m_last = insideLink(node->prev);
    }
    if (m_newest == node) {
        _setNewest(nullptr, 0);
    } else {
        _leave(node);
    }
}

inline bool FreeIndex::replacing(const MemoryHeapNode_s* old, const MemoryHeapNode_s* node, unsigned int size)
{
    if (m_newest != old) {
        if (!enterNewest()) {
            return false;
        }
        _leave(old);
    }
    _setNewest(node, size);
    if (m_first == old) {
        m_first = node;
    }
    if (m_last == old) {
        m_last = node;
    }
    return true;
}

inline void FreeIndex::setName(MemoryHeapNode_s* node, const char* name)
{
    if (name != m_lastName) {
        m_lastNameRef = name;
        m_lastName = m_lastNameRef; // null if the table has no memory for one more name
    }
    node->file = m_lastNameRef;
}
