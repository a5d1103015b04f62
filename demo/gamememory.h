// The game's memory: the manager, with the banks of this game.
//
// Blocks that serve the same use and die together share a bank: the holes they leave fit the blocks that come after
// them, and stay few. What lives no longer than a frame goes to a linear bank, which is emptied as a whole.
//
// Which banks there are stands in Game/banks.txt.
#pragma once

#include "core/memorymgr.h"

#include <optional>
#include <string>
#include <vector>

class DataFile;

static const int sc_coreBank = 0; // the library's own
static const unsigned int sc_any = 0xffffffff;

struct BankPlan {
    std::string name;
    int kind = MEMBANK_HEAP;
    int location = MEMLOC_DEFAULT;
    int size = 0; // bytes

    // The blocks it takes of a recorded session.
    std::string session;           // its name, "all", or empty for none
    unsigned int largest = sc_any; // bytes asked for, at most this
    unsigned int frames = sc_any;  // and freed no later than this many frames after its own
};

struct BankPlans {
    std::vector<BankPlan> banks;
    int frameBank = 0; // what is forgotten with each frame
    int unitBank = 0;  // the units of a battle

    int find(const char* name) const; // -1 when there is none
};

// The file has the fault where the result is false.
bool ReadBankPlans(DataFile& file, BankPlans* plans);

// One bank's size from run to run, in bytes.
struct BankSize {
    std::string name;
    unsigned int planned; // in banks.txt
    unsigned int start;   // when this run began
    unsigned int peak;    // the most that was in use
    unsigned int next;    // when the next run begins

    // Fallback blocks of this run, and of the last good one before it.
    unsigned int fallback;
    std::optional<unsigned int> fallbackBefore; // without a value when it is not known
};

class GameMemory : public MemoryMgr {
public:
    void defineBanks(const BankPlans& plans);
    void defineCoreBank(); // enough to say that there will be no game
    void start();          // initialize, and then nobody defines another bank
    void keepOldSizes();   // nothing was learnt from this run

    int count() const { return bankCount; }
    const MemoryBank_s& bank(int index) const { return banks[index]; }
    const char* bankSizesPath() const { return bankSizePath; }

    // All but next and fallbackBefore, which come from files.
    std::vector<BankSize> sizes() const;

protected:
    void onOutOfMemory(int reason) override;

private:
    BankSize m_sizes[32] = {};
};

// The blocks that the location "custom" has given and not got back.
unsigned int CustomBlocks();

// Looks up what the next run will start from: for a bank the file doesn't name, that is what is in banks.txt.
void ReadNextSizes(const std::string& path, std::vector<BankSize>* sizes);

// The fallback blocks of each bank are kept beside the bank-size file at path, from one good run to the next.
void ReadFallbackBefore(const std::string& path, std::vector<BankSize>* sizes);
void KeepFallback(const std::string& path, const std::vector<BankSize>& sizes);
