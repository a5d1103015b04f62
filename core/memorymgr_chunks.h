// An array that grows and never moves an entry. core/memorymgr_refs.cpp has two of them. The caller provides the memory.
// Only one thread at a time may call deal or grow.
#pragma once

#include <stddef.h>

static const unsigned int sc_noEntry = 0xffffffff;

// An array of entries in chunks of growing size: chunk k has 1024 * 2^k entries. 20 chunks hold nearly 2^30 entries,
// which is enough: the headers of so many fallback blocks would need 24 GiB.
template <typename T, unsigned int CHUNKS = 20>
class ChunkedTable {
public:
    static const unsigned int sc_first = 1024;

    constexpr explicit ChunkedTable(T* first) : m_chunks{first} {}

    T* at(unsigned int number) const
    {
        const unsigned int chunk = _chunkOf(number);
        return m_chunks[chunk] + (number + sc_first - (sc_first << chunk));
    }

    // Returns the number of an entry that has not been used yet: 0, then 1, and so on; sc_noEntry when all are used.
    unsigned int deal() { return m_dealt < _capacity() ? m_dealt++ : sc_noEntry; }

    // Returns the size of the next chunk in bytes. Returns 0 while more than sc_reserve entries are left, and when
    // all chunks exist. `returned`: the number of entries that were given back; they count as left.
    size_t bytesWanted(unsigned int returned = 0) const
    {
        const bool isShort = _capacity() - m_dealt + returned <= sc_reserve && m_chunkCount < CHUNKS;
        return isShort ? (static_cast<size_t>(sc_first) << m_chunkCount) * sizeof(T) : 0;
    }

    // Adds the next chunk. zeroes: memory of the size that bytesWanted returned, filled with zeroes.
    void grow(void* zeroes) { m_chunks[m_chunkCount++] = static_cast<T*>(zeroes); }

private:
    static const unsigned int sc_reserve = 64; // entries left for threads in calloc; each takes one, rarely two

    unsigned int _capacity() const { return (sc_first << m_chunkCount) - sc_first; }
    static unsigned int _chunkOf(unsigned int number)
    {
        return static_cast<unsigned int>(__builtin_clz(sc_first) - __builtin_clz(number + sc_first));
    }

    T* m_chunks[CHUNKS];
    unsigned int m_chunkCount = 1;
    unsigned int m_dealt = 0;
};
