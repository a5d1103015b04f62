// Checking a bank, and reading its memory ahead of use. These calls change nothing and take no lock, so no other
// thread may use the bank during a call.
#include "core/memorymgr.h"
#include "core/memorymgr_nodes.h"

#include <stdint.h>

// Whether a header can lie at this address: all of its bytes are in the bank's region. The first header of a region that
// is smaller than a header lies at its start, too.
static bool canBeHeader(const MemoryBank_s* bank, const MemoryHeapNode_s* node)
{
    const uintptr_t offset = reinterpret_cast<uintptr_t>(node) - reinterpret_cast<uintptr_t>(bank->base);
    return offset == 0 || (bank->base && offset < bank->size && bank->size - offset >= sc_headerSize);
}

// The sums over the nodes of a list.
struct ListSums {
    unsigned int bytes;
    unsigned int count;
    unsigned int largest; // the largest size
    bool isCircle;        // the list has more nodes than the region has room for: its links form a circle
};

// Adds up the nodes of a list. Returns MEMERR_NONE; markError at the first node whose mark is not magic, or that does not
// lie in the region: the sums then end before that node. In a circle, the sums end as soon as the circle is certain. A
// damaged link can have the bit of a fallback block's link; no node inside a bank has such a link, so the bit is not
// looked at.
static int measure(const MemoryBank_s* bank, const MemoryHeapNode_s* list, unsigned int magic, int markError,
                   ListSums* sums)
{
    const unsigned int mostNodes = bank->size / sc_headerSize + 1;
    for (const MemoryHeapNode_s* node = list; node && !sums->isCircle; node = insideLink(node->next)) {
        if (!canBeHeader(bank, node) || node->magic != magic) {
            return markError;
        }
        sums->isCircle = sums->count == mostNodes;
        sums->bytes += node->size;
        sums->count += 1;
        sums->largest = node->size > sums->largest ? node->size : sums->largest;
    }
    return MEMERR_NONE;
}

int MemoryMgr::checkMemory(int index, unsigned int* largestFree, bool expectEmpty)
{
    unsigned int ignored;
    unsigned int& largest = largestFree ? *largestFree : ignored;
    largest = 0;
    const MemoryBank_s* bank = _bank(index);
    if (!bank || bank->type != MEMBANK_HEAP) {
        if (bank && bank->type == MEMBANK_LINEAR) {
            largest = bank->size - bank->bytesInUse;
        }
        return MEMERR_NONE;
    }

    ListSums inUse = {};
    ListSums unused = {};
    int error = measure(bank, bank->usedList, sc_magicUsed, MEMERR_BLOCK, &inUse);
    if (error == MEMERR_NONE) {
        error = measure(bank, bank->freeList, sc_magicFree, MEMERR_FREE_NODE, &unused);
        largest = unused.largest;
    }
    if (error != MEMERR_NONE) {
        return error;
    }
    const bool isCircle =
        inUse.isCircle || unused.isCircle; // then the sums have no end, or equal the size by accident
    if (isCircle || (expectEmpty && inUse.bytes != 0) || inUse.bytes + unused.bytes != bank->size) {
        return MEMERR_SIZE;
    }
    if (inUse.count != bank->usedNodeCount) {
        return MEMERR_USED_COUNT;
    }
    if (unused.count != bank->freeNodeCount) {
        return MEMERR_FREE_COUNT;
    }
    // A bank that has overflowed once returns MEMERR_OVERFLOW from then on, even when all its blocks are free: its
    // size was too small for this run.
    return bank->extNodeCount != 0 ? MEMERR_OVERFLOW : MEMERR_NONE;
}

void MemoryMgr::touchMemory()
{
    const MemoryLocation_s& location = locations[MEMLOC_DEFAULT];
    if (!location.block) {
        return;
    }
    const volatile char* bytes = static_cast<const volatile char*>(location.block);
    volatile int sum = 0; // volatile: the compiler must not leave out the reads
    for (unsigned long offset = 0; offset < location.blockSize; offset += 4096) {
        sum = sum + bytes[offset];
    }
}
