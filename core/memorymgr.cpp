// Defining banks, getting memory for them, and the file that stores their sizes from one run to the next.
//
// 1. The regions of a location's heap banks lie back to back in one piece of memory, in the order of definition. They
//    fill it. A linear bank's region is a piece of memory of its own.
// 2. defineBank rounds a size up to a multiple of 32 bytes. A size from the bank-size file is used as it is. So every
//    region but the first of a location may begin at any address.
// 3. A bank without a region keeps its size, has a null base and no free node. All its requests become fallback
//    blocks. These banks get no region:
//
//    | Heap bank of less than 24 bytes                           | it cannot hold a header                  |
//    | Heap bank of 2 GiB or more                                | the size word of a header has 31 bits    |
//    | Heap bank with which a location would need 4 GiB or more  | blockSize has 32 bits                    |
//    | Any bank whose location returns null                      |                                          |
//
//    A linear bank has no headers, so it may have any size up to 4 GiB - 1.
#include "core/memorymgr.h"
#include "core/memorymgr_index.h"
#include "core/memorymgr_nodes.h"
#include "core/otherslinks.h"
#include "core/platform.h"
#include "file/file.h"
#include "logger/logger.h"

#include <limits.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

MemoryMgr* g_MemoryPtr;

// The managers that have been constructed and not destroyed. A game has one; tests have more. The fifth and later
// ones are not recorded, so operator delete does not look into their banks.
static MemoryMgr* s_living[4];

// The record directly before each manager that was made with plain new. All these records form a list.
struct NewStorage_s {
    void* block; // what malloc returned; the record and the manager lie in it
    NewStorage_s* next;
};

static NewStorage_s* s_newStorages;

// Converts malloc and realloc to the type of a callback. They take size_t, a callback takes unsigned long. In some
// 32-bit builds these are two different types of the same size.
template <typename Callback, typename Function>
static Callback callback(Function* function)
{
    return reinterpret_cast<Callback>(reinterpret_cast<void (*)()>(function));
}

static bool isLocation(e_MemoryLocation location)
{
    return location == MEMLOC_DEFAULT || location == MEMLOC_CUSTOM;
}

// True when a heap bank of this size can get a region after the first `used` bytes of its location's piece of memory.
static bool fitsLocation(unsigned int used, unsigned int size)
{
    return size <= sc_largestNode && size <= UINT_MAX - used;
}

// Replaces other by manager in s_living; does nothing when other is not in it. Null stands for a free place.
static void replaceLiving(const MemoryMgr* other, MemoryMgr* manager)
{
    for (MemoryMgr*& living : s_living) {
        if (living == other) {
            living = manager;
            return;
        }
    }
}

MemoryMgr::MemoryMgr() : locked(0), bankCount(0), banks(), systemBank(), locations(), bankSizePath()
{
    replaceLiving(this, nullptr); // a manager that was never destroyed may have lain in this storage
    replaceLiving(nullptr, this);
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
    replaceLiving(this, nullptr);
}

void* MemoryMgr::operator new(size_t size) noexcept
{
    return operator new(size, std::align_val_t(16)); // the alignment of malloc in 64-bit builds
}

void* MemoryMgr::operator new(size_t size, std::align_val_t alignment) noexcept
{
    const size_t multiple = static_cast<size_t>(alignment);
    const size_t more = sizeof(NewStorage_s) + multiple - 1;
    void* block = malloc(size + more);
    if (!block) {
        return nullptr;
    }
    // The first aligned address that leaves room for the record before it.
    const uintptr_t place = (reinterpret_cast<uintptr_t>(block) + more) & ~static_cast<uintptr_t>(multiple - 1);
    NewStorage_s* storage = reinterpret_cast<NewStorage_s*>(place) - 1;
    storage->block = block;
    storage->next = s_newStorages;
    s_newStorages = storage;
    return storage + 1;
}

// Only the address decides what happens to the storage. The bytes before the manager are not read: when the game has
// provided the storage, there may be no memory before it.
void MemoryMgr::operator delete(void* manager)
{
    for (NewStorage_s** link = &s_newStorages; *link; link = &(*link)->next) {
        NewStorage_s* storage = *link;
        if (storage + 1 == manager) {
            *link = storage->next;
            ::free(storage->block);
            return;
        }
    }
    for (MemoryMgr* living : s_living) {
        if (living && living->_holdsInBank0(manager)) {
            living->free(0, manager);
            return;
        }
    }
}

// True when the storage lies in bank 0's region or is a fallback block of bank 0.
bool MemoryMgr::_holdsInBank0(const void* storage) const
{
    const uintptr_t base = reinterpret_cast<uintptr_t>(banks[0].base);
    if (base && reinterpret_cast<uintptr_t>(storage) - base < banks[0].size) {
        return true;
    }
    const MemoryHeapNode_s* node = banks[0].extList;
    while (node && node + 1 != storage) {
        node = node->next;
    }
    return node != nullptr;
}

int MemoryMgr::defineLocAllocCb(e_MemoryLocation location, void* (*callback)(unsigned long))
{
    if (locked || !isLocation(location)) {
        return locked ? MEMERR_LOCKED : MEMERR_UNDEFINED;
    }
    locations[location].allocCb = callback;
    return MEMERR_NONE;
}

int MemoryMgr::defineLocReallocCb(e_MemoryLocation location, void* (*callback)(void*, unsigned long))
{
    if (locked || !isLocation(location)) {
        return locked ? MEMERR_LOCKED : MEMERR_UNDEFINED;
    }
    locations[location].reallocCb = callback;
    return MEMERR_NONE;
}

int MemoryMgr::defineLocFreeCb(e_MemoryLocation location, void (*callback)(void*))
{
    if (locked || !isLocation(location)) {
        return locked ? MEMERR_LOCKED : MEMERR_UNDEFINED;
    }
    locations[location].freeCb = callback;
    return MEMERR_NONE;
}

int MemoryMgr::defineBank(e_MemoryLocation location, e_MemoryBankType type, const char* name, unsigned int size)
{
    if (locked) {
        return MEMERR_LOCKED;
    }
    if (bankCount == 32) {
        return MEMERR_BANKS;
    }
    if (!isLocation(location)) {
        return MEMERR_UNDEFINED;
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
    bank.freeNodeCount = 1; // initialize makes the region of a heap bank one free node
    return bankCount++;
}

int MemoryMgr::initialize()
{
    if (bankCount == 0) {
        return MEMERR_UNDEFINED;
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
    return MEMERR_NONE;
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

// Returns the region of the location's next heap bank; null when rule 3 gives the bank no region. The cursor also
// passes the bytes of a bank of less than 24 bytes, because blockSize includes them.
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

#ifdef CORE_CHECKED

static void end(int number, const char* broken)
{
    fprintf(stderr, "memory bank %d breaks a rule: %s\n", number, broken);
    abort();
}

// Ends the process when initialize has made regions that break rule 1 or 3. Rule 2 cannot be checked: a bank does not
// record where its size came from.
static void checkRules(const MemoryBank_s* banks, int bankCount, const MemoryLocation_s* locations)
{
    unsigned int used[2] = {0, 0}; // bytes of each location's piece of memory
    for (int index = 0; index < bankCount; ++index) {
        const MemoryBank_s& bank = banks[index];
        const char* start = static_cast<const char*>(locations[bank.location].block);
        unsigned int& before = used[bank.location];
        if (bank.type == MEMBANK_HEAP && !bank.base && bank.freeList) {
            end(index, "banks 3: a bank without a region has no free node");
        }
        if (bank.type != MEMBANK_HEAP || !fitsLocation(before, bank.size)) {
            continue;
        }
        if (bank.base && bank.base != start + before) {
            end(index, "banks 1: the regions of heap banks lie back to back in the order of definition");
        }
        if (!bank.base != (!start || bank.size < sc_headerSize)) {
            end(index,
                "banks 3: a heap bank has a region unless it is too small, too large or the location has none");
        }
        before += bank.size;
    }
    if (used[0] != locations[0].blockSize || used[1] != locations[1].blockSize) {
        end(bankCount - 1, "banks 1: the regions fill the location's piece of memory");
    }
}

#else

static void checkRules(const MemoryBank_s*, int, const MemoryLocation_s*)
{
}

#endif

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
            bank.base = static_cast<char*>(takeFrom(location, bank.size));
            bank.freeList = bank.usedList = bank.extList = nullptr;
        }
        bank.cursor = bank.base;
    }
    // The system bank has no free node, so all its blocks are fallback blocks. A second call of initialize sets its
    // bytesInUse back to 0 and does not change its other counters.
    systemBank.location = MEMLOC_DEFAULT;
    systemBank.type = MEMBANK_HEAP;
    systemBank.size = 0;
    systemBank.bytesInUse = 0;
    systemBank.base = systemBank.cursor = nullptr;
    systemBank.freeList = systemBank.usedList = systemBank.extList = nullptr;
    checkRules(banks, bankCount, locations);
}

// Gives all regions back to their locations. The pointers to them are not cleared: initialize replaces them, and
// after the destructor nothing uses them.
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

// Reads one field of the bank-size file into field, as text with a NUL. field has room for capacity + 1 bytes.
//
//   what ends the field                          returned
//   the separator or a line feed                 that byte; it is not stored
//   the end of the file                          0
//   byte number `capacity`, whatever it is       0; the byte is stored
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

// Reads a decimal number, with or without blanks before it, into size. Returns false when text begins with none; size
// is then unchanged. A number that does not fit into 32 bits loses its upper bits; on every host the result is the
// same.
static bool readSize(const char* text, unsigned int* size)
{
    char* end;
    const long long number = strtoll(text, &end, 10);
    *size = end == text ? *size : static_cast<unsigned int>(number);
    return end != text;
}

// Reads lines of the form "name=size". The first line of another form ends the reading. A line whose name is not the
// name of a defined bank is skipped. A field of 32 bytes ends with its last byte, whatever that byte is. So the field
// of a name of 31 characters includes the '=' and matches no bank.
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

// Returns the first bank of this name; null when there is none.
MemoryBank_s* MemoryMgr::_bankNamed(const char* name)
{
    for (int index = 0; index < bankCount; ++index) {
        if (strncmp(banks[index].name, name, sizeof(banks[index].name)) == 0) {
            return &banks[index];
        }
    }
    return nullptr;
}

// Returns (s * s + p * p) / (s + p), rounded down, for the bank's size s and its high-water mark p: the mean of the
// two, in which the larger counts more. Single precision and this order of the steps are part of the file's form:
// every host computes the same size. Sizes beyond 32 bits become UINT_MAX.
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
