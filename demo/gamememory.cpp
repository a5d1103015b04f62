#include "demo/gamememory.h"

#include "demo/datafile.h"
#include "demo/texts.h"
#include "file/file.h"

#include <map>
#include <stdlib.h>

DEMO_TEXT(sc_noMemory, "The demo is out of memory.\n");

static const size_t sc_mostBanks = 32;
static const size_t sc_longestName = 30; // a longer name would not be found again in the bank-size file
static const int sc_largestBank = 1 << 28;
static const unsigned int sc_coreBankSize = 512 * 1024; // bytes; room for the string table and its texts

int BankPlans::find(const char* name) const
{
    for (size_t index = 0; index < banks.size(); ++index) {
        if (banks[index].name == name) {
            return static_cast<int>(index);
        }
    }
    return -1;
}

static void readBank(DataFile& file, BankPlan* bank)
{
    int largest = 0, frames = 0;
    while (file.nextLine()) {
        if (file.readInt("largest", 1, sc_largestBank, &largest)) {
            bank->largest = static_cast<unsigned int>(largest);
        } else if (file.readInt("frames", 0, 100000, &frames)) {
            bank->frames = static_cast<unsigned int>(frames);
        } else {
            file.readString("name", &bank->name, sc_longestName) ||
                file.readChoice("kind", {"heap", "linear"}, &bank->kind) ||
                file.readChoice("location", {"default", "custom"}, &bank->location) ||
                file.readInt("size", 32, sc_largestBank, &bank->size) ||
                file.readString("takes", &bank->session, sc_longestName) || file.refuseLine();
        }
    }
    file.require(!bank->name.empty(), "name = string");
    file.require(bank->name.find('=') == std::string::npos, "name = string, no '='");
    file.require(bank->size > 0, "size = int32");
    // A linear bank can't free a single block, so it may take only blocks that end with their frame.
    file.require(bank->kind == MEMBANK_HEAP || bank->session.empty() || (bank->name == "frame" && bank->frames == 0),
                 "kind = \"heap\"");
}

bool ReadBankPlans(DataFile& file, BankPlans* plans)
{
    while (file.nextBlock("bank")) {
        BankPlan bank;
        readBank(file, &bank);
        file.require(plans->find(bank.name.c_str()) < 0, "name = string, once");
        file.require(!plans->banks.empty() || (bank.name == "core" && bank.kind == MEMBANK_HEAP),
                     "name = \"core\", kind = \"heap\"");
        plans->banks.push_back(bank);
        file.require(plans->banks.size() <= sc_mostBanks, "bank, 1..32");
    }
    plans->frameBank = plans->find("frame");
    plans->unitBank = plans->find("units");
    file.require(plans->frameBank > 0 && plans->banks[plans->frameBank].kind == MEMBANK_LINEAR,
                 "bank { name = \"frame\", kind = \"linear\" }");
    file.require(plans->unitBank > 0 && plans->banks[plans->unitBank].kind == MEMBANK_HEAP,
                 "bank { name = \"units\", kind = \"heap\" }");
    return file.isGood();
}

// The location "custom" also uses malloc. In addition it counts its blocks.
static unsigned int s_customBlocks;

unsigned int CustomBlocks()
{
    return s_customBlocks;
}

static void* allocCustom(unsigned long size)
{
    void* block = malloc(size);
    s_customBlocks += block != nullptr;
    return block;
}

static void* reallocCustom(void* block, unsigned long size)
{
    return realloc(block, size);
}

static void freeCustom(void* block)
{
    s_customBlocks -= block != nullptr;
    free(block);
}

void GameMemory::defineBanks(const BankPlans& plans)
{
    defineLocAllocCb(MEMLOC_CUSTOM, allocCustom);
    defineLocReallocCb(MEMLOC_CUSTOM, reallocCustom);
    defineLocFreeCb(MEMLOC_CUSTOM, freeCustom);
    for (const BankPlan& bank : plans.banks) {
        const int index =
            defineBank(static_cast<e_MemoryLocation>(bank.location), static_cast<e_MemoryBankType>(bank.kind),
                       bank.name.c_str(), static_cast<unsigned int>(bank.size));
        m_sizes[index].name = bank.name;
        m_sizes[index].planned = getMemoryBankSize(index);
    }
}

void GameMemory::defineCoreBank()
{
    defineBank(MEMLOC_DEFAULT, MEMBANK_HEAP, "core", sc_coreBankSize);
    keepOldSizes();
}

void GameMemory::start()
{
    initialize();
    locked = 1;
    for (int index = 0; index < bankCount; ++index) {
        m_sizes[index].start = getMemoryBankSize(index);
    }
}

void GameMemory::keepOldSizes()
{
    bankSizePath[0] = '\0';
}

std::vector<BankSize> GameMemory::sizes() const
{
    std::vector<BankSize> sizes(m_sizes, m_sizes + bankCount);
    for (int index = 0; index < bankCount; ++index) {
        sizes[index].peak = banks[index].peakBytes;
        sizes[index].fallback = banks[index].extNodeCount;
    }
    return sizes;
}

void GameMemory::onOutOfMemory(int)
{
    static bool s_isTold; // the string table may run out of memory again when it adds the message as a new entry
    if (!s_isTold) {
        s_isTold = true;
        Complain(sc_noMemory);
    }
}

// Returns the lines "name=number" of a file; an empty map when the file can't be read.
static std::map<std::string, unsigned int> readNumbers(const std::string& path)
{
    std::map<std::string, unsigned int> numbers;
    FILE* file = fopen_mac(path.c_str(), "rb");
    if (!file) {
        return numbers;
    }
    char name[32];
    unsigned int number = 0;
    while (fscanf(file, " %31[^=\n]=%u", name, &number) == 2) {
        numbers[name] = number;
    }
    fclose(file);
    return numbers;
}

void ReadNextSizes(const std::string& path, std::vector<BankSize>* sizes)
{
    const auto numbers = readNumbers(path);
    for (BankSize& size : *sizes) {
        const auto found = numbers.find(size.name);
        size.next = found != numbers.end() ? found->second : size.planned;
    }
}

static std::string fallbackPath(const std::string& bankSizesPath)
{
    return bankSizesPath.substr(0, bankSizesPath.rfind('/') + 1) + "fallback.dat";
}

void ReadFallbackBefore(const std::string& path, std::vector<BankSize>* sizes)
{
    const auto numbers = readNumbers(fallbackPath(path));
    for (BankSize& size : *sizes) {
        const auto found = numbers.find(size.name);
        if (found != numbers.end()) {
            size.fallbackBefore = found->second;
        }
    }
}

void KeepFallback(const std::string& path, const std::vector<BankSize>& sizes)
{
    FILE* file = fopen_mac(fallbackPath(path).c_str(), "wb");
    if (!file) {
        return; // the next run then does not know the fallback blocks of this run
    }
    for (const BankSize& size : sizes) {
        fprintf(file, "%s=%u\n", size.name.c_str(), size.fallback);
    }
    fclose(file);
}
