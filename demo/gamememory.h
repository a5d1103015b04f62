// The game's memory: the manager, with the banks of this game.
//
// Blocks that serve the same use and die together share a bank: the holes they leave fit the blocks that come after
// them, and stay few. What lives no longer than a frame goes to a linear bank, which is emptied as a whole.
#pragma once

#include "core/memorymgr.h"

#include <string>
#include <vector>

// In the order in which they are defined; bank 0 is the library's own.
enum e_GameBank : int {
    BANK_CORE,
    BANK_FRAME,
    BANK_SCRIPT_VALUES, // what the scripts make and soon forget
    BANK_SCRIPT_OBJECTS,
    BANK_SCRIPT_TABLES,
    BANK_SCRIPT_BUFFERS,
    BANK_LEVEL_VALUES, // what they make to last
    BANK_LEVEL_OBJECTS,
    BANK_LEVEL_TABLES,
    BANK_RECORD_FIELDS,
    BANK_RECORD_ROWS,
    BANK_RECORD_PAGES,
    BANK_COUNT
};

const char* GetBankName(int bank);

// One bank's size from run to run, in bytes.
struct BankSize {
    const char* name;
    unsigned int planned; // in the code
    unsigned int start;   // when this run began
    unsigned int peak;    // the most that was in use
    unsigned int next;    // when the next run begins
};

class GameMemory : public MemoryMgr {
public:
    void defineBanks();
    void start(); // initialize, and then nobody defines another bank

    const MemoryBank_s& bank(int index) const { return banks[index]; }
    const char* bankSizesPath() const { return bankSizePath; }

    // All but next, which is settled once the manager has ended.
    std::vector<BankSize> sizes() const;

protected:
    void onOutOfMemory(int reason) override;

private:
    BankSize m_sizes[BANK_COUNT] = {};
};

// Looks up what the next run will start from: for a bank the file doesn't name, that is what is in the code.
void ReadNextSizes(const std::string& path, std::vector<BankSize>* sizes);
