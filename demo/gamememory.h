// The game's memory: the memory manager and the banks of this game.
//
// Blocks of the same use, size and lifetime share a bank. When such a block is freed, its free node has the right
// size for the next block, so the bank has few free nodes. Blocks that live for one frame go to a linear bank, which
// the game empties as a whole at the end of the frame.
//
// Game/banks.txt lists the banks.
#pragma once

#include "core/memorymgr.h"

#include <optional>
#include <string>
#include <vector>

class DataFile;

static const int sc_coreBank = 0; // the bank that the library itself allocates from
static const unsigned int sc_any = 0xffffffff;

struct BankPlan {
    std::string name;
    int kind = MEMBANK_HEAP;
    int location = MEMLOC_DEFAULT;
    int size = 0; // bytes

    // Which blocks of a recorded session the bank takes. A block must meet all three conditions.
    std::string session;           // the name of the session, or "all"; empty: the bank takes no block of a session
    unsigned int largest = sc_any; // the block has at most this many bytes
    unsigned int frames = sc_any;  // the block is freed at most this many frames after its allocation
};

struct BankPlans {
    std::vector<BankPlan> banks;
    int frameBank = 0; // the index of the bank "frame", which is emptied at the end of each frame
    int unitBank = 0;  // the index of the bank "units", for the units of a battle

    int find(const char* name) const; // returns a bank index; -1 when no bank has this name
};

// Returns false on a fault; file.fault() describes the fault.
bool ReadBankPlans(DataFile& file, BankPlans* plans);

// The sizes of one bank in this run and the next, in bytes.
struct BankSize {
    std::string name;
    unsigned int planned; // the size in banks.txt
    unsigned int start;   // the size in this run
    unsigned int peak;    // the high-water mark of this run
    unsigned int next;    // the size in the next run

    unsigned int fallback;                      // the number of fallback blocks in this run
    std::optional<unsigned int> fallbackBefore; // the same for the last good run before; no value when not known
};

class GameMemory : public MemoryMgr {
public:
    void defineBanks(const BankPlans& plans);
    void defineCoreBank(); // bank 0 alone, for a run that only prints a message
    void start();          // calls initialize and locks the manager: no more banks can be defined
    void keepOldSizes();   // the destructor will not write the bank-size file

    int count() const { return bankCount; }
    const MemoryBank_s& bank(int index) const { return banks[index]; }
    const char* bankSizesPath() const { return bankSizePath; }

    // Fills all fields except next and fallbackBefore; ReadNextSizes and ReadFallbackBefore read those from files.
    std::vector<BankSize> sizes() const;

protected:
    void onOutOfMemory(int reason) override;

private:
    BankSize m_sizes[32] = {};
};

// The number of blocks that the location "custom" has allocated and not freed.
unsigned int CustomBlocks();

// Stores in next the sizes of the bank-size file at path; for a bank that the file does not name, the size in
// banks.txt.
void ReadNextSizes(const std::string& path, std::vector<BankSize>* sizes);

// "fallback.dat" stores each bank's number of fallback blocks in the last good run. path is the bank-size file's
// path; "fallback.dat" is in the same folder.
void ReadFallbackBefore(const std::string& path, std::vector<BankSize>* sizes);
void KeepFallback(const std::string& path, const std::vector<BankSize>& sizes);
