// Checks the rules of a hash table, in the words of core/hashtable.h. Not for games. The string table calls this check
// in a checked build, and the tests of the hash table call it in every build. core/hashtable.h itself has no check, so
// that a game's own tables do not change.
#pragma once

#include "core/hashtable.h"

// Counts the nodes from first to the end of its list. Returns nodeCount + 1 if a node does not lie in the pool, if the
// list has more nodes than the pool, or if a node has a record although hasRecord is false, or none although it is true.
template <typename T>
unsigned int CountHashNodes(const HashPool<T>& pool, const HashData<T>* first, bool hasRecord)
{
    const unsigned int nodeCount = pool.m_poolSize;
    unsigned int count = 0;
    for (const HashData<T>* node = first; node; node = node->m_next) {
        const bool isOfPool = node >= pool.m_nodes && node < pool.m_nodes + nodeCount;
        if (!isOfPool || count == nodeCount || (node->m_data != nullptr) != hasRecord) {
            return nodeCount + 1;
        }
        ++count;
    }
    return count;
}

// Returns true if all keys of a bucket have the bucket's hash. A key of 127 bytes may be truncated and is not checked.
template <typename T>
bool HasHashKeysOf(const HashTable<T>& table, unsigned int bucket)
{
    for (const HashData<T>* node = table.m_buckets[bucket]; node; node = node->m_next) {
        const bool isWhole = strlen(node->m_key) < sizeof(node->m_key) - 1;
        if (isWhole && HashOfKey(node->m_key) % table.m_bucketCount != bucket) {
            return false;
        }
    }
    return true;
}

// Returns the first broken rule; null if no rule is broken, or if the table has no memory. Allocates nothing, changes
// nothing, and calls no function that a program may define itself.
template <typename T>
const char* BrokenHashRule(const HashTable<T>& table)
{
    static const char* const sc_rule1 = "hash table 1: each node is on the free list and has no record, or is in the "
                                        "chain of one bucket and has a record";
    if (!table.m_buckets || !table.m_pool || !table.m_pool->m_nodes) {
        return nullptr;
    }
    const HashPool<T>& pool = *table.m_pool;
    unsigned long long count = CountHashNodes(pool, pool.m_freeList, false);
    for (unsigned int bucket = 0; bucket < table.m_bucketCount && count <= pool.m_poolSize; ++bucket) {
        count += CountHashNodes(pool, table.m_buckets[bucket], true);
        if (count <= pool.m_poolSize && !HasHashKeysOf(table, bucket)) {
            return "hash table 2: a key that was not truncated is in the bucket of its hash";
        }
    }
    return count == pool.m_poolSize ? nullptr : sc_rule1;
}
