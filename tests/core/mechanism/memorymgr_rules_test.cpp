// The checks of a checked build: the process ends with the text of the rule that a heap bank breaks.
#include "core/memorymgr_freelist.h"
#include "core/memorymgr_rules.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <stdlib.h>

#include <functional>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

const int sc_number = 3;              // of the bank
const int sc_ended = 3;               // the status of a process that abort ends
const unsigned int sc_size = 1 << 19; // its classes have bits in three words

// A bank of 512 KiB. Its nodes, from the start: pairs of a used and a free node, whose sizes grow; a free node of 8 KiB, which
// fills a word of boundary bits; a used node; the rest, which is free.
class RuledBank {
public:
    explicit RuledBank(bool hasIndex, unsigned int pairs = 8)
    {
        bank.type = MEMBANK_HEAP;
        bank.size = sc_size;
        bank.base = s_memory;
        bank.freeList = makeFreeNode(s_memory, sc_size);
        bank.freeNodeCount = 1;
        if (hasIndex) {
            FreeIndex::make(reinterpret_cast<MemoryMgr*>(&bank), 0, bank);
        }
        std::vector<MemoryHeapNode_s*> toFree;
        for (unsigned int pair = 0; pair < pairs; ++pair) {
            take(64);
            toFree.push_back(take(64 + pair / 2 * 32)); // two of each size
        }
        take(64);
        toFree.push_back(take(8192));
        take(64);
        for (MemoryHeapNode_s* node : toFree) {
            free(node);
        }
    }
    ~RuledBank() { FreeIndex::dropAll(reinterpret_cast<MemoryMgr*>(&bank)); }
    RuledBank(const RuledBank&) = delete;
    RuledBank& operator=(const RuledBank&) = delete;

    FreeIndex* index() { return FreeIndex::of(&bank); }

    // Gives the newest node its class and its boundary bits, so that the rules for all other nodes hold for it too.
    FreeIndex* settledIndex()
    {
        index()->enterNewest();
        return index();
    }

    MemoryHeapNode_s* take(unsigned int size)
    {
        FreeList list(&bank, index());
        MemoryHeapNode_s* node = list.firstOfAtLeast(size);
        if (node->size == size) {
            list.remove(node);
            bank.freeNodeCount -= 1;
        } else {
            MemoryHeapNode_s* rest = reinterpret_cast<MemoryHeapNode_s*>(reinterpret_cast<char*>(node) + size);
            rest->magic = sc_magicFree;
            list.replace(node, rest, node->size - size);
            node->size = size;
        }
        node->magic = sc_magicUsed;
        bank.usedNodeCount += 1;
        pushFront(bank.usedList, node);
        return node;
    }

    void free(MemoryHeapNode_s* node)
    {
        unlink(bank.usedList, node);
        bank.usedNodeCount -= 1;
        node->magic = sc_magicFree;
        bank.freeNodeCount += 1;
        FreeList list(&bank, index());
        if (!list.join(node)) {
            list.add(node);
        }
    }

    MemoryHeapNode_s* firstFree() { return bank.freeList; }
    MemoryHeapNode_s* secondFree() { return insideLink(bank.freeList->next); }
    MemoryHeapNode_s* lastFree()
    {
        MemoryHeapNode_s* node = bank.freeList;
        while (insideLink(node->next)) {
            node = insideLink(node->next);
        }
        return node;
    }

    MemoryBank_s bank = {};

private:
    alignas(64) static inline char s_memory[sc_size];
};

// A process that a signal ends does not write its counts of lines that ran.
void endAtAbort()
{
    signal(SIGABRT, [](int) { _exit(sc_ended); });
}

struct Broken {
    const char* rule;
    std::function<void(RuledBank&)> change;
};

// An operation that changes nothing.
void operate(const RuledBank& ruled, MemoryHeapNode_s* node, int number = sc_number)
{
    const RulesWatch watch(number, &ruled.bank, node);
}

// A fallback block of 64 bytes, the first on the bank's list. The bank's counter does not change.
MemoryHeapNode_s* pushFallback(MemoryBank_s& bank)
{
    MemoryHeapNode_s* node = static_cast<MemoryHeapNode_s*>(malloc(64));
    setUpOutsideLinks(node);
    node->magic = sc_magicUsed;
    node->size = 64 | sc_extBit;
    pushFront(bank.extList, node, NODES_OF_LOCATION);
    return node;
}

// The operation changes the bank: the check after the operation ends the process.
void expectTheEndFor(const Broken& broken, bool hasIndex)
{
    const auto play = [&] {
        endAtAbort();
        RuledBank ruled(hasIndex);
        pushFallback(ruled.bank);
        ruled.bank.extNodeCount = 1;
        const RulesWatch watch(sc_number, &ruled.bank, nullptr);
        broken.change(ruled);
    };
    EXPECT_EXIT(play(), testing::ExitedWithCode(sc_ended),
                std::string("memory bank 3 breaks a rule: ") + broken.rule);
}

const Broken sc_heapRules[] = {
    {"heap 4", [](RuledBank& ruled) { ruled.bank.freeNodeCount -= 1; }},
    {"heap 4", [](RuledBank& ruled) { ruled.bank.freeNodeCount += 1; }},
    {"heap 4", [](RuledBank& ruled) { ruled.bank.usedNodeCount += 1; }},
    {"heap 4", [](RuledBank& ruled) { ruled.firstFree()->magic = sc_magicUsed; }},
    {"heap 4", [](RuledBank& ruled) { setInsideLink(ruled.secondFree()->prev, nullptr); }},
    {"heap 4", [](RuledBank& ruled) { ruled.bank.freeList = reinterpret_cast<MemoryHeapNode_s*>(&ruled.bank); }},
    {"heap 4", [](RuledBank& ruled) { ruled.firstFree()->size = sc_size; }}, // it leaves the bank
    {"heap 1", [](RuledBank& ruled) { ruled.lastFree()->size -= 32; }},
    {"heap 2",
     [](RuledBank& ruled) { // the last free node becomes two
         MemoryHeapNode_s* last = ruled.lastFree();
         MemoryHeapNode_s* before = insideLink(last->prev);
         MemoryHeapNode_s* upper = makeFreeNode(reinterpret_cast<char*>(last) + 8192, last->size - 8192);
         last->size = 8192;
         linkBetween(ruled.bank.freeList, last, upper, nullptr);
         ruled.bank.freeNodeCount += 1;
         ASSERT_LE(before->size, last->size);
     }},
    {"heap 3",
     [](RuledBank& ruled) { // the smallest node moves to the list's end
         MemoryHeapNode_s* node = ruled.firstFree();
         MemoryHeapNode_s* last = ruled.lastFree();
         unlink(ruled.bank.freeList, node);
         linkBetween(ruled.bank.freeList, last, node, nullptr);
     }},
};

TEST(CheckedBuild, EndsTheProcessAfterAnOperationThatBreaksARuleOfTheHeap)
{
    for (const Broken& broken : sc_heapRules) {
        expectTheEndFor(broken, false);
    }
}

const Broken sc_fallbackRules[] = {
    {"heap 4", [](RuledBank& ruled) { pushFallback(ruled.bank); }}, // more blocks than the bank has made
    {"heap 4", [](RuledBank& ruled) { ruled.bank.extList->magic = sc_magicFree; }},
    {"heap 4", [](RuledBank& ruled) { ruled.bank.extList->size = 64; }}, // as if it lay in the bank
    {"heap 4", [](RuledBank& ruled) { ruled.bank.extList->prev = ruled.firstFree(); }},
};

TEST(CheckedBuild, EndsTheProcessAfterAnOperationThatBreaksTheListOfFallbackBlocks)
{
    for (const Broken& broken : sc_fallbackRules) {
        expectTheEndFor(broken, false);
    }
}

const Broken sc_indexRules[] = {
    {"index 1", [](RuledBank& ruled) { ruled.index()->m_first = ruled.secondFree(); }},
    {"index 2: the index knows the last", [](RuledBank& ruled) { ruled.index()->m_last = ruled.firstFree(); }},
    {"index 2: the index knows the first",
     [](RuledBank& ruled) {
         FreeIndex* index = ruled.settledIndex();
         index->m_heads[index->_classOf(ruled.firstFree()->size)] += 1;
     }},
    {"index 2: the index knows the first",
     [](RuledBank& ruled) { // the bit of a class that has nodes
         FreeIndex* index = ruled.settledIndex();
         index->m_classes[0] &= ~oneBit(index->_classOf(ruled.firstFree()->size));
     }},
    {"index 3", [](RuledBank& ruled) { ruled.settledIndex()->m_classes[0] |= 1; }}, // the class of no size
    {"index 3",
     [](RuledBank& ruled) { // the class of the largest nodes, above those that have nodes
         FreeIndex* index = ruled.settledIndex();
         index->m_classes[0] |= oneBit(index->_largeClassOf(sc_size));
     }},
    {"index 3", [](RuledBank& ruled) { ruled.settledIndex()->m_groups[0] = 0; }},
    {"index 4: a used node",
     [](RuledBank& ruled) {
         FreeIndex* index = ruled.settledIndex();
         const unsigned int first = index->_unitOf(ruled.bank.usedList);
         index->m_boundaries[first / sc_wordBits] ^= oneBit(first + 1); // in the node's middle: the search ends there
         index->m_boundaries[first / sc_wordBits] |= oneBit(first);
         index->m_boundaries[(first - 1) / sc_wordBits] |= oneBit(first - 1);
     }},
    {"index 4: a boundary bit", // no used node begins behind the last free node
     [](RuledBank& ruled) {
         FreeIndex* index = ruled.settledIndex();
         const unsigned int first = index->_unitOf(ruled.lastFree());
         index->m_boundaries[first / sc_wordBits] &= ~oneBit(first);
     }},
    {"index 4: a boundary bit",
     [](RuledBank& ruled) {
         FreeIndex* index = ruled.settledIndex();
         const unsigned int end = index->_unitOf(behind(ruled.firstFree()));
         index->m_boundaries[end / sc_wordBits] &= ~oneBit(end);
     }},
    {"index 4: from the unit after",
     [](RuledBank& ruled) { ruled.settledIndex()->m_boundaries[unitsFor(sc_size) / sc_wordBits - 1] += 1; }},
    {"index 5: among nodes",
     [](RuledBank& ruled) { // the second of two nodes of equal size
         FreeIndex* index = ruled.settledIndex();
         index->_setNewest(ruled.secondFree(), ruled.secondFree()->size);
     }},
    {"index 5: the newest node", [](RuledBank& ruled) { ruled.index()->m_newestSize += 32; }},
    {"index 5: the newest node", [](RuledBank& ruled) { ruled.settledIndex()->_setNewest(ruled.bank.usedList, 64); }},
    {"index 5: the boundary bits",
     [](RuledBank& ruled) {
         const unsigned int first = ruled.index()->_unitOf(ruled.index()->m_newest);
         ruled.index()->m_boundaries[first / sc_wordBits] |= oneBit(first);
     }},
    {"index 5: the boundary bits",
     [](RuledBank& ruled) { // the newest node ends with the bank
         ruled.take(ruled.lastFree()->size - 4096);
         ruled.index()->m_boundaries[unitsFor(sc_size) / sc_wordBits] |= 1;
     }},
};

TEST(CheckedBuild, EndsTheProcessAfterAnOperationThatBreaksARuleOfTheIndex)
{
    for (const Broken& broken : sc_indexRules) {
        expectTheEndFor(broken, true);
    }
}

// The two finders are compared for the size of the newest used node, and for sizes near it.
const Broken sc_finderRules[] = {
    {"heap: both",
     [](RuledBank& ruled) { ruled.settledIndex()->m_size = 0; }}, // its nodes seem to lie outside the bank
    {"heap: both", [](RuledBank& ruled) { ruled.settledIndex()->_setNewest(nullptr, 64); }}, // no node for 64 bytes
    {"heap: both", [](RuledBank& ruled) { ruled.settledIndex()->_setNewest(nullptr, 96); }}, // only one more unit
    {"heap: both",
     [](RuledBank& ruled) { // the newest used node is larger than all free nodes: the smallest of them is asked for
         const unsigned int half = sc_size / 2;
         ruled.take(ruled.lastFree()->size - half + 1024);
         ruled.take(half - 1024);
         ruled.settledIndex()->m_size = 0;
     }},
    {"heap: both",
     [](RuledBank& ruled) { // there is no free node: only the neighbours of the newest used node are asked for
         while (ruled.firstFree()) {
             ruled.take(ruled.lastFree()->size);
         }
         ruled.index()->m_size = 0;
     }},
};

TEST(CheckedBuild, EndsTheProcessWhenTheIndexAndAWalkGiveDifferentAnswers)
{
    for (const Broken& broken : sc_finderRules) {
        expectTheEndFor(broken, true);
    }
}

// The game breaks the bank between two operations. More than 64 nodes.
TEST(CheckedBuild, EndsTheProcessWhenTheGameBreaksALargeBank)
{
    const auto play = [](int number) {
        endAtAbort();
        RuledBank ruled(false, 40);
        ruled.bank.allocCount = 2; // with so many nodes, each second operation is checked
        operate(ruled, nullptr, number);
        ruled.bank.usedNodeCount += 1;
        operate(ruled, nullptr, number);
    };
    EXPECT_EXIT(play(sc_number), testing::ExitedWithCode(sc_ended), "memory bank 3 breaks a rule: heap 4");
    EXPECT_EXIT(play(-1), testing::ExitedWithCode(sc_ended), "memory bank -1 breaks a rule: heap 4");
}

TEST(CheckedBuild, AcceptsABankThatTheGameHasBrokenBefore)
{
    RuledBank small(false);
    operate(small, nullptr);
    small.bank.usedNodeCount += 1;
    operate(small, nullptr);

    RuledBank large(false, 40);
    large.bank.usedNodeCount += 1;
    operate(large, nullptr);
}

// The changes break rules, so a check would end the process.
TEST(CheckedBuild, SomeOperationsAreNotChecked)
{
    RuledBank linear(false);
    linear.bank.type = MEMBANK_LINEAR;
    {
        const RulesWatch watch(sc_number, &linear.bank, nullptr);
        linear.bank.usedNodeCount += 1;
    }
    RuledBank large(false, 40);
    large.bank.allocCount = 1; // each second operation is checked
    {
        const RulesWatch watch(sc_number, &large.bank, nullptr);
        large.bank.usedNodeCount += 1;
    }
    RuledBank ruled(false);
    {
        const RulesWatch watch(sc_number, &ruled.bank, ruled.firstFree()); // frees an address that is no live block
        ruled.bank.usedNodeCount += 1;
    }
    RuledBank full(false);
    {
        const RulesWatch watch(sc_number, &full.bank,
                               nullptr); // a fallback block was made: the callback is the game's
        full.bank.extNodeCount += 1;
        full.bank.usedNodeCount += 1;
    }
}

TEST(CheckedBuild, ABankThatKeepsItsRulesIsLeftAlone)
{
    for (const bool hasIndex : {false, true}) {
        RuledBank ruled(hasIndex);
        MemoryHeapNode_s* used = ruled.take(64);
        operate(ruled, used);
        ruled.free(used);
        operate(ruled, nullptr);
        MemoryHeapNode_s* fallback = pushFallback(ruled.bank);
        ruled.bank.extNodeCount = 1;
        operate(ruled, fallback);
        EXPECT_EQ(ruled.index() != nullptr, hasIndex);
        unlink(ruled.bank.extList, fallback, NODES_OF_LOCATION);
        giveUpOutsideLinks(fallback);
        ::free(fallback);
    }
    MemoryBank_s empty = {}; // a bank without a region
    empty.freeNodeCount = 1;
    const RulesWatch watch(sc_number, &empty, nullptr);
}

} // namespace
