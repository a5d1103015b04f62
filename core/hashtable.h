// A hash table that finds records by a text key. The table stores pointers to records; the records live elsewhere. The
// constructor allocates all nodes, so insert never allocates.
//
//     HashTable<Unit> units(1021, 1024);                // buckets, entries
//     units.insert("Footman", &footman);
//     Unit* unit = units.getData("footman");            // upper and lower case of a key are equal
//
//     HashTableIter_t<Unit> it;
//     for (unit = units.getFirstElement(it); unit; unit = units.getNextElement(it)) {
//         printf("%s\n", it.key);
//     }
//
// - The table does not own the records. removeAll(true) frees them all, as blocks of bank 0.
// - A key longer than 127 bytes is stored cut to 127 bytes. A lookup compares whole keys, so it never finds such an entry.
// - Inserting a key twice makes two entries. A lookup finds the older one.
//
// Buckets, pool and nodes are three blocks of bank 0. Without a memory manager the table stays empty and insert returns
// null. One thread at a time uses a table.
//
// The fields of all four classes are frozen: docs/architecture.md, "Record layouts and virtual tables".
#pragma once

#include "core/memorymgr.h"
#include "file/file.h"

#include <algorithm>
#include <limits.h>
#include <new>
#include <string.h>

#pragma GCC visibility push(default)

template <typename T>
class HashPool;

// One entry, or a free node of the pool.
template <typename T>
class HashData : public Allocator<0> {
public:
    HashData() : m_data(nullptr), m_next(nullptr) {} // m_key has no meaning before the node holds a record
    virtual ~HashData();

    HashData(const HashData&) = delete;
    HashData& operator=(const HashData&) = delete;

    // Stores the entry in the first node of the chain, from this one on, that holds no record. When all hold one,
    // appends a node of the pool. Returns the node; null when the pool is empty, and for a null key or record.
    HashData* setData(const char* key, T* data, HashPool<T>* pool);

    // Returns the record of the first node with that key, from this one on; null when there is none.
    T* getData(const char* key);

    char m_key[128]; // 127 bytes and a NUL
    T* m_data;       // null in a free node
    HashData* m_next;

private:
    void _store(const char* key, T* data);
};

// The store of one table's nodes.
template <typename T>
class HashPool : public Allocator<0> {
public:
    explicit HashPool(unsigned int poolSize) : m_poolSize(poolSize), m_nodes(nullptr), m_freeList(nullptr) {}
    virtual ~HashPool();

    HashPool(const HashPool&) = delete;
    HashPool& operator=(const HashPool&) = delete;

    // Allocates the nodes and puts them all on the free list. Returns false when there is no memory. A second call first
    // destroys all nodes of the first, also those that a table still uses.
    bool initialize();

    // Takes the first node of the free list: the node that was freed last, and at first the last node of the array.
    // Returns null when all nodes are taken.
    HashData<T>* allocNode();

    unsigned int m_poolSize; // nodes
    HashData<T>* m_nodes;    // all of them
    HashData<T>* m_freeList;

private:
    void _releaseNodes();
};

// The state of a walk over all entries. The caller owns it.
template <typename T>
struct HashTableIter_t {
    const char* key; // of the current entry, in its node
    unsigned int bucket;
    HashData<T>* node;
};

template <typename T>
class HashTable : public Allocator<0> {
public:
    HashTable(unsigned int bucketCount, unsigned int poolSize);

    // Frees the table's own memory, not the records. To free the records as well, call removeAll(true) first.
    virtual ~HashTable();

    HashTable(const HashTable&) = delete;
    HashTable& operator=(const HashTable&) = delete;

    unsigned int getHashIndex(const char* key); // the number of the key's bucket

    // Stores the entry and returns its node. Returns null, and stores nothing, when all nodes are taken, and for a null
    // key or record.
    HashData<T>* insert(const char* key, T* data);

    T* getData(const char* key); // null when there is no such key

    // Walk over all entries: by ascending bucket, and by age inside a bucket. Return null behind the last entry.
    T* getFirstElement(HashTableIter_t<T>& it);
    T* getNextElement(HashTableIter_t<T>& it);

    // Puts all nodes back on the pool's free list. freeData: also frees each record, as a block of bank 0.
    void removeAll(bool freeData);

    unsigned int m_bucketCount;
    HashData<T>** m_buckets; // the first node of each bucket; null for an empty bucket
    HashPool<T>* m_pool;

private:
    T* _firstFromBucket(HashTableIter_t<T>& it);
};

// Allocates count * size bytes from bank 0; null without a memory manager. line is a frozen number that names the block
// in leak reports: 161 the nodes, 289 the buckets, 296 the pool (docs/architecture.md, "Numbers in block tags").
inline void* AllocForHashTable(unsigned long count, unsigned long size, unsigned int line)
{
    unsigned long bytes;
    if (__builtin_mul_overflow(count, size, &bytes)) {
        bytes = ULONG_MAX; // can overflow on a 32-bit host; the memory manager refuses this size
    }
    return g_MemoryPtr ? g_MemoryPtr->alloc(0, bytes, "core/hashtable", line) : nullptr;
}

// The number that each byte of a key adds to its hash. The order of the entries in an exported strings file follows from
// the hash, so the numbers are the same on every host and in every locale:
// - a byte is a signed number, also where plain char is unsigned;
// - only 'A' to 'Z' are folded to lower case;
// - a slash counts as a backslash, deliberately.
struct HashValues {
    constexpr HashValues() : of()
    {
        for (int byte = 0; byte < 256; ++byte) {
            const int letter = byte >= 'A' && byte <= 'Z' ? byte + ('a' - 'A') : byte == '/' ? '\\' : byte;
            of[byte] = static_cast<unsigned int>(letter < 128 ? letter : letter - 256);
        }
    }
    unsigned int of[256];
};

// Returns the hash of a key: hash = hash * 33 + value, for each byte in order, modulo 2^32. Returns 0 for null. One step
// of the loop takes four bytes, so that their multiplications run in parallel.
inline unsigned int HashOfKey(const char* key)
{
    static constexpr HashValues sc_values;
    key = key ? key : "";
    const unsigned char* byte = reinterpret_cast<const unsigned char*>(key);
    const unsigned char* const end = byte + strlen(key);
    unsigned int hash = 0;
    for (; end - byte >= 4; byte += 4) {
        hash = hash * (33 * 33 * 33 * 33) + sc_values.of[byte[0]] * (33 * 33 * 33) +
               sc_values.of[byte[1]] * (33 * 33) + sc_values.of[byte[2]] * 33 + sc_values.of[byte[3]];
    }
    for (; byte != end; ++byte) {
        hash = hash * 33 + sc_values.of[*byte];
    }
    return hash;
}

template <typename T>
HashData<T>::~HashData()
{
}

template <typename T>
HashData<T>* HashData<T>::setData(const char* key, T* data, HashPool<T>* pool)
{
    if (!key || !data) {
        return nullptr; // no node is in a chain without a record
    }
    HashData* node = this;
    while (node->m_data) {
        if (!node->m_next) {
            node->m_next = pool ? pool->allocNode() : nullptr;
        }
        node = node->m_next;
        if (!node) {
            return nullptr;
        }
    }
    node->_store(key, data);
    return node;
}

template <typename T>
void HashData<T>::_store(const char* key, T* data)
{
    const size_t length = std::min(strlen(key), sizeof(m_key) - 1);
    memmove(m_key, key, length); // the key may be what this very node held before it was freed
    memset(m_key + length, 0, sizeof(m_key) - length);
    m_data = data;
}

template <typename T>
T* HashData<T>::getData(const char* key)
{
    for (HashData* node = this; node && key; node = node->m_next) {
        if (node->m_data && stricmp(node->m_key, key) == 0) {
            return node->m_data;
        }
    }
    return nullptr;
}

template <typename T>
HashPool<T>::~HashPool()
{
    _releaseNodes();
}

template <typename T>
bool HashPool<T>::initialize()
{
    _releaseNodes();
    void* storage = AllocForHashTable(m_poolSize, sizeof(HashData<T>), 161);
    if (!storage) {
        return false;
    }
    m_nodes = static_cast<HashData<T>*>(storage);
    for (unsigned int index = 0; index < m_poolSize; ++index) {
        HashData<T>* node = ::new (m_nodes + index) HashData<T>;
        node->m_next = m_freeList;
        m_freeList = node;
    }
    return true;
}

template <typename T>
void HashPool<T>::_releaseNodes()
{
    if (!m_nodes) {
        return;
    }
    for (unsigned int index = m_poolSize; index > 0; --index) {
        m_nodes[index - 1].~HashData();
    }
    FreeInBank(0, m_nodes);
    m_nodes = nullptr;
    m_freeList = nullptr; // its nodes were among them
}

template <typename T>
HashData<T>* HashPool<T>::allocNode()
{
    HashData<T>* node = m_freeList;
    if (node) {
        m_freeList = node->m_next;
        node->m_next = nullptr;
    }
    return node;
}

template <typename T>
HashTable<T>::HashTable(unsigned int bucketCount, unsigned int poolSize)
    : m_bucketCount(bucketCount), m_buckets(nullptr), m_pool(nullptr)
{
    m_buckets = static_cast<HashData<T>**>(AllocForHashTable(bucketCount, sizeof(HashData<T>*), 289));
    for (unsigned int bucket = 0; m_buckets && bucket < bucketCount; ++bucket) {
        m_buckets[bucket] = nullptr;
    }
    void* pool = AllocForHashTable(1, sizeof(HashPool<T>), 296);
    if (pool) {
        m_pool = ::new (pool) HashPool<T>(poolSize);
        m_pool->initialize();
    }
}

template <typename T>
HashTable<T>::~HashTable()
{
    if (m_buckets) {
        removeAll(false);
        FreeInBank(0, m_buckets);
    }
    delete m_pool;
}

template <typename T>
unsigned int HashTable<T>::getHashIndex(const char* key)
{
    return m_bucketCount ? HashOfKey(key) % m_bucketCount : 0;
}

template <typename T>
HashData<T>* HashTable<T>::insert(const char* key, T* data)
{
    if (!key || !data || !m_buckets || !m_pool) {
        return nullptr;
    }
    HashData<T>*& first = m_buckets[getHashIndex(key)];
    if (!first) {
        first = m_pool->allocNode();
    }
    return first ? first->setData(key, data, m_pool) : nullptr;
}

template <typename T>
T* HashTable<T>::getData(const char* key)
{
    HashData<T>* first = key && m_buckets ? m_buckets[getHashIndex(key)] : nullptr;
    return first ? first->getData(key) : nullptr;
}

template <typename T>
T* HashTable<T>::getFirstElement(HashTableIter_t<T>& it)
{
    it.bucket = 0;
    return _firstFromBucket(it);
}

template <typename T>
T* HashTable<T>::getNextElement(HashTableIter_t<T>& it)
{
    if (it.node && it.node->m_next) {
        it.node = it.node->m_next;
        it.key = it.node->m_key;
        return it.node->m_data;
    }
    if (it.bucket < m_bucketCount) {
        ++it.bucket;
    }
    return _firstFromBucket(it);
}

// Goes on to the first entry of the next bucket that has one, it.bucket included.
template <typename T>
T* HashTable<T>::_firstFromBucket(HashTableIter_t<T>& it)
{
    it.key = nullptr;
    it.node = nullptr;
    while (m_buckets && it.bucket < m_bucketCount && !m_buckets[it.bucket]) {
        ++it.bucket;
    }
    if (!m_buckets || it.bucket >= m_bucketCount) {
        return nullptr;
    }
    it.node = m_buckets[it.bucket];
    it.key = it.node->m_key;
    return it.node->m_data;
}

template <typename T>
void HashTable<T>::removeAll(bool freeData)
{
    for (unsigned int bucket = 0; m_buckets && bucket < m_bucketCount; ++bucket) {
        while (HashData<T>* node = m_buckets[bucket]) {
            T* data = node->m_data;
            m_buckets[bucket] = node->m_next;
            node->m_next = m_pool->m_freeList;
            m_pool->m_freeList = node;
            node->m_key[0] = '\0';
            node->m_data = nullptr;
            if (freeData) {
                FreeInBank(0, data);
            }
        }
    }
}

#pragma GCC visibility pop
