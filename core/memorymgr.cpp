// Banks, their memory, and the file that carries their sizes from one run to the next.
//
// 1. Heap banks of one location share one block and lie in it back to back, in the order of definition. A linear bank
//    has a block of its own.
// 2. Sizes come from the code, rounded to 32, or from the bank-size file as they stand there: nobody rounds them
//    again, so the second bank of a location may start at any address.
// 3. A bank that can't have memory keeps its size, has a null base and no free node, and all its requests go to the
//    fallback path. That is so for a heap bank that can't hold a header, for sizes of 2 GiB and more, for the heap
//    bank with which a location would grow past 32 bits, and when a location has nothing to give.
#include "core/memorymgr.h"
#include "core/memorymgr_index.h"
#include "core/memorymgr_nodes.h"
#include "core/otherslinks.h"
#include "core/platform.h"
#include "file/file.h"
#include "logger/logger.h"

#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

MemoryMgr* g_MemoryPtr;

static MemoryMgr* s_ended; // the manager that was destroyed last

// On some 32-bit hosts size_t and unsigned long are two types of one size; elsewhere they are one type.
template <typename Callback, typename Function>
static Callback callback(Function* function)
{
    return reinterpret_cast<Callback>(reinterpret_cast<void (*)()>(function));
}

static bool isLocation(e_MemoryLocation location)
{
    return location == MEMLOC_DEFAULT || location == MEMLOC_CUSTOM;
}

// Whether a heap bank of this size finds room behind used bytes of its location's block.
static bool fitsLocation(unsigned int used, unsigned int size)
{
    return size <= sc_largestNode && size <= UINT_MAX - used;
}

MemoryMgr::MemoryMgr() : locked(0), bankCount(0), banks(), systemBank(), locations(), bankSizePath()
{
    g_MemoryPtr = this;
    defineLocAllocCb(MEMLOC_DEFAULT, callback<void* (*)(unsigned long)>(malloc));
    defineLocReallocCb(MEMLOC_DEFAULT, callback<void* (*)(void*, unsigned long)>(realloc));
    defineLocFreeCb(MEMLOC_DEFAULT, ::free);

    snprintf(bankSizePath, sizeof(bankSizePath), "%s/%s", Platform::GetAppDataDir("data"), "data/memory.dat");
    bankSizePath[sizeof(bankSizePath) - 1] = '\0';
}

MemoryMgr::~MemoryMgr()
{
    _freeAllMemory();
    _writeBankSizes();
    s_ended = this;
}

void MemoryMgr::operator delete(void* manager)
{
    // The banks of the manager that has just ended went with it, and its storage can't have been in them.
    if (g_MemoryPtr != s_ended) {
        FreeInBank(0, manager);
    }
}

int MemoryMgr::defineLocAllocCb(e_MemoryLocation location, void* (*callback)(unsigned long))
{
    if (locked || !isLocation(location)) {
        return locked ? -3 : -1;
    }
    locations[location].allocCb = callback;
    return 0;
}

int MemoryMgr::defineLocReallocCb(e_MemoryLocation location, void* (*callback)(void*, unsigned long))
{
    if (locked || !isLocation(location)) {
        return locked ? -3 : -1;
    }
    locations[location].reallocCb = callback;
    return 0;
}

int MemoryMgr::defineLocFreeCb(e_MemoryLocation location, void (*callback)(void*))
{
    if (locked || !isLocation(location)) {
        return locked ? -3 : -1;
    }
    locations[location].freeCb = callback;
    return 0;
}

int MemoryMgr::defineBank(e_MemoryLocation location, e_MemoryBankType type, const char* name, unsigned int size)
{
    if (locked) {
        return -3;
    }
    if (bankCount == 32) {
        return -2;
    }
    if (!isLocation(location)) {
        return -1;
    }
    if (size == 0 || size % sc_granularity != 0) {
        size = (size & ~(sc_granularity - 1)) + sc_granularity;
    }
    MemoryBank_s& bank = banks[bankCount];
    bank = MemoryBank_s();
    strncpy(bank.name, name ? name : "", sizeof(bank.name) - 1);
    bank.location = location;
    bank.type = type;
    bank.size = size;
    bank.freeNodeCount = 1; // the whole bank, once it has memory
    return bankCount++;
}

int MemoryMgr::initialize()
{
    if (bankCount == 0) {
        return -1;
    }
    _freeAllMemory();
    _readBankSizes();
    for (int index = 0; index < 2; ++index) {
        MemoryLocation_s& location = locations[index];
        location.blockSize = _calcMemorySize(static_cast<e_MemoryLocation>(index));
        location.block = takeFrom(location, location.blockSize);
        location.carveCursor = static_cast<char*>(location.block);
    }
    _createMemoryBanks();
    return 0;
}

unsigned int MemoryMgr::getMemoryBankSize(int index) const
{
    const MemoryBank_s* bank = _bank(index);
    return bank ? bank->size : 0;
}

unsigned int MemoryMgr::_calcMemorySize(e_MemoryLocation location) const
{
    unsigned int total = 0;
    for (int index = 0; index < bankCount; ++index) {
        const MemoryBank_s& bank = banks[index];
        if (bank.location == location && bank.type == MEMBANK_HEAP && fitsLocation(total, bank.size)) {
            total += bank.size;
        }
    }
    return total;
}

// The next piece of a location's block; null when there is none, or when it couldn't hold a header.
static char* carve(MemoryLocation_s& location, unsigned int size)
{
    const char* start = static_cast<char*>(location.block);
    if (!start || !fitsLocation(static_cast<unsigned int>(location.carveCursor - start), size)) {
        return nullptr;
    }
    char* base = location.carveCursor;
    location.carveCursor += size;
    return size >= sc_headerSize ? base : nullptr;
}

void MemoryMgr::_createMemoryBanks()
{
    for (int index = 0; index < bankCount; ++index) {
        MemoryBank_s& bank = banks[index];
        MemoryLocation_s& location = locations[bank.location];
        if (bank.type == MEMBANK_HEAP) {
            bank.base = carve(location, bank.size);
            bank.freeList = bank.base ? makeFreeNode(bank.base, bank.size) : nullptr;
            bank.usedList = bank.extList = nullptr;
            FreeIndex::make(this, index, bank);
        } else if (bank.type == MEMBANK_LINEAR) {
            const bool possible = bank.size <= sc_largestNode;
            bank.base = static_cast<char*>(possible ? takeFrom(location, bank.size) : nullptr);
            bank.freeList = bank.usedList = bank.extList = nullptr;
        }
        bank.cursor = bank.base;
    }
    // The system bank's counters go on from where they are; with no free node, all it serves are fallback blocks.
    systemBank.location = MEMLOC_DEFAULT;
    systemBank.type = MEMBANK_HEAP;
    systemBank.size = 0;
    systemBank.bytesInUse = 0;
    systemBank.base = systemBank.cursor = nullptr;
    systemBank.freeList = systemBank.usedList = systemBank.extList = nullptr;
}

// Pointers stay as they are: initialize replaces them, and the destructor is the end.
void MemoryMgr::_freeAllMemory()
{
    FreeIndex::dropAll(this);
    for (const MemoryLocation_s& location : locations) {
        giveTo(location, location.block);
    }
    for (int index = 0; index < bankCount; ++index) {
        if (banks[index].type == MEMBANK_LINEAR) {
            giveTo(locations[banks[index].location], banks[index].base);
        }
    }
}

// One field of the bank-size file, as text: up to a line feed or the separator, which it answers, or up to the end of
// the file or the field's last byte, which is taken as it is; then it answers 0. field has capacity + 1 bytes.
static char readField(FILE* file, char* field, int capacity, char separator)
{
    int length = 0;
    char byte;
    while (length < capacity && fread(&byte, 1, 1, file) == 1) {
        const bool last = length + 1 == capacity;
        if (!last && (byte == '\n' || byte == separator)) {
            field[length] = '\0';
            return byte;
        }
        field[length++] = byte;
    }
    field[length] = '\0';
    return 0;
}

// A number in decimal, behind blanks; out of range it wraps to 32 bits, alike on every host. False when there is
// none.
static bool readSize(const char* text, unsigned int* size)
{
    char* end;
    const long long number = strtoll(text, &end, 10);
    *size = end == text ? *size : static_cast<unsigned int>(number);
    return end != text;
}

// A line is "name=size". The first that isn't ends the reading; a bank that nobody defined is passed over. A name of
// 31 characters fills the field together with its '=', which is why such a bank never finds its line.
void MemoryMgr::_readBankSizes()
{
    FILE* file = HasOthersLink(bankSizePath) ? nullptr : fopen_mac(bankSizePath, "rb");
    if (!file) {
        return;
    }
    for (;;) {
        char name[32 + 1];
        char value[64 + 1];
        if (readField(file, name, 32, '=') == '\n' || name[0] == '\0') {
            break;
        }
        readField(file, value, 64, '\n');
        if (value[0] == '\0') {
            break;
        }
        MemoryBank_s* bank = _bankNamed(name);
        if (bank && !readSize(value, &bank->size)) {
            break;
        }
    }
    fclose(file);
}

MemoryBank_s* MemoryMgr::_bankNamed(const char* name)
{
    for (int index = 0; index < bankCount; ++index) {
        if (strncmp(banks[index].name, name, sizeof(banks[index].name)) == 0) {
            return &banks[index];
        }
    }
    return nullptr;
}

// The mean of a bank's size and its peak, weighted by themselves: a bank that overflowed grows toward its peak, one
// that was too large shrinks slowly, one that nobody used stays. In single precision, so that hosts agree.
static unsigned int tunedSize(unsigned int bankSize, unsigned int peakBytes)
{
    const float size = static_cast<float>(bankSize);
    const float peak = static_cast<float>(peakBytes);
    const float total = size + peak;
    const float tuned = (peak / total) * peak + (size / total) * size;
    return tuned < 4294967296.0f ? static_cast<unsigned int>(tuned) : UINT_MAX;
}

void MemoryMgr::_writeBankSizes() const
{
    if (HasOthersLink(bankSizePath)) {
        owLogger::log(
            3, "^CFF0000MemoryMgr:^c The bank sizes are not saved through another user's link: \"^CFFFF00%s^c\"\f",
            bankSizePath);
        return;
    }
    FILE* file = fopen_mac(bankSizePath, "wb");
    if (!file) {
        return;
    }
    for (int index = 0; index < bankCount; ++index) {
        const MemoryBank_s& bank = banks[index];
        if (bank.size != 0 || bank.peakBytes != 0) {
            fprintf(file, "%s=%d\n", bank.name, static_cast<int>(tunedSize(bank.size, bank.peakBytes)));
        }
    }
    fclose(file);
}
