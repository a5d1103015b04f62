// A hash table with texts for keys, for records that live elsewhere. Its size is fixed: all nodes are made at once,
// so inserting never asks for memory.
//
//     HashTable<Unit> units(1021, 1024);                // buckets, entries
//     units.insert("Footman", &footman);
//     Unit* unit = units.getData("footman");            // keys are the same in upper and lower case
//
//     HashTableIter_t<Unit> it;
//     for (unit = units.getFirstElement(it); unit; unit = units.getNextElement(it)) {
//         printf("%s\n", it.key);
//     }
//
// The table keeps pointers and owns none of the records, but removeAll(true) gives them back to bank 0. A key longer
// than 127 bytes is stored cut to 127 and can't be found, since lookups compare with the whole of theirs. The same
// key again makes a second entry behind the first, which goes on being the one that is found.
//
// Buckets, pool and nodes are three blocks of bank 0, made by the constructor. Without a memory manager there is no
// table: it stays empty and refuses all entries. One thread at a time.
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
    HashData() : m_data(nullptr), m_next(nullptr) {} // without a record, nobody looks at the key
    virtual ~HashData();

    HashData(const HashData&) = delete;
    HashData& operator=(const HashData&) = delete;

    // Stores the entry in the first node without a record from this one on, which the pool adds to the chain if there
    // is none; that node, or null when the pool is empty. Null, too, without a key or a record.
    HashData* setData(const char* key, T* data, HashPool<T>* pool);

    // The record of the first node with that key, from this one on; null when there is none.
    T* getData(const char* key);

    char m_key[128]; // 127 bytes and a NUL
    T* m_data;       // null in a free node
    HashData* m_next;

private:
    void _store(const char* key, T* data);
};

// The nodes of one table.
template <typename T>
class HashPool : public Allocator<0> {
public:
    explicit HashPool(unsigned int poolSize) : m_poolSize(poolSize), m_nodes(nullptr), m_freeList(nullptr) {}
    virtual ~HashPool();

    HashPool(const HashPool&) = delete;
    HashPool& operator=(const HashPool&) = delete;

    // Makes the nodes, all free, and adds them to the free list; false when there is no memory for them. Called
    // again, it ends those of the first call, wherever they are.
    bool initialize();

    // The node that was freed last, at first the last of the array; null when all are taken.
    HashData<T>* allocNode();

    unsigned int m_poolSize; // nodes
    HashData<T>* m_nodes;    // all of them
    HashData<T>* m_freeList;

private:
    void _releaseNodes();
};

// Where a walk over all entries stands.
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

    // Gives back the table's memory. Records are the caller's: removeAll(true) comes before, if anything.
    virtual ~HashTable();

    HashTable(const HashTable&) = delete;
    HashTable& operator=(const HashTable&) = delete;

    unsigned int getHashIndex(const char* key); // a key's bucket

    // The entry's node. Null, and nothing stored, when all nodes are taken and without a key or a record.
    HashData<T>* insert(const char* key, T* data);

    T* getData(const char* key); // null when there is no such key

    // A walk over all entries, bucket by bucket, older entries of a bucket first. Null behind the last one.
    T* getFirstElement(HashTableIter_t<T>& it);
    T* getNextElement(HashTableIter_t<T>& it);

    // Frees all nodes; with freeData each record goes back to bank 0.
    void removeAll(bool freeData);

    unsigned int m_bucketCount;
    HashData<T>** m_buckets; // the first node of each, null where there is none
    HashPool<T>* m_pool;

private:
    T* _firstFromBucket(HashTableIter_t<T>& it);
};

// A block of bank 0, or null. line tells the blocks apart in leak reports: 161 the nodes, 289 the buckets, 296 the
// pool itself.
inline void* AllocForHashTable(unsigned long count, unsigned long size, unsigned int line)
{
    unsigned long bytes;
    if (__builtin_mul_overflow(count, size, &bytes)) {
        bytes = ULONG_MAX; // on a 32-bit host; more than there can be, for the memory manager to deal with
    }
    return g_MemoryPtr ? g_MemoryPtr->alloc(0, bytes, "core/hashtable", line) : nullptr;
}

// What each byte of a key adds to its hash. The order in which a strings file is written follows from these numbers, so
// they are the same everywhere: bytes are signed on every host, 'A' to 'Z' alone are folded in every locale, and a slash is
// meant to count as a backslash.
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

// Each byte's value after 33 times all that came before it; four bytes in a step, which don't wait for each other. 0 for
// null.
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
