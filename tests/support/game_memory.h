// What the memory manager's tests share: a game's manager with everything in view, a source of memory that
// writes down what is asked of it, and the bytes of files and headers.
#pragma once

#include "core/memorymgr.h"

#include "tests/support/files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits.h>
#include <map>
#include <memory>
#include <stdio.h>
#include <string.h>
#include <string>
#include <utility>
#include <vector>

// A game that is out of memory ends with its bank's lock held, and the lock goes with all the others. The thread
// sanitizer asks here whether that is a fault.
extern "C" __attribute__((used)) inline const char* __tsan_default_options()
{
    return "report_destroy_locked=0";
}

// A game's manager with everything in view.
class GameMemory : public MemoryMgr {
public:
    using MemoryMgr::bankCount;
    using MemoryMgr::banks;
    using MemoryMgr::bankSizePath;
    using MemoryMgr::locations;
    using MemoryMgr::locked;
    using MemoryMgr::systemBank;

    int defineHeap(const char* name, unsigned int size)
    {
        return defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, name, size);
    }
    int defineLinear(const char* name, unsigned int size)
    {
        return defineBank(MEMLOC_DEFAULT, MEMBANK_LINEAR, name, size);
    }

    // 0 when all is well in the bank.
    int check(int bank, bool expectEmpty = false)
    {
        unsigned int largestFree;
        return checkMemory(bank, &largestFree, expectEmpty);
    }

protected:
    void onOutOfMemory(int reason) override { fprintf(stderr, "onOutOfMemory(%d)\n", reason); }
};

// A type of bank that is neither a heap nor linear, and locations that there are not.
const e_MemoryBankType MEMBANK_OTHER = static_cast<e_MemoryBankType>(7);
const e_MemoryLocation MEMLOC_TOO_LOW = static_cast<e_MemoryLocation>(-1);
const e_MemoryLocation MEMLOC_TOO_HIGH = static_cast<e_MemoryLocation>(2);

// A source of memory. It numbers the blocks it gives, and takes those that are left when the program ends:
//
//     Source::serve(memory, MEMLOC_CUSTOM);
//     memory.initialize();
//     EXPECT_EQ(Source::takeLog(), "alloc 2048 = #1");
//
// Its blocks hold anything but zeros, and the address sanitizer knows where they end.
class Source {
public:
    static inline unsigned long largest = ULONG_MAX; // a larger block is refused: "alloc 4096 = null"
    static inline unsigned int offset = 0;           // every block's distance from an address that malloc would give

    static void serve(MemoryMgr& memory, e_MemoryLocation location)
    {
        memory.defineLocAllocCb(location, alloc);
        memory.defineLocReallocCb(location, realloc);
        memory.defineLocFreeCb(location, free);
    }

    // What was asked since the last call.
    static std::string takeLog() { return std::exchange(s_log, ""); }

    // Counts from #1 again, and takes what is left.
    static void startAnew()
    {
        s_blocks.clear();
        s_starts.clear();
        s_log.clear();
    }

    // The address of block #number, null when it has been given back.
    static char* block(int number) { return s_starts[number - 1]; }

    static size_t blockCount() { return s_blocks.size(); } // not yet given back

    // The number of the block that starts here, 0 when none does.
    static int number(const void* start)
    {
        const auto entry = s_blocks.find(asKey(start));
        return entry == s_blocks.end() ? 0 : entry->second.number;
    }

    // The callbacks themselves.
    static void* alloc(unsigned long size)
    {
        char* start = take(size);
        note("alloc " + std::to_string(size) + " = " + name(start));
        return start;
    }

    static void* realloc(void* old, unsigned long size)
    {
        const std::string asked = "realloc " + name(old) + " " + std::to_string(size) + " = ";
        char* start = take(size);
        note(asked + name(start));
        if (start && old) {
            memcpy(start, old, std::min(size, s_blocks[asKey(old)].size));
            drop(old);
        }
        return start;
    }

    static void free(void* start)
    {
        note("free " + name(start));
        drop(start);
    }

private:
    struct Block {
        int number;
        unsigned long size;
        std::unique_ptr<char[]> bytes;
    };

    static char* asKey(const void* start) { return static_cast<char*>(const_cast<void*>(start)); }

    static char* take(unsigned long size)
    {
        if (size > largest) {
            return nullptr;
        }
        std::unique_ptr<char[]> bytes(new char[offset + size]);
        memset(bytes.get(), 0xa5, offset + size);
        char* start = bytes.get() + offset;
        s_starts.push_back(start);
        s_blocks[start] = Block{static_cast<int>(s_starts.size()), size, std::move(bytes)};
        return start;
    }

    static void drop(const void* start)
    {
        if (number(start)) {
            s_starts[number(start) - 1] = nullptr;
            s_blocks.erase(asKey(start));
        }
    }

    static std::string name(const void* start)
    {
        return !start ? "null" : number(start) ? "#" + std::to_string(number(start)) : "a stranger";
    }

    static void note(const std::string& what) { s_log += (s_log.empty() ? "" : ", ") + what; }

    static inline std::map<char*, Block> s_blocks;
    static inline std::string s_log;
    static inline std::vector<char*> s_starts; // by number, from #1
};

// A 32-bit word of the header in front of a block: 0 the magic, 1 the size, 3 the line.
inline unsigned int headerWord(const void* block, int index)
{
    unsigned int word;
    memcpy(&word, static_cast<const char*>(block) - 24 + 4 * index, sizeof(word));
    return word;
}

inline void setHeaderWord(void* block, int index, unsigned int word)
{
    memcpy(static_cast<char*>(block) - 24 + 4 * index, &word, sizeof(word));
}

// A header may lie at any address, so its words are passed on by value.
inline unsigned int magicOf(const MemoryHeapNode_s* node)
{
    return node->magic;
}

inline unsigned int sizeOf(const MemoryHeapNode_s* node)
{
    return node->size;
}

inline unsigned int lineOf(const MemoryHeapNode_s* node)
{
    return node->line;
}
