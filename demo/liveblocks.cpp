#include "demo/liveblocks.h"

#include <algorithm>
#include <map>

std::vector<LivePlace> FindLiveBlocks(GameMemory& memory)
{
    std::map<std::pair<std::string, unsigned int>, LivePlace> places;
    for (int bank = 0; bank < memory.count(); ++bank) {
        for (MemoryHeapNode_s* list : {memory.bank(bank).usedList, memory.bank(bank).extList}) {
            for (MemoryHeapNode_s* node = list; node; node = node->next) {
                const char* file = node->file;
                const unsigned int line = node->line;
                LivePlace& place = places[{file, line}];
                place.file = file;
                place.line = line;
                place.blocks += 1;
                place.bytes += memory.getSize(bank, node + 1) + static_cast<unsigned int>(sizeof(*node));
            }
        }
    }
    std::vector<LivePlace> sorted;
    for (const auto& place : places) {
        sorted.push_back(place.second);
    }
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const LivePlace& left, const LivePlace& right) { return left.bytes > right.bytes; });
    return sorted;
}
