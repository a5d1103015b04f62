// Banks, their memory, and the file that carries their sizes from one run to the next.
//
// 1. Heap banks of one location share one block and lie in it back to back, in the order of definition. A linear bank
//    has a block of its own.
// 2. Sizes come from the code, rounded to 32, or from the bank-size file as they stand there: nobody rounds them
//    again, so the second bank of a location may start at any address.
// 3. A bank that can't have memory keeps its size, has a null base and no free node, and all its requests go to the
//    fallback path. That is so for a heap bank that can't hold a header, for one of 2 GiB and more, for the heap bank
//    with which a location would grow past 32 bits, and when a location has nothing to give. A linear bank has no
//    headers: it may have any size up to 4 GiB - 1.
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

// The managers that have been constructed and not destroyed. A game has one. Where there are more than four, operator delete
// does not look into the banks of the latest.
static MemoryMgr* s_living[4];

// In front of each manager that was made with plain new.
struct NewStorage_s {
    void* block; // of malloc
    NewStorage_s* next;
};

static NewStorage_s* s_newStorages;

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

// Puts manager in the place of other, which is null when a free place is wanted.
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
    replaceLiving(this, nullptr); // a manager was here that has never been destroyed
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
    return operator new(size, std::align_val_t(16)); // as malloc on 64-bit hosts
}

void* MemoryMgr::operator new(size_t size, std::align_val_t alignment) noexcept
{
    const size_t multiple = static_cast<size_t>(alignment);
    const size_t more = sizeof(NewStorage_s) + multiple - 1;
    void* block = malloc(size + more);
    if (!block) {
        return nullptr;
    }
    const uintptr_t place = (reinterpret_cast<uintptr_t>(block) + more) & ~static_cast<uintptr_t>(multiple - 1);
    NewStorage_s* storage = reinterpret_cast<NewStorage_s*>(place) - 1;
    storage->block = block;
    storage->next = s_newStorages;
    s_newStorages = storage;
    return storage + 1;
}

// The address alone decides. The bytes in front of the storage are not read: where the game has provided the storage, there
// may be no memory in front of it.
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

// Whether bank 0 has handed out this storage: from its region, or as a fallback block.
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
    bank.freeNodeCount = 1; // the whole bank, once it has memory
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
            bank.base = static_cast<char*>(takeFrom(location, bank.size));
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
