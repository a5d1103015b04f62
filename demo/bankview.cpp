#include "demo/bankview.h"

#include "core/memorymgr.h"
#include "watch/summary.h"
#include "watch/walk.h"

#include <algorithm>

static const size_t sc_cells = 160; // the number of cells of a bar; it does not depend on the size of the view

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

BankBar BarOf(const watch::Bank& bank, size_t cells)
{
    const watch::BankSum sum = watch::sumBank(bank);
    BankBar bar = {bank.name, bank.hasRegion ? bank.size : 0, static_cast<unsigned int>(sum.usedBytes),
                   static_cast<unsigned int>(sum.fallbackBytes), std::vector<float>(cells)};
    const double cellsPerByte = static_cast<double>(cells) / bank.size;
    if (bank.type == watch::BANK_LINEAR) {
        use(&bar.cells, 0, bank.cursor * cellsPerByte);
    }
    for (const watch::Block& block : bank.blocks) {
        if (block.state == watch::BLOCK_USED) {
            use(&bar.cells, block.offset * cellsPerByte, (block.offset + block.size) * cellsPerByte);
        }
    }
    return bar;
}

BankView::BankView()
{
    const watch::CachedMemory memory(m_own);
    m_tables = watch::findLinkTables(memory, watch::ownWritableMemory());
}

void BankView::refresh(int banks, int rounds)
{
    m_bars.resize(static_cast<size_t>(banks));
    for (int count = (banks + rounds - 1) / rounds; count > 0; --count) {
        const watch::CachedMemory memory(m_own); // empty: the banks have changed since the last call
        watch::Snapshot snapshot;
        std::string error;
        const int index = static_cast<int>(m_next++ % m_bars.size());
        if (watch::takeBank(memory, m_tables, watch::addressOf(g_MemoryPtr), index, &snapshot, &error)) {
            m_bars[static_cast<size_t>(index)] = BarOf(snapshot.banks.back(), sc_cells);
        }
    }
}
