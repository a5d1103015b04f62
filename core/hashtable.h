// A hash table that finds records by a text key. The table stores pointers to records and not the records
// themselves. The constructor allocates all nodes; insert allocates nothing.
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
// - Ownership: the caller owns the records. removeAll(true) frees all of them as blocks of bank 0.
// - Long keys: a key of more than 127 bytes is truncated to 127 bytes when it is stored. getData with the whole key
//   does not find the entry, because it compares the whole key with the 127 bytes. (getData with exactly these 127
//   bytes finds the entry if the 127 bytes and the whole key have the same bucket.)
// - Equal keys: inserting a key twice makes two entries. getData finds the older one.
// - Memory: the buckets, the pool and the nodes are three blocks of bank 0. If bank 0 has no memory for them, the
//   game ends as MemoryMgr::alloc describes. Without a memory manager the table has no nodes and insert returns
//   null.
// - Threads: one thread at a time may use a table.
//
// The fields of all four classes are frozen, and so is the order of the allocations: docs/architecture.md, "Record
// layouts and virtual tables" and "Orders of calls".
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
    HashData() : m_data(nullptr), m_next(nullptr) {} // m_key is not set: only a node with a record has a key
    virtual ~HashData();

    HashData(const HashData&) = delete;
    HashData& operator=(const HashData&) = delete;

    // Stores key and data in a node of the chain that begins at this node: in the first node without a record, or
    // in a new node from the pool at the end of the chain. Returns the node. Returns null if the pool has no free
    // node, and for a null key or record.
    HashData* setData(const char* key, T* data, HashPool<T>* pool);

    // Returns the record of the first node with that key in the chain that begins at this node; null if there is
    // none.
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

    // Allocates the nodes and puts all of them on the free list. Returns true; false without a memory manager or
    // if poolSize is 0. A second call first frees the nodes of the first call, also those that a table uses.
    bool initialize();

    // Takes the first node of the free list and returns it; null if there is no free node. The first node is the one
    // that was freed last; if none was freed, it is the last free node of the array.
    HashData<T>* allocNode();

    unsigned int m_poolSize; // number of nodes, free or in use
    HashData<T>* m_nodes;    // the array of all nodes; null before initialize
    HashData<T>* m_freeList; // the first free node; null if all nodes are in use

private:
    void _releaseNodes();
};

// The current position of getFirstElement and getNextElement. The caller owns it.
template <typename T>
struct HashTableIter_t {
    const char* key;     // the key of the current entry; it lies in the entry's node
    unsigned int bucket; // the number of the current bucket
    HashData<T>* node;   // the node of the current entry; null after the last entry
};

template <typename T>
class HashTable : public Allocator<0> {
public:
    HashTable(unsigned int bucketCount, unsigned int poolSize);

    // Frees the table's own memory, not the records. To free the records as well, call removeAll(true) first.
    virtual ~HashTable();

    HashTable(const HashTable&) = delete;
    HashTable& operator=(const HashTable&) = delete;

    unsigned int getHashIndex(const char* key); // returns the number of the key's bucket

    // Stores an entry and returns its node. Returns null, and stores nothing, if there is no free node, and for a
    // null key or record.
    HashData<T>* insert(const char* key, T* data);

    T* getData(const char* key); // returns the record of the key; null if there is no such key

    // Visit all entries: the buckets in ascending order, the entries of a bucket from the oldest to the newest.
    // Each call returns a record; null after the last entry. Insert and remove nothing between these calls.
    T* getFirstElement(HashTableIter_t<T>& it);
    T* getNextElement(HashTableIter_t<T>& it);

    // Removes all entries: their nodes go back to the free list. freeData true: also frees each record as a block
    // of bank 0.
    void removeAll(bool freeData);

    unsigned int m_bucketCount;
    HashData<T>** m_buckets; // the first node of each bucket; null for an empty bucket
    HashPool<T>* m_pool;

private:
    T* _firstFromBucket(HashTableIter_t<T>& it);
};

// ---- The code of the templates. It keeps these rules; core/hashtable_rules.h checks them.
//
// 1. Each node is on the free list and has no record, or is in the chain of one bucket and has a record. A node that a
//    game takes with allocNode is the game's until the game puts it into one of the two lists.
// 2. A key that was not truncated is in the bucket of its hash.
// 3. A chain runs from the oldest entry to the newest.

// Allocates count * size bytes from bank 0. Returns null without a memory manager. line is a frozen number that
// names the block in leak reports: 161 for the array of nodes, 289 for the array of buckets, 296 for the pool
// object (docs/architecture.md, "Numbers in block tags").
inline void* AllocForHashTable(unsigned long count, unsigned long size, unsigned int line)
{
    unsigned long bytes;
    if (__builtin_mul_overflow(count, size, &bytes)) {
        bytes = ULONG_MAX; // no bank has so many bytes: the memory manager ends the game as out of memory
    }
    return g_MemoryPtr ? g_MemoryPtr->alloc(0, bytes, "core/hashtable", line) : nullptr;
}

// The number that each byte of a key adds to the hash of the key. The order of the entries in an exported strings
// file depends on the hash. So these numbers are the same on every host and in every locale:
// - a byte is a signed number, -128 to 127, also where plain char is unsigned;
// - 'A' to 'Z' count as 'a' to 'z', and no other byte is folded;
// - a slash counts as a backslash. Deliberate: "a/b" and "a\b" are in the same bucket. They are still two keys,
//   because getData compares the texts.
//
// The row n of the table has these numbers multiplied by 33 to the power of n.
struct HashValues {
    constexpr HashValues() : of()
    {
        for (int byte = 0; byte < 256; ++byte) {
            const int letter = byte >= 'A' && byte <= 'Z' ? byte + ('a' - 'A') : byte == '/' ? '\\' : byte;
            unsigned int value = static_cast<unsigned int>(letter < 128 ? letter : letter - 256);
            for (int row = 0; row < 4; ++row) {
                of[row][byte] = value;
                value *= 33;
            }
        }
    }
    unsigned int of[4][256];
};

// Returns the hash of a key. It begins with 0; for each byte in order it becomes hash * 33 + value, modulo 2^32.
// Returns 0 for null. One pass of the loop handles four bytes: then a pass has one multiplication, and the processor
// can look up the four values in parallel.
inline unsigned int HashOfKey(const char* key)
{
    static constexpr HashValues sc_values;
    key = key ? key : "";
    const unsigned char* byte = reinterpret_cast<const unsigned char*>(key);
    const unsigned char* const end = byte + strlen(key);
    unsigned int hash = 0;
    for (; end - byte >= 4; byte += 4) {
        hash = hash * (33 * 33 * 33 * 33) + sc_values.of[3][byte[0]] + sc_values.of[2][byte[1]] +
               sc_values.of[1][byte[2]] + sc_values.of[0][byte[3]];
    }
    for (; byte != end; ++byte) {
        hash = hash * 33 + sc_values.of[0][*byte];
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
        return nullptr; // refused, so that every node of a chain has a record
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
    memmove(m_key, key, length); // memmove: key may point into m_key, when the node was freed and is used again
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
    m_freeList = nullptr; // the free nodes lay in the same block
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

// Moves to the first entry of the first bucket with an entry, beginning at it.bucket. Returns its record; null if
// all these buckets are empty.
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
