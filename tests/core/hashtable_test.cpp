#include "core/hashtable.h"

#include "core/hashtable_rules.h"
#include "tests/support/watched_memory.h"

#include <locale.h>
#include <type_traits>

// The game's comparison: the table has none of its own. It notes who is compared with whom.
static std::string s_comparisons;

int stricmp(const char* left, const char* right)
{
    s_comparisons += (s_comparisons.empty() ? "" : ", ") + std::string(left) + "~" + right;
    auto lower = [](char letter) { return letter >= 'A' && letter <= 'Z' ? letter + 32 : letter; };
    while (*left && lower(*left) == lower(*right)) {
        ++left;
        ++right;
    }
    return lower(*left) - lower(*right);
}

typedef HashTable<int> Table;
typedef HashTableIter_t<int> Iter;

static int s_records[2000];

// Keys and records in the order of the walk: "hello=1, a=0". The table keeps its rules.
static std::string walk(Table& table)
{
    EXPECT_EQ(BrokenHashRule(table), nullptr);
    std::string text;
    Iter it;
    for (int* data = table.getFirstElement(it); data; data = table.getNextElement(it)) {
        text += (text.empty() ? "" : ", ") + std::string(it.key) + "=" + std::to_string(data - s_records);
        EXPECT_EQ(it.key, it.node->m_key);
        EXPECT_TRUE(strlen(it.key) == 127 || it.bucket == table.getHashIndex(it.key));
    }
    return text;
}

static void expectBroken(const Table& table, const std::string& rule)
{
    const char* broken = BrokenHashRule(table);
    EXPECT_EQ(std::string(broken ? broken : "").substr(0, rule.size()), rule);
}

static unsigned int freeNodes(const HashPool<int>& pool)
{
    unsigned int count = 0;
    for (const HashData<int>* node = pool.m_freeList; node; node = node->m_next) {
        EXPECT_EQ(node->m_data, nullptr);
        ++count;
    }
    return count;
}

// ---- The hash

struct Hash {
    const char* key;
    unsigned int index; // of 1021 buckets
};

class Hashes : public testing::TestWithParam<Hash> {};

TEST_P(Hashes, AreTheSameOnEveryHost)
{
    WatchedMemory memory;
    Table table(1021, 1);
    EXPECT_EQ(table.getHashIndex(GetParam().key), GetParam().index);
}

static const Hash sc_hashes[] = {
    {"", 0}, // nothing to add up
    {"a", 97},
    {"AB", 236},    // 3299: as "ab"
    {"Hello", 796}, // 127086708
    {"hello", 796},
    {"data/x", 155},      // 4032851118
    {"data\\x", 155},     // a slash is a backslash
    {"Caf\xC3\xA9", 294}, // 121001046: bytes from 0x80 on are negative
    {"caf\xC3\xA9", 294},
    {"@", 64},
    {"[", 91}, // the neighbours of A and Z
    {"`", 96},
    {"{", 123},
    {"\x7F", 127},
    {"\x80", 1001}, // 0xFFFFFF80
    {"\xC3", 47},   // 0xFFFFFFC3
    {"\xE3", 79},   // 0xFFFFFFE3: no letter, however it looks
    {"\xFF", 107},  // 0xFFFFFFFF
};
INSTANTIATE_TEST_SUITE_P(Hash, Hashes, testing::ValuesIn(sc_hashes));

TEST(Hash, HasThirtyTwoBits)
{
    WatchedMemory memory;
    Table table(1, 1);
    EXPECT_EQ(table.getHashIndex("Hello"), 0u);

    table.m_bucketCount = 0xffffffff; // for a moment: there could be as many
    EXPECT_EQ(table.getHashIndex("a"), 97u);
    EXPECT_EQ(table.getHashIndex("AB"), 3299u);
    EXPECT_EQ(table.getHashIndex("HELLO"), 127086708u);
    EXPECT_EQ(table.getHashIndex("Caf\xC3\xA9"), 121001046u);
    EXPECT_EQ(table.getHashIndex("data\\x"), 4032851118u); // more than 31 of them
    EXPECT_EQ(table.getHashIndex("\x80"), 0xffffff80u);
    table.m_bucketCount = 1;
}

TEST(Hash, FoldsTheLettersFromAToZAlone)
{
    WatchedMemory memory;
    Table table(1021, 1);
    for (int byte = 1; byte < 256; ++byte) {
        const char key[2] = {static_cast<char>(byte), '\0'};
        int value = byte >= 'A' && byte <= 'Z' ? byte + 32 : byte == '/' ? '\\' : byte;
        value -= byte >= 0x80 ? 256 : 0;
        EXPECT_EQ(table.getHashIndex(key), static_cast<unsigned int>(value) % 1021) << byte;
    }
}

TEST(Hash, IsTheSumOfItsBytesWhateverTheKeysLength)
{
    WatchedMemory memory;
    Table table(1, 1);
    table.m_bucketCount = 0xffffffff; // for a moment: there could be as many
    unsigned int random = 1;
    for (size_t length = 0; length < 300; ++length) {
        for (int keys = 0; keys < 50; ++keys) {
            std::string key;
            unsigned int hash = 0;
            while (key.size() < length) {
                random = random * 1664525u + 1013904223u;
                const int byte = 1 + static_cast<int>((random >> 16) % 255);
                const int letter = byte >= 'A' && byte <= 'Z' ? byte + 32 : byte == '/' ? '\\' : byte;
                hash = hash * 33 + static_cast<unsigned int>(letter > 127 ? letter - 256 : letter);
                key += static_cast<char>(byte);
            }
            EXPECT_EQ(table.getHashIndex(key.c_str()), hash % 0xffffffff) << testing::PrintToString(key);
        }
    }
    table.m_bucketCount = 1;
}

TEST(Hash, IsTheSameInEveryLocale)
{
    // Whichever of these the machine has: in some of them other letters have lower cases, or I has no i.
    WatchedMemory memory;
    Table table(1021, 1);
    for (const char* name : {"C", "tr_TR.UTF-8", "tr_TR", "tr_TR.ISO-8859-9", "de_DE.ISO-8859-1", "C.UTF-8"}) {
        setlocale(LC_ALL, name);
        EXPECT_EQ(table.getHashIndex("TITLE"), table.getHashIndex("title")) << name;
        EXPECT_EQ(table.getHashIndex("\xC3"), 47u) << name;
    }
    setlocale(LC_ALL, "C");
}

// ---- Entries

TEST(HashTable, FindsWhatWasInserted)
{
    WatchedMemory memory;
    Table table(1021, 1024);
    HashData<int>* node = table.insert("Hello", &s_records[1]);

    ASSERT_NE(node, nullptr);
    EXPECT_STREQ(node->m_key, "Hello");
    EXPECT_EQ(node->m_data, &s_records[1]);
    EXPECT_EQ(node->m_next, nullptr);
    EXPECT_EQ(table.m_buckets[796], node);
    EXPECT_EQ(table.getData("Hello"), &s_records[1]);
    EXPECT_EQ(table.getData("HELLO"), &s_records[1]);
    EXPECT_EQ(table.getData("hell"), nullptr);
    EXPECT_EQ(table.getData(""), nullptr);
    EXPECT_EQ(table.getData(nullptr), nullptr);
}

TEST(HashTable, KeepsAnEmptyKeyInBucketZero)
{
    WatchedMemory memory;
    Table table(1021, 4);
    HashData<int>* node = table.insert("", &s_records[0]);
    EXPECT_EQ(table.m_buckets[0], node);
    EXPECT_EQ(table.getData(""), &s_records[0]);
}

TEST(HashTable, AppendsToABucketsChain)
{
    WatchedMemory memory;
    Table table(1, 4); // all keys share the one bucket
    HashData<int>* first = table.insert("c", &s_records[1]);
    HashData<int>* second = table.insert("a", &s_records[2]);
    HashData<int>* third = table.insert("b", &s_records[3]);

    EXPECT_EQ(table.m_buckets[0], first);
    EXPECT_EQ(first->m_next, second);
    EXPECT_EQ(second->m_next, third);
    EXPECT_EQ(third->m_next, nullptr);
    EXPECT_EQ(walk(table), "c=1, a=2, b=3");
    EXPECT_EQ(table.getData("a"), &s_records[2]);
    EXPECT_EQ(table.getData("b"), &s_records[3]);
}

TEST(HashTable, ComparesTheStoredKeysInTheOrderOfTheChainWithTheWholeRequestedKey)
{
    WatchedMemory memory;
    Table table(1, 4);
    table.insert("One", &s_records[1]);
    table.insert("Two", &s_records[2]);
    table.insert("Three", &s_records[3]);
    EXPECT_EQ(s_comparisons, ""); // inserting looks for no equal key

    table.getData("two");
    EXPECT_EQ(std::exchange(s_comparisons, ""), "One~two, Two~two");
    table.getData("four");
    EXPECT_EQ(std::exchange(s_comparisons, ""), "One~four, Two~four, Three~four");
}

TEST(HashTable, ComparesOnlyKeysOfOneBucket)
{
    WatchedMemory memory;
    Table table(1021, 4);
    table.insert("a", &s_records[1]);
    table.getData("b");
    EXPECT_EQ(s_comparisons, "");
}

TEST(HashTable, TheComparisonDecidesWhetherASlashEqualsABackslash)
{
    WatchedMemory memory;
    Table table(1021, 4);
    table.insert("data/x", &s_records[1]);
    EXPECT_EQ(table.getData("data\\x"), nullptr); // this program's says it isn't
    EXPECT_EQ(s_comparisons, "data/x~data\\x");
}

TEST(HashTable, KeepsTheSameKeyTwiceAndFindsTheFirst)
{
    WatchedMemory memory;
    Table table(1021, 4);
    table.insert("Key", &s_records[1]);
    table.insert("KEY", &s_records[2]);
    EXPECT_EQ(table.getData("key"), &s_records[1]);
    EXPECT_EQ(walk(table), "Key=1, KEY=2");
}

TEST(HashTable, KeepsOneRecordUnderTwoKeys)
{
    WatchedMemory memory;
    Table table(1021, 4);
    table.insert("a", &s_records[1]);
    table.insert("b", &s_records[1]);
    EXPECT_EQ(walk(table), "a=1, b=1");
}

TEST(HashTable, FindsAKeyOf127Bytes)
{
    WatchedMemory memory;
    Table table(1021, 4);
    const std::string key(127, 'k');
    HashData<int>* node = table.insert(key.c_str(), &s_records[1]);
    EXPECT_EQ(node->m_key, key);
    EXPECT_EQ(table.getData(key.c_str()), &s_records[1]);
}

TEST(HashTable, TruncatesAKeyOf128BytesAndNeverFindsIt)
{
    WatchedMemory memory;
    Table table(1021, 4);
    const std::string key = std::string(127, 'k') + "x";
    HashData<int>* node = table.insert(key.c_str(), &s_records[1]);

    EXPECT_EQ(node->m_key, std::string(127, 'k'));
    EXPECT_EQ(table.m_buckets[table.getHashIndex(key.c_str())], node); // the bucket is the whole key's
    EXPECT_EQ(table.getData(key.c_str()), nullptr);
    ASSERT_NE(table.getHashIndex(key.c_str()), table.getHashIndex(node->m_key));
    EXPECT_EQ(table.getData(node->m_key), nullptr); // sought in another bucket
    EXPECT_EQ(walk(table).substr(127), "=1");
}

TEST(HashTable, FillsTheKeyUpWithNULs)
{
    WatchedMemory memory;
    Table table(1021, 1);
    HashData<int>* node = table.m_pool->m_freeList;
    memset(node->m_key, 'x', sizeof(node->m_key));
    ASSERT_EQ(table.insert("abc", &s_records[1]), node);
    EXPECT_EQ(std::string(node->m_key, 128), "abc" + std::string(125, '\0'));
}

TEST(HashTable, HoldsOneEntryForEachNodeInWhateverBuckets)
{
    for (unsigned int buckets : {1u, 2u, 1021u, 5000u}) {
        WatchedMemory memory;
        Table table(buckets, 1024);
        for (int number = 0; number < 1024; ++number) {
            ASSERT_NE(table.insert(std::to_string(number).c_str(), &s_records[number]), nullptr) << number;
        }
        const std::string before = walk(table);
        EXPECT_EQ(table.insert("one more", &s_records[1024]), nullptr);
        EXPECT_EQ(table.insert("another one", &s_records[1025]), nullptr);
        EXPECT_EQ(walk(table), before);
        EXPECT_EQ(table.getData("one more"), nullptr);
        EXPECT_EQ(table.getData("1023"), &s_records[1023]);

        table.removeAll(false);
        EXPECT_EQ(walk(table), "");
        for (int number = 0; number < 1024; ++number) {
            ASSERT_NE(table.insert(std::to_string(number).c_str(), &s_records[number]), nullptr) << number;
        }
        EXPECT_EQ(table.insert("one more", &s_records[1024]), nullptr);
    }
}

TEST(HashTable, HasNoEntriesWithoutNodesOrWithoutBuckets)
{
    WatchedMemory memory;
    Table noNodes(1021, 0);
    EXPECT_EQ(noNodes.insert("a", &s_records[1]), nullptr);
    EXPECT_EQ(walk(noNodes), "");

    Table noBuckets(0, 4);
    EXPECT_EQ(noBuckets.getHashIndex("a"), 0u);
    EXPECT_EQ(noBuckets.insert("a", &s_records[1]), nullptr);
    EXPECT_EQ(noBuckets.getData("a"), nullptr);
    EXPECT_EQ(walk(noBuckets), "");
    noBuckets.removeAll(true);
}

TEST(HashTable, RefusesAnEntryWithoutKeyOrRecord)
{
    WatchedMemory memory;
    Table table(1, 4);
    EXPECT_EQ(table.insert(nullptr, &s_records[1]), nullptr);
    EXPECT_EQ(table.insert("a", nullptr), nullptr);
    EXPECT_EQ(table.getHashIndex(nullptr), 0u);
    EXPECT_EQ(table.m_buckets[0], nullptr);
    EXPECT_EQ(freeNodes(*table.m_pool), 4u);

    table.insert("a", &s_records[1]);
    EXPECT_EQ(table.insert("b", nullptr), nullptr);
    EXPECT_EQ(walk(table), "a=1");
    EXPECT_EQ(freeNodes(*table.m_pool), 3u);
}

TEST(HashTable, CanInsertTheKeyThatANodeHeldBefore)
{
    WatchedMemory memory;
    Table table(1021, 1);
    HashData<int>* node = table.insert("Hello", &s_records[1]);
    table.removeAll(false);
    strcpy(node->m_key, "World"); // as it may lie there by chance
    EXPECT_EQ(table.insert(node->m_key, &s_records[2]), node);
    EXPECT_EQ(walk(table), "World=2");
}

// ---- A walk

TEST(HashTableWalk, GoesThroughTheBucketsInOrderAndThroughTheirEntriesFromTheOldest)
{
    WatchedMemory memory;
    Table table(10, 10);
    const char* keys[] = {"d", "c", "n", "D", "a", "x"}; // buckets 0, 9, 0, 0, 7, 0
    for (int number = 0; number < 6; ++number) {
        table.insert(keys[number], &s_records[number]);
    }
    EXPECT_EQ(walk(table), "d=0, n=2, D=3, x=5, a=4, c=1");
}

TEST(HashTableWalk, HasNothingToFindInAnEmptyTable)
{
    WatchedMemory memory;
    Table table(1021, 4);
    Iter it = {"?", 77, reinterpret_cast<HashData<int>*>(&table)};
    EXPECT_EQ(table.getFirstElement(it), nullptr);
    EXPECT_EQ(it.node, nullptr);
    EXPECT_EQ(it.key, nullptr);
    EXPECT_EQ(table.getNextElement(it), nullptr);
    EXPECT_EQ(table.getNextElement(it), nullptr);

    table.insert("a", &s_records[1]);
    table.removeAll(false);
    EXPECT_EQ(table.getFirstElement(it), nullptr);
}

TEST(HashTableWalk, StaysAtTheEnd)
{
    WatchedMemory memory;
    Table table(100, 4);
    table.insert("a", &s_records[1]);
    Iter it;
    EXPECT_EQ(table.getFirstElement(it), &s_records[1]);
    EXPECT_EQ(it.bucket, 97u);
    for (int again = 0; again < 3; ++again) {
        EXPECT_EQ(table.getNextElement(it), nullptr);
        EXPECT_EQ(it.bucket, 100u);
        EXPECT_EQ(it.node, nullptr);
        EXPECT_EQ(it.key, nullptr);
    }
}

TEST(HashTableWalk, StartsOverWithTheSameIterator)
{
    WatchedMemory memory;
    Table table(1021, 4);
    table.insert("a", &s_records[1]);
    table.insert("b", &s_records[2]);
    Iter it;
    table.getFirstElement(it);
    table.getNextElement(it);
    EXPECT_EQ(table.getFirstElement(it), &s_records[1]);
    EXPECT_STREQ(it.key, "a");
}

// ---- removeAll

TEST(HashTable, RemovesAllAndLeavesTheRecordsToTheirOwner)
{
    WatchedMemory memory;
    Table table(2, 4);
    HashData<int>* node = table.insert("a", &s_records[1]);
    table.insert("b", &s_records[2]);
    table.insert("c", &s_records[3]);
    memory.takeLog();
    table.removeAll(false);

    EXPECT_EQ(memory.takeLog(), "");
    EXPECT_EQ(table.m_buckets[0], nullptr);
    EXPECT_EQ(table.m_buckets[1], nullptr);
    EXPECT_EQ(node->m_key[0], '\0');
    EXPECT_EQ(freeNodes(*table.m_pool), 4u); // none with a record
    EXPECT_EQ(table.getData("a"), nullptr);
}

TEST(HashTable, GivesTheRecordsBackToBankZeroInTheOrderOfTheWalk)
{
    WatchedMemory memory;
    Table table(10, 4);
    memory.takeLog();
    for (const char* key : {"c", "d", "n"}) { // buckets 9, 0, 0
        table.insert(key, static_cast<int*>(memory.alloc(0, sizeof(int), key, 1)));
    }
    EXPECT_EQ(memory.takeLog(), "alloc 4 c:1 = #4, alloc 4 d:1 = #5, alloc 4 n:1 = #6");
    table.removeAll(true);
    EXPECT_EQ(memory.takeLog(), "free #5, free #6, free #4");
}

TEST(HashTable, HandsOutTheNodesFreedLastFirst)
{
    WatchedMemory memory;
    Table table(1, 4);
    HashData<int>* a = table.insert("a", &s_records[1]);
    HashData<int>* b = table.insert("b", &s_records[2]);
    EXPECT_EQ(a, table.m_pool->m_nodes + 3); // at first the last of the array
    EXPECT_EQ(b, table.m_pool->m_nodes + 2);
    table.removeAll(false);
    EXPECT_EQ(table.insert("c", &s_records[3]), b);
    EXPECT_EQ(table.insert("d", &s_records[4]), a);
    EXPECT_EQ(table.insert("e", &s_records[5]), table.m_pool->m_nodes + 1);
    EXPECT_EQ(table.insert("f", &s_records[6]), table.m_pool->m_nodes);
}

// ---- The rules

TEST(HashTableRules, TheCheckFindsALostNode)
{
    WatchedMemory memory;
    Table table(10, 4);
    table.insert("a", &s_records[1]);
    EXPECT_EQ(BrokenHashRule(table), nullptr);
    HashData<int>* lost = table.m_pool->allocNode();
    expectBroken(table, "hash table 1: ");
    lost->m_next = table.m_pool->m_freeList;
    table.m_pool->m_freeList = lost;
    EXPECT_EQ(BrokenHashRule(table), nullptr);
}

TEST(HashTableRules, TheCheckFindsAFreeNodeWithARecordAndAnEntryWithoutOne)
{
    WatchedMemory memory;
    Table table(10, 4);
    HashData<int>* node = table.insert("a", &s_records[1]);
    node->m_data = nullptr;
    expectBroken(table, "hash table 1: ");
    node->m_data = &s_records[1];
    table.m_pool->m_freeList->m_data = &s_records[2];
    expectBroken(table, "hash table 1: ");
    table.m_pool->m_freeList->m_data = nullptr;
    EXPECT_EQ(BrokenHashRule(table), nullptr);
}

TEST(HashTableRules, TheCheckFindsAChainThatEndsInItselfOrLeavesThePool)
{
    WatchedMemory memory;
    Table table(10, 4);
    HashData<int>* node = table.insert("a", &s_records[1]);
    HashData<int>* const nodes = table.m_pool->m_nodes;
    for (HashData<int>* wrong : {node, nodes - 1, nodes + 4}) {
        node->m_next = wrong;
        expectBroken(table, "hash table 1: ");
    }
    node->m_next = nullptr;
    EXPECT_EQ(BrokenHashRule(table), nullptr);
}

TEST(HashTableRules, TheCheckFindsAKeyInAnotherBucketUnlessItMayBeTruncated)
{
    WatchedMemory memory;
    Table table(1021, 4);
    table.insert((std::string(127, 'k') + "x").c_str(), &s_records[1]);
    EXPECT_EQ(BrokenHashRule(table), nullptr);
    HashData<int>* node = table.insert("a", &s_records[2]);
    node->m_key[0] = 'b';
    expectBroken(table, "hash table 2: ");
}

// ---- Nodes and their pool

TEST(HashData, StoresInTheFirstNodeWithoutARecord)
{
    WatchedMemory memory;
    HashPool<int> pool(3);
    ASSERT_TRUE(pool.initialize());
    HashData<int>* first = pool.allocNode();

    EXPECT_EQ(first->setData("a", &s_records[1], &pool), first);
    HashData<int>* second = first->setData("b", &s_records[2], &pool);
    EXPECT_EQ(first->m_next, second);
    second->m_data = nullptr; // its owner took the record out
    EXPECT_EQ(first->setData("c", &s_records[3], &pool), second);
    EXPECT_STREQ(second->m_key, "c");

    HashData<int>* third = second->setData("d", &s_records[4], &pool);
    EXPECT_EQ(second->m_next, third);
    EXPECT_EQ(first->setData("e", &s_records[5], &pool), nullptr);
    EXPECT_EQ(third->m_next, nullptr);
    EXPECT_EQ(first->getData("D"), &s_records[4]);
    EXPECT_EQ(third->getData("a"), nullptr); // from this node on
}

TEST(HashData, IsSafeWithoutKeyRecordPoolOrContents)
{
    HashData<int> node;
    EXPECT_EQ(node.m_data, nullptr);
    EXPECT_EQ(node.m_next, nullptr);
    EXPECT_EQ(node.getData("a"), nullptr);
    EXPECT_EQ(s_comparisons, ""); // its key is whatever lay there
    EXPECT_EQ(node.setData(nullptr, &s_records[1], nullptr), nullptr);
    EXPECT_EQ(node.setData("a", nullptr, nullptr), nullptr);
    EXPECT_EQ(node.setData("a", &s_records[1], nullptr), &node);
    EXPECT_EQ(node.setData("b", &s_records[2], nullptr), nullptr);
    EXPECT_EQ(node.getData(nullptr), nullptr);
    EXPECT_EQ(node.getData("a"), &s_records[1]);
}

TEST(HashPool, IsEmptyUntilItIsInitialized)
{
    WatchedMemory memory;
    HashPool<int> pool(4);
    EXPECT_EQ(pool.m_poolSize, 4u);
    EXPECT_EQ(pool.m_nodes, nullptr);
    EXPECT_EQ(pool.m_freeList, nullptr);
    EXPECT_EQ(pool.allocNode(), nullptr);
    EXPECT_EQ(memory.takeLog(), "");
}

TEST(HashPool, HandsOutEachNodeOnceFromTheLastToTheFirst)
{
    WatchedMemory memory;
    HashPool<int> pool(4);
    EXPECT_TRUE(pool.initialize());
    for (int index = 3; index >= 0; --index) {
        HashData<int>* node = pool.allocNode();
        EXPECT_EQ(node, pool.m_nodes + index);
        EXPECT_EQ(node->m_next, nullptr);
    }
    EXPECT_EQ(pool.allocNode(), nullptr);
}

TEST(HashPool, AddsItsNodesToWhatIsOnTheFreeList)
{
    WatchedMemory memory;
    HashData<int> another;
    HashPool<int> pool(2);
    pool.m_freeList = &another;
    EXPECT_TRUE(pool.initialize());
    pool.allocNode();
    pool.allocNode();
    EXPECT_EQ(pool.allocNode(), &another);
    EXPECT_EQ(pool.allocNode(), nullptr);
}

TEST(HashPool, StartsOverWhenInitializedAgain)
{
    WatchedMemory memory;
    const std::string nodes = std::to_string(4 * sizeof(HashData<int>));
    HashPool<int> pool(4);
    pool.initialize();
    pool.allocNode();
    EXPECT_TRUE(pool.initialize());
    EXPECT_EQ(memory.takeLog(),
              "alloc " + nodes + " core/hashtable:161 = #1, free #1, alloc " + nodes + " core/hashtable:161 = #2");
    EXPECT_EQ(freeNodes(pool), 4u);
}

TEST(HashPool, HasNoNodesWithoutMemory)
{
    WatchedMemory memory;
    memory.refusedLine = 161;
    HashPool<int> pool(4);
    EXPECT_FALSE(pool.initialize());
    EXPECT_EQ(pool.allocNode(), nullptr);

    HashPool<int> none(0);
    EXPECT_FALSE(none.initialize());
    EXPECT_EQ(none.allocNode(), nullptr);
}

// A record whose nodes say when they end.
struct Probe {};
static std::vector<const void*> s_ended;
template <>
HashData<Probe>::~HashData()
{
    s_ended.push_back(this);
}

TEST(HashPool, DestroysItsNodesFromTheLastToTheFirst)
{
    WatchedMemory memory;
    HashPool<Probe>* pool = new HashPool<Probe>(3);
    pool->initialize();
    HashData<Probe>* nodes = pool->m_nodes;
    const std::vector<const void*> backwards = {nodes + 2, nodes + 1, nodes};
    pool->initialize();
    EXPECT_EQ(std::exchange(s_ended, {}), backwards);

    nodes = pool->m_nodes;
    pool->allocNode(); // taken or not
    const std::vector<const void*> backwardsAgain = {nodes + 2, nodes + 1, nodes};
    delete pool;
    EXPECT_EQ(s_ended, backwardsAgain);
}

// ---- Memory

static std::string alloc(unsigned long size, const char* from, int number)
{
    return "alloc " + std::to_string(size) + " " + from + " = #" + std::to_string(number);
}

TEST(HashTable, TakesThreeBlocksOfBankZeroAndGivesThemBack)
{
    WatchedMemory memory;
    Table* table = new ("test", 1) Table(1021, 1024);
    EXPECT_EQ(memory.takeLog(), alloc(sizeof(Table), "test:1", 1) + ", " +
                                    alloc(1021 * sizeof(void*), "core/hashtable:289", 2) + ", " +
                                    alloc(sizeof(HashPool<int>), "core/hashtable:296", 3) + ", " +
                                    alloc(1024 * sizeof(HashData<int>), "core/hashtable:161", 4));

    table->insert("a", &s_records[1]);
    table->insert("a", &s_records[2]);
    EXPECT_EQ(memory.takeLog(), ""); // inserting never asks for memory

    delete table; // the records stay whose they are
    EXPECT_EQ(memory.takeLog(), "free #2, free #4, free #3, free #1");
    EXPECT_EQ(memory.check(0, true), 0);
}

TEST(HashTable, HasNullInEveryBucketAtFirst)
{
    GameMemory memory;
    Source::serve(memory, MEMLOC_DEFAULT); // its bytes are no zeros
    memory.defineHeap("core", 64 << 10);
    memory.initialize();
    Table table(1021, 8);
    for (unsigned int bucket = 0; bucket < 1021; ++bucket) {
        ASSERT_EQ(table.m_buckets[bucket], nullptr);
    }
    EXPECT_EQ(freeNodes(*table.m_pool), 8u);
}

TEST(HashTable, MayLieOnTheStackOrInABlock)
{
    WatchedMemory memory;
    {
        Table table(1021, 4);
        table.insert("a", &s_records[1]);
    }
    EXPECT_EQ(memory.check(0, true), 0);

    void* storage = memory.alloc(0, sizeof(Table), "game", 7);
    Table* table = ::new (storage) Table(1021, 4);
    EXPECT_EQ(memory.linesInUse("game"), "7");
    EXPECT_EQ(memory.linesInUse("core/hashtable"), "289 296 161");
    delete table;
    EXPECT_EQ(memory.check(0, true), 0);

    table = new Table(1021, 4);
    EXPECT_GE(memory.getSize(0, table), sizeof(Table));
    delete table;
    delete new HashPool<int>(4);
    delete new HashData<int>;
    EXPECT_EQ(memory.check(0, true), 0);
}

TEST(HashTable, IsEmptyWithoutMemory)
{
    for (unsigned int line : {289u, 296u, 161u}) {
        WatchedMemory memory;
        memory.refusedLine = line;
        Table table(1021, 4);
        EXPECT_EQ(table.insert("a", &s_records[1]), nullptr) << line;
        EXPECT_EQ(table.getData("a"), nullptr);
        EXPECT_EQ(walk(table), "");
        table.removeAll(true);
    }
}

TEST(HashTable, IsEmptyWithoutAMemoryManager)
{
    ASSERT_EQ(g_MemoryPtr, nullptr);
    Table table(1021, 4);
    EXPECT_EQ(table.m_buckets, nullptr);
    EXPECT_EQ(table.m_pool, nullptr);
    EXPECT_EQ(table.getHashIndex("a"), 97u);
    EXPECT_EQ(table.insert("a", &s_records[1]), nullptr);
    EXPECT_EQ(table.getData("a"), nullptr);
    EXPECT_EQ(walk(table), "");
    table.removeAll(true);
    EXPECT_EQ(new Table(1021, 4), nullptr);
}

TEST(HashTableDeathTest, EndsTheGameOverANumberOfNodesThatNoBankHolds)
{
    unsetenv("DISPLAY"); // the alert goes to the standard error stream
    unsetenv("WAYLAND_DISPLAY");
    for (unsigned int count : {0xffffffffu, 0x80000000u, 30678338u}) { // the last are 24 bytes in 32 bits
        EXPECT_EXIT(
            {
                WatchedMemory memory;
                HashPool<int> pool(count);
                pool.initialize();
            },
            testing::ExitedWithCode(255), "has run out of memory");
    }
}

TEST(HashTable, IsPolymorphicThroughItsDestructorsAlone)
{
    EXPECT_TRUE(std::has_virtual_destructor<HashTable<int>>::value);
    EXPECT_TRUE(std::has_virtual_destructor<HashPool<int>>::value);
    EXPECT_TRUE(std::has_virtual_destructor<HashData<int>>::value);
    EXPECT_TRUE(std::is_trivial<HashTableIter_t<int>>::value);
}
