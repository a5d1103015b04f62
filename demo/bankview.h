// Describes each bank as a bar: which parts of the bank are in use, and how many bytes are in fallback blocks.
#pragma once

#include "watch/ownmemory.h"
#include "watch/snapshot.h"

struct BankBar {
    std::string name;
    unsigned int size = 0;     // bytes of the bank
    unsigned int used = 0;     // bytes in use inside the bank, headers included
    unsigned int fallback = 0; // bytes in fallback blocks, headers included
    std::vector<float> cells;  // the bank in equal parts, from its start: the used share of each part, 0 to 1
};

BankBar BarOf(const watch::Bank& bank, size_t cells);

// Reads the banks of the memory manager in g_MemoryPtr.
class BankView {
public:
    BankView();

    // Reads some of the banks again, in turns: after `rounds` calls, each bank was read once. `banks` is the number
    // of all banks. No other thread may use the banks during the call.
    void refresh(int banks, int rounds);
    const std::vector<BankBar>& bars() const { return m_bars; }

private:
    watch::OwnMemory m_own;
    watch::LinkTables m_tables;
    std::vector<BankBar> m_bars;
    size_t m_next = 0;
};
