// The banks as bars: which parts of each bank are in use, and how many bytes are in fallback blocks.
#pragma once

#include "watch/ownmemory.h"
#include "watch/snapshot.h"

struct BankBar {
    std::string name;
    unsigned int size = 0;     // bytes of the bank
    unsigned int used = 0;     // bytes in use inside the bank, headers included
    unsigned int fallback = 0; // bytes in fallback blocks, headers included
    std::vector<float> cells;  // the bank in equal parts, from its start: the share of each that is in use, 0 to 1
};

BankBar BarOf(const watch::Bank& bank, size_t cells);

// Reads the banks of the memory manager in g_MemoryPtr.
class BankView {
public:
    BankView();

    // Reads the next few banks again. Banks change with each frame of the game; after `rounds` calls all have been read.
    // No other thread may use the banks during the call.
    void refresh(int banks, int rounds);
    const std::vector<BankBar>& bars() const { return m_bars; }

private:
    watch::OwnMemory m_own;
    watch::LinkTables m_tables;
    std::vector<BankBar> m_bars;
    size_t m_next = 0;
};
