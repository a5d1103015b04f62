#include "demo/bankbar.h"

#include <algorithm>

static const unsigned int sc_extBit = 0x80000000; // in the size word of a header: the block is a fallback block

static unsigned int sizeOf(const MemoryHeapNode_s& node)
{
    return node.size & ~sc_extBit;
}

// Adds the range from begin to end to the cells. Both are measured in cells from the bank's start.
static void use(std::vector<float>* cells, double begin, double end)
{
    const size_t last = std::min(static_cast<size_t>(end), cells->size() - 1);
    for (size_t cell = static_cast<size_t>(begin); cell <= last; ++cell) {
        const double from = std::max(begin, static_cast<double>(cell));
        const double to = std::min(end, static_cast<double>(cell + 1));
        (*cells)[cell] = std::min(1.0f, (*cells)[cell] + static_cast<float>(to - from));
    }
}

BankBar ReadBankBar(const GameMemory& memory, int index, size_t cells)
{
    const MemoryBank_s& bank = memory.bank(index);
    BankBar bar;
    bar.name = bank.name;
    bar.size = bank.base ? bank.size : 0;
    bar.cells.resize(cells);
    const double cellsPerByte = static_cast<double>(cells) / bank.size;
    if (bank.type == MEMBANK_LINEAR) {
        bar.used = static_cast<unsigned int>(bank.cursor - bank.base);
        use(&bar.cells, 0, bar.used * cellsPerByte);
    }
    for (const MemoryHeapNode_s* node = bank.usedList; node; node = node->next) {
        const double begin = static_cast<double>(reinterpret_cast<const char*>(node) - bank.base);
        use(&bar.cells, begin * cellsPerByte, (begin + sizeOf(*node)) * cellsPerByte);
        bar.used += sizeOf(*node);
        bar.blocks += 1;
    }
    for (const MemoryHeapNode_s* node = bank.extList; node; node = node->next) {
        bar.fallback += sizeOf(*node);
        bar.blocks += bank.type == MEMBANK_HEAP;
    }
    return bar;
}
