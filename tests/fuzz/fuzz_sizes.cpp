// Any bytes as the bank-size file: what initialize reads from it, beside the reader of the tools; blocks in banks of the
// sizes that come out; and the file that the manager's end writes, which the next manager reads.
#include "core/memorymgr.h"
#include "core/platform.h"
#include "file/file.h"
#include "watch/sizefile.h"

#include "tests/fuzz/observe.h"

#include <stdlib.h>
#include <vector>

static std::string s_file; // what is read, and what was written last
static char* s_written;
static size_t s_writtenSize;

FILE* fopen_mac(const char*, const char* mode)
{
    return mode[0] == 'r' ? fmemopen(&s_file[0], s_file.size(), "r") : open_memstream(&s_written, &s_writtenSize);
}

const char* Platform::GetAppDataDir(const char*)
{
    return ""; // no folder is made
}

static void require(bool condition)
{
    if (!condition) {
        abort();
    }
}

// A location has no more than this many bytes for a block, so that large banks get no region.
static void* take(unsigned long size)
{
    return size <= 8192 ? malloc(size) : nullptr;
}

static void* resize(void* block, unsigned long size)
{
    return realloc(block, size);
}

struct DefinedBank {
    e_MemoryLocation location;
    e_MemoryBankType type;
    const char* name;
    unsigned int size; // bytes, a multiple of 32
};

static const DefinedBank sc_banks[] = {
    {MEMLOC_DEFAULT, MEMBANK_HEAP, "level", 1024},
    {MEMLOC_DEFAULT, MEMBANK_HEAP, "a", 96},
    {MEMLOC_CUSTOM, MEMBANK_HEAP, "abcdefghijklmnopqrstuvwxyz12345", 64}, // 31 characters
    {MEMLOC_CUSTOM, MEMBANK_LINEAR, "s", 32},
    {MEMLOC_DEFAULT, MEMBANK_HEAP, "level", 32}, // the file never means the second bank of a name
    {MEMLOC_DEFAULT, MEMBANK_HEAP, "\xff=\t", 32},
};
static const int sc_bankCount = sizeof(sc_banks) / sizeof(*sc_banks);

class Game : public MemoryMgr {
public:
    Game()
    {
        bankSizePath[0] = '\0';
        for (const e_MemoryLocation location : {MEMLOC_DEFAULT, MEMLOC_CUSTOM}) {
            defineLocAllocCb(location, take);
            defineLocReallocCb(location, resize);
            defineLocFreeCb(location, ::free);
        }
        for (const DefinedBank& bank : sc_banks) {
            defineBank(bank.location, bank.type, bank.name, bank.size);
        }
    }

    // A bank without a region lacks all bytes of its size. Fallback blocks are no fault: most banks are too small for the
    // blocks.
    void requireSound(int bank, bool isEmpty)
    {
        const int error = checkMemory(bank, nullptr, isEmpty);
        require(error == MEMERR_NONE || error == MEMERR_OVERFLOW || !banks[bank].base);
        observeNumber(error);
    }

private:
    void onOutOfMemory(int) override { abort(); }
};

static watch::Snapshot snapshotOfBanks()
{
    watch::Snapshot snapshot;
    for (const DefinedBank& defined : sc_banks) {
        watch::Bank bank;
        bank.name = defined.name;
        snapshot.banks.push_back(bank);
    }
    return snapshot;
}

// The sizes that a manager must read from a file.
static std::vector<unsigned int> expectedSizes(const std::string& file)
{
    static const watch::Snapshot s_banks = snapshotOfBanks();
    std::vector<unsigned int> sizes;
    for (const DefinedBank& bank : sc_banks) {
        sizes.push_back(bank.size);
    }
    for (const watch::SizeLine& line : watch::readSizeFile(file, &s_banks)) {
        for (int bank = 0; bank < sc_bankCount; ++bank) {
            if (line.isRead && line.name == sc_banks[bank].name) {
                sizes[static_cast<size_t>(bank)] = line.size;
                break;
            }
        }
    }
    return sizes;
}

// A game from its start to its end.
static void play()
{
    Game game;
    game.initialize();
    const std::vector<unsigned int> sizes = expectedSizes(s_file);
    for (int bank = 0; bank < sc_bankCount; ++bank) {
        const unsigned int size = game.getMemoryBankSize(bank);
        observeNumber(size);
        require(size == sizes[static_cast<size_t>(bank)]);
        void* block = game.alloc(bank, 40, "fuzz", 1);
        memset(block, 0xa5, 40);
        void* second = game.alloc(bank, 1 + size % 100, "fuzz", 2);
        memset(second, 0x5a, 1 + size % 100);
        game.requireSound(bank, false);
        game.free(bank, block);
        if (sc_banks[bank].type == MEMBANK_HEAP) { // free has emptied a linear bank as a whole
            require(game.free(bank, second) == MEMERR_NONE);
        }
        game.requireSound(bank, true);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    s_file.assign(reinterpret_cast<const char*>(data), size);
    for (int run = 0; run < 2; ++run) {
        play();
        s_file.assign(s_written, s_writtenSize);
        free(s_written);
        observeText(s_file);
    }
    return 0;
}
