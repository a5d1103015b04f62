// alloc, free and getSize: the heap of one bank, linear banks, and the fallback blocks that serve full banks.
//
// 1. The nodes tile a heap bank: used and free sizes add up to the bank's size.
// 2. No two free nodes touch: a freed node is joined with its free neighbours at once.
// 3. The free list runs from small to large, so the first node that is large enough is the best fit. Among nodes of
//    equal size, the node that was freed last is the first.
// 4. A node is on one of its bank's three lists: free, used, or fallback.
// 5. A request that a bank can't serve goes to its location. If the location has no memory either, the game ends.
//
// FreeList (memorymgr_freelist.h) finds free nodes and makes all changes to the free list. The steps in this file
// change counters, headers and the used list.
//
// An operation holds the bank's lock from its first read of the bank to its last write, also while callbacks run.
#include "core/memorymgr.h"
#include "core/memorymgr_freelist.h"
#include "core/memorymgr_nodes.h"
#include "core/memorymgr_rules.h"
#include "core/platform.h"

#include <limits.h>
#include <stdint.h>
#include <stdlib.h>

static Mutex s_mutex[32];
static Mutex s_systemMutex; // bank -1

class BankLock {
public:
    explicit BankLock(int bank) : m_mutex(bank == -1 ? &s_systemMutex.mutex : &s_mutex[bank].mutex)
    {
        pthread_mutex_lock(m_mutex);
    }
    ~BankLock() { pthread_mutex_unlock(m_mutex); }

private:
    pthread_mutex_t* m_mutex;
};

static void* blockOf(MemoryHeapNode_s* node)
{
    return node + 1;
}

static MemoryHeapNode_s* nodeOf(void* block)
{
    return static_cast<MemoryHeapNode_s*>(block) - 1;
}

// Makes the processor load a block's header into its cache while the bank's lock is taken. block may be any pointer.
static void prefetchHeader(const void* block)
{
    const uintptr_t header = reinterpret_cast<uintptr_t>(block) - sc_headerSize;
    __builtin_prefetch(reinterpret_cast<const void*>(header), 1);
}

// Makes the processor load the two places after a free node's first size bytes where headers will be written soon: when
// the node is divided, its rest begins there, and the next request of about the same size puts its rest after that. A
// program that allocates more than it frees takes memory that is in no cache; without this it would wait for the memory
// at the end of each alloc, where the lock is released. The second place may lie outside of the bank.
static void prefetchRests(const MemoryHeapNode_s* node, unsigned long size)
{
    const uintptr_t rest = reinterpret_cast<uintptr_t>(node) + size;
    __builtin_prefetch(reinterpret_cast<const void*>(rest), 1);
    __builtin_prefetch(reinterpret_cast<const void*>(rest + size + 64), 1);
}

// Marks a step that is inlined into alloc or free. Its function exists as well, so that a debugger can call it.
#define INLINED_STEP __attribute__((used)) inline

// Returns the size of the node for a heap request, in bytes, header included. A sum that is already a multiple of
// 32 is raised by 32 all the same: the sizes of games' banks have been tuned with that.
static unsigned long nodeSize(unsigned long request)
{
    return ((request + sc_headerSize) & ~(sc_granularity - 1ul)) + sc_granularity;
}

// Returns the largest request that alloc tries to serve, in bytes. A node's size has 31 bits. A linear bank's
// region has no nodes, so its limit is the largest multiple of 32 below 2^32.
static unsigned long largestRequest(const MemoryBank_s* bank)
{
    return bank->type == MEMBANK_LINEAR ? UINT_MAX & ~(sc_granularity - 1) : sc_largestNode;
}

inline FreeList MemoryMgr::_freeListOf(MemoryBank_s* bank) const
{
    return FreeList(bank, FreeIndex::of(bank));
}

static void countAlloc(MemoryBank_s* bank, unsigned long size)
{
    bank->allocCount += 1;
    bank->bytesInUse += static_cast<unsigned int>(size);
    bank->peakBytes = bank->bytesInUse > bank->peakBytes ? bank->bytesInUse : bank->peakBytes;
}

// flatten inlines all steps: as calls, they would be a third of the instructions of alloc and free.
__attribute__((flatten)) void* MemoryMgr::alloc(int index, unsigned long size, const char* file, unsigned int line)
{
    MemoryBank_s* bank = _bank(index);
    if (!isUsual(size != 0 && bank)) {
        return nullptr;
    }
    BankLock lock(index);
    RulesWatch watch(index, bank, nullptr);
    // A lambda: clang's flatten inlines each function that is called from here directly, also one that a program or a tool
    // has replaced.
    const auto endOutOfMemory = [this] { _endOutOfMemory(); };
    if (!isUsual(size <= sc_largestNode) && size > largestRequest(bank)) {
        endOutOfMemory(); // no bank serves it; the sums below could wrap
    }

    void* block = nullptr;
    unsigned long fallbackSize = size;
    if (isUsual(bank->type == MEMBANK_HEAP)) {
        size = fallbackSize = nodeSize(size);
        block = _heapBestFit(bank, size, file, line);
    } else if (bank->type == MEMBANK_LINEAR) {
        size = (size + sc_granularity - 1) & ~(sc_granularity - 1ul);
        fallbackSize = size + sc_headerSize;
        block = _linearAlloc(bank, size);
    }
    if (isUsual(block)) {
        countAlloc(bank, size);
        return block;
    }
    block = _allocExtNode(bank, fallbackSize, file, line);
    if (!block) {
        endOutOfMemory();
    }
    return block;
}

__attribute__((flatten)) int MemoryMgr::free(int index, void* block)
{
    MemoryBank_s* bank = _bank(index);
    if (!isUsual(bank)) {
        return MEMERR_BLOCK;
    }
    prefetchHeader(block);
    BankLock lock(index);
    RulesWatch watch(index, bank, block ? nodeOf(block) : nullptr);
    if (isUsual(bank->type == MEMBANK_HEAP && block)) {
        unsigned long size = 0;
        if (const int error = _heapFree(bank, block, &size)) {
            return error;
        }
        bank->freeCount += 1;
        bank->bytesInUse -= static_cast<unsigned int>(size);
    } else if (bank->type == MEMBANK_LINEAR) {
        _linearReset(bank);
    }
    return 0;
}

unsigned int MemoryMgr::getSize(int index, void* block)
{
    const MemoryBank_s* bank = index == -1 ? nullptr : _bank(index);
    if (!bank) {
        return 0;
    }
    BankLock lock(index);
    return bank->type == MEMBANK_HEAP && block ? sizeOf(nodeOf(block)) - sc_headerSize : 0;
}

// Takes a free node of at least size bytes, header included. Returns its block, and stores the node's size in size;
// null if there is no such node.
INLINED_STEP void* MemoryMgr::_heapBestFit(MemoryBank_s* bank, unsigned long& size, const char* file,
                                           unsigned int line)
{
    FreeList list = _freeListOf(bank);
    MemoryHeapNode_s* node = list.firstOfAtLeast(size);
    if (!isUsual(node)) {
        return nullptr;
    }
    prefetchRests(node, size);
    if (size + sc_headerSize < node->size) { // else the rest is a header at most
        const unsigned int rest = node->size - static_cast<unsigned int>(size);
        MemoryHeapNode_s* remainder = reinterpret_cast<MemoryHeapNode_s*>(reinterpret_cast<char*>(node) + size);
        remainder->magic = sc_magicFree;
        list.replace(node, remainder, rest);
        node->size = static_cast<unsigned int>(size);
    } else {
        list.remove(node);
        bank->freeNodeCount -= 1;
    }
    bank->usedNodeCount += 1;
    pushFront(bank->usedList, node);
    list.setName(node, file);
    node->line = line;
    node->magic = sc_magicUsed;
    size = node->size;
    return blockOf(node);
}

// Returns MEMERR_NONE and stores the freed node's size in sizeOut; MEMERR_BLOCK if block is not a live block.
INLINED_STEP int MemoryMgr::_heapFree(MemoryBank_s* bank, void* block, unsigned long* sizeOut)
{
    MemoryHeapNode_s* node = nodeOf(block);
    if (!isUsual(node->magic == sc_magicUsed)) {
        return MEMERR_BLOCK;
    }
    const bool isInside = !(node->size & sc_extBit);
    if (!isUsual(isInside)) { // the size may be damaged; then the links are those of a node of the region
        return areOutsideLinks(node) ? _heapExtFree(bank, node, sizeOut) : MEMERR_BLOCK;
    }
    bank->usedNodeCount -= 1;
    *sizeOut = node->size;
    node->magic = sc_magicFree;
    unlink(bank->usedList, node);
    bank->freeNodeCount += 1;
    FreeList list = _freeListOf(bank);
    if (!list.join(node)) {
        list.add(node);
    }
    return 0;
}

// The next three functions are for a debugger. alloc and free use FreeList directly.

// Returns the first free node of at least size bytes, header included; null if there is none.
INLINED_STEP MemoryHeapNode_s* MemoryMgr::_heapFindBestFit(MemoryBank_s* bank, unsigned long size)
{
    return _freeListOf(bank).firstOfAtLeast(size);
}

// Adds a node to the free list, at the place for its size.
INLINED_STEP void MemoryMgr::_heapAddFreeNode(MemoryBank_s* bank, MemoryHeapNode_s* node)
{
    _freeListOf(bank).add(node);
}

// Joins a free node that is on no list with the free nodes that touch it. Returns 1 if at least one touched it: the
// joined node is then on the free list. Returns 0 if none did: the node is then on no list.
INLINED_STEP int MemoryMgr::_compactHeapNode(MemoryBank_s* bank, MemoryHeapNode_s* node)
{
    return _freeListOf(bank).join(node) ? 1 : 0;
}

// Makes a fallback block: a node of size bytes, header included, from the bank's location. Returns the block; null
// if the location has no memory left.
void* MemoryMgr::_allocExtNode(MemoryBank_s* bank, unsigned long size, const char* file, unsigned int line)
{
    if (size < sc_headerSize) {
        size = sc_headerSize; // only in a bank that is neither heap nor linear: there size is the caller's request
    }
    if (size > sc_largestNode) {
        return nullptr;
    }
    const MemoryLocation_s& location = locations[bank->location];
    MemoryHeapNode_s* node = static_cast<MemoryHeapNode_s*>(takeFrom(location, size));
    if (!node || !setUpOutsideLinks(node)) {
        giveTo(location, node);
        return nullptr;
    }
    node->magic = sc_magicUsed;
    node->size = static_cast<unsigned int>(size) | sc_extBit;
    node->file = file;
    node->line = line;
    pushFront(bank->extList, node, NODES_OF_LOCATION);
    bank->extNodeCount += 1;
    countAlloc(bank, size);
    return blockOf(node);
}

int MemoryMgr::_heapExtFree(MemoryBank_s* bank, MemoryHeapNode_s* node, unsigned long* sizeOut)
{
    node->size = sizeOf(node);
    *sizeOut = node->size;
    unlink(bank->extList, node, NODES_OF_LOCATION);
    giveUpOutsideLinks(node);
    giveTo(locations[bank->location], node);
    return 0;
}

// Takes the next size bytes of the region; size is a multiple of 32. Returns their address; null if the bank has no
// room for them. bytesInUse includes fallback blocks. So after an overflow the bank serves fallback blocks until it
// is emptied, even if its region has room. The cursor is checked as well, because bytesInUse wraps at 4 GiB of
// fallback blocks. Addresses are subtracted as numbers: in a 32-bit build the region can be larger than a ptrdiff_t
// can hold.
void* MemoryMgr::_linearAlloc(MemoryBank_s* bank, unsigned long size)
{
    const uintptr_t cursor = reinterpret_cast<uintptr_t>(bank->cursor);
    const unsigned long long counted = bank->bytesInUse;
    const unsigned long long handedOut = cursor - reinterpret_cast<uintptr_t>(bank->base);
    if (!bank->base || counted + size > bank->size || handedOut + size > bank->size) {
        return nullptr;
    }
    bank->cursor = reinterpret_cast<char*>(cursor + size);
    return reinterpret_cast<char*>(cursor);
}

// Empties a linear bank, and gives its fallback blocks back to the location. A bank with more bytes in use than its
// size also grows: by half of its size, or to the bytes that were in use if these are more.
void MemoryMgr::_linearReset(MemoryBank_s* bank)
{
    while (bank->extList) {
        unsigned long ignored;
        _heapExtFree(bank, bank->extList, &ignored);
    }
    if (bank->bytesInUse > bank->size) {
        const unsigned int half = static_cast<unsigned int>(static_cast<float>(bank->size) * 0.5f);
        const unsigned int grown = bank->size + half; // a sum that wraps is less than bytesInUse
        _linearGrow(bank, grown < bank->bytesInUse ? bank->bytesInUse : grown);
    }
    bank->cursor = bank->base;
    bank->freeCount += 1;
    bank->bytesInUse = 0;
}

// Replaces the bank's region with a region of size bytes. If the location has no such region, the old region goes
// back to the location, and the bank has no region any more. The realloc callback may use the bank. While the
// callback runs, the bank has no region, so the callback gets fallback blocks. The next reset gives them back.
void MemoryMgr::_linearGrow(MemoryBank_s* bank, unsigned int size)
{
    const MemoryLocation_s& location = locations[bank->location];
    char* old = bank->base;
    bank->base = bank->cursor = nullptr;
    bank->size = size;
    char* region = static_cast<char*>(location.reallocCb ? location.reallocCb(old, size) : nullptr);
    if (!region) {
        giveTo(location, old);
    }
    giveTo(location, bank->base); // not null if the callback has emptied the bank and made it grow
    bank->base = region;
    bank->size = size;
}

// Shows the alert and ends the process. The bank's lock is still held, so that no other thread uses the bank
// meanwhile.
void MemoryMgr::_endOutOfMemory()
{
    Platform::MessageBox("Out of Memory Error",
                         "%s has run out of memory and must be\n"
                         "terminated. Please ensure that there are not any\n"
                         "unnecessary programs running before attempting\n"
                         "to execute this application again.\n",
                         Platform::GetAppTitle());
    onOutOfMemory(0);
    exit(-1);
}
