#include "demo/gamememory.h"

#include "demo/report.h"
#include "file/file.h"

static const unsigned int KiB = 1024;

// First guesses, some too small and some too large, as first guesses are. The runs mend them.
static const struct {
    e_MemoryBankType type;
    const char* name; // 30 characters at most, or the bank-size file doesn't know it again
    unsigned int size;
} sc_banks[BANK_COUNT] = {
    {MEMBANK_HEAP, "core", 64 * KiB},
    {MEMBANK_LINEAR, "frame", 1024 * KiB},
    {MEMBANK_HEAP, "script values", 1024 * KiB},
    {MEMBANK_HEAP, "script objects", 512 * KiB},
    {MEMBANK_HEAP, "script tables", 512 * KiB},
    {MEMBANK_HEAP, "script buffers", 2048 * KiB},
    {MEMBANK_HEAP, "level values", 1536 * KiB},
    {MEMBANK_HEAP, "level objects", 1024 * KiB},
    {MEMBANK_HEAP, "level tables", 2048 * KiB},
    {MEMBANK_HEAP, "record fields", 64 * KiB},
    {MEMBANK_HEAP, "record rows", 512 * KiB},
    {MEMBANK_HEAP, "record pages", 1024 * KiB},
};

const char* GetBankName(int bank)
{
    return sc_banks[bank].name;
}

void GameMemory::defineBanks()
{
    for (const auto& bank : sc_banks) {
        const int index = defineBank(MEMLOC_DEFAULT, bank.type, bank.name, bank.size);
        m_sizes[index].name = bank.name;
        m_sizes[index].planned = getMemoryBankSize(index);
    }
}

void GameMemory::start()
{
    initialize();
    locked = 1;
    for (int index = 0; index < BANK_COUNT; ++index) {
        m_sizes[index].start = getMemoryBankSize(index);
    }
}

std::vector<BankSize> GameMemory::sizes() const
{
    std::vector<BankSize> sizes(m_sizes, m_sizes + BANK_COUNT);
    for (int index = 0; index < BANK_COUNT; ++index) {
        sizes[index].peak = banks[index].peakBytes;
    }
    return sizes;
}

void GameMemory::onOutOfMemory(int)
{
    ReportOutOfMemory();
}

void ReadNextSizes(const std::string& path, std::vector<BankSize>* sizes)
{
    for (BankSize& size : *sizes) {
        size.next = size.planned;
    }
    FILE* file = fopen_mac(path.c_str(), "rb");
    if (!file) {
        return;
    }
    char name[32];
    unsigned int bytes = 0;
    while (fscanf(file, " %31[^=\n]=%u", name, &bytes) == 2) {
        for (BankSize& size : *sizes) {
            if (size.name == std::string(name)) {
                size.next = bytes;
            }
        }
    }
    fclose(file);
}
