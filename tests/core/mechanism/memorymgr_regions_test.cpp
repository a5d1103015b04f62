// The checks of a checked build after initialize: the process ends with the text of the rule that the regions break.
//
// initialize asks the location for the regions of linear banks last. Here this callback breaks the rule.
#include "tests/support/game_memory.h"

#include <functional>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>
#include <utility>

namespace {

std::function<void()> s_break;

void* breakAndAlloc(unsigned long size)
{
    if (size == 64 && s_break) { // the linear bank's
        std::exchange(s_break, nullptr)();
    }
    return malloc(size);
}

struct Broken {
    const char* rule;
    bool hasRegion; // the location has memory for the heap bank
    std::function<void(GameMemory&)> change;
};

const Broken sc_rules[] = {
    {"banks 3: a bank without", false,
     [](GameMemory& memory) { memory.banks[0].freeList = reinterpret_cast<MemoryHeapNode_s*>(&memory); }},
    {"banks 1: the regions of heap banks", true, [](GameMemory& memory) { memory.banks[0].base += 32; }},
    {"banks 3: a heap bank has", true,
     [](GameMemory& memory) {
         memory.banks[0].base = nullptr;
         memory.banks[0].freeList = nullptr;
     }},
    {"banks 1: the regions fill", true, [](GameMemory& memory) { memory.locations[0].blockSize += 1; }},
    {"banks 1: the regions fill", true, [](GameMemory& memory) { memory.locations[1].blockSize += 1; }},
};

TEST(CheckedBuild, EndsTheProcessWhenTheRegionsBreakARule)
{
    for (const Broken& broken : sc_rules) {
        const auto play = [&broken] {
            signal(SIGABRT, [](int) { _exit(3); });
            GameMemory memory;
            memory.defineLocAllocCb(MEMLOC_DEFAULT, breakAndAlloc);
            memory.defineHeap("heap", broken.hasRegion ? 4096 : 0xfffff000);
            memory.defineLinear("linear", 64);
            s_break = [&] { broken.change(memory); };
            memory.initialize();
        };
        EXPECT_EXIT(play(), testing::ExitedWithCode(3), std::string("memory bank . breaks a rule: ") + broken.rule);
    }
}

} // namespace
