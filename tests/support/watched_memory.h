// What the library asks of the memory manager. A program that includes this stands in front of alloc and free: it
// writes each call down and passes it on.
//
//     WatchedMemory memory;
//     memory.free(0, memory.alloc(0, 100, "game/unit", 7));
//     EXPECT_EQ(memory.takeLog(), "alloc 100 game/unit:7 = #1, free #1");
//
// Banks other than 0 are named: "bank 2: alloc ...". A block that was not seen being made is "a stranger".
#pragma once

#include "tests/support/game_memory.h"

#include <dlfcn.h>
#include <new>

class WatchedMemory : public GameMemory {
public:
    explicit WatchedMemory(unsigned int size = 1 << 20)
    {
        defineHeap("core", size);
        initialize();
        takeLog();
    }
    ~WatchedMemory() override { refusedLine = throwingLine = 0; }

    static inline unsigned int refusedLine = 0;  // requests from this line get null
    static inline unsigned int throwingLine = 0; // and these, as a game's own source of memory might, an exception

    // What was asked since the last call.
    static std::string takeLog() { return std::exchange(s_log, ""); }

    // Adds a line of the test's own.
    static void note(const std::string& what) { s_log += (s_log.empty() ? "" : ", ") + what; }

    // The blocks in use that source has asked for, by line: "56 289 296 161".
    std::string linesInUse(const std::string& source)
    {
        std::string lines;
        for (const MemoryHeapNode_s* node = banks[0].usedList; node; node = node->next) {
            const char* file = node->file;
            if (source == file) {
                lines = std::to_string(node->line) + (lines.empty() ? "" : " ") + lines;
            }
        }
        return lines;
    }

    static void noteAlloc(int bank, unsigned long size, const char* file, unsigned int line, const void* block)
    {
        if (block) {
            s_numbers[block] = ++s_number;
        }
        note(in(bank) + "alloc " + std::to_string(size) + " " + file + ":" + std::to_string(line) + " = " +
             name(block));
    }

    static void noteFree(int bank, const void* block)
    {
        note(in(bank) + "free " + name(block));
        s_numbers.erase(block);
    }

private:
    static std::string name(const void* block)
    {
        const auto entry = s_numbers.find(block);
        return !block ? "null" : entry == s_numbers.end() ? "a stranger" : "#" + std::to_string(entry->second);
    }

    static std::string in(int bank) { return bank ? "bank " + std::to_string(bank) + ": " : ""; }

    static inline std::map<const void*, int> s_numbers;
    static inline std::string s_log;
    static inline int s_number = 0;
};

void* MemoryMgr::alloc(int bank, unsigned long size, const char* file, unsigned int line)
{
    typedef void* Alloc(MemoryMgr*, int, unsigned long, const char*, unsigned int);
    static Alloc* const next = reinterpret_cast<Alloc*>(dlsym(RTLD_NEXT, "_ZN9MemoryMgr5allocEimPKcj"));
    if (line == WatchedMemory::throwingLine) {
        throw std::bad_alloc();
    }
    void* block = line == WatchedMemory::refusedLine ? nullptr : next(this, bank, size, file, line);
    WatchedMemory::noteAlloc(bank, size, file, line, block);
    return block;
}

int MemoryMgr::free(int bank, void* block)
{
    typedef int Free(MemoryMgr*, int, void*);
    static Free* const next = reinterpret_cast<Free*>(dlsym(RTLD_NEXT, "_ZN9MemoryMgr4freeEiPv"));
    WatchedMemory::noteFree(bank, block);
    return next(this, bank, block);
}
