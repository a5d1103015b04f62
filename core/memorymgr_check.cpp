// What tells whether a bank is sound. Nothing here changes anything or takes a lock: it is for quiet moments.
#include "core/memorymgr.h"
#include "core/memorymgr_nodes.h"

// Adds up a list, false at the first node without its mark.
static bool measure(const MemoryHeapNode_s* node, unsigned int magic, unsigned int* bytes, unsigned int* count,
                    unsigned int* largest)
{
    for (; node; node = node->next) {
        if (node->magic != magic) {
            return false;
        }
        *bytes += node->size;
        *count += 1;
        *largest = node->size > *largest ? node->size : *largest;
    }
    return true;
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

    unsigned int bytes = 0;
    unsigned int usedCount = 0;
    unsigned int freeCount = 0;
    unsigned int largestUsed = 0;
    if (!measure(bank->usedList, sc_magicUsed, &bytes, &usedCount, &largestUsed)) {
        return MEMERR_BLOCK;
    }
    const bool unexpected = expectEmpty && bytes != 0;
    if (!measure(bank->freeList, sc_magicFree, &bytes, &freeCount, &largest)) {
        return MEMERR_FREE_NODE;
    }
    if (unexpected || bytes != bank->size) {
        return MEMERR_SIZE;
    }
    if (usedCount != bank->usedNodeCount) {
        return MEMERR_USED_COUNT;
    }
    if (freeCount != bank->freeNodeCount) {
        return MEMERR_FREE_COUNT;
    }
    // A bank that once overflowed fails from then on, even when all is free again: its budget was too small.
    return bank->extNodeCount != 0 ? MEMERR_OVERFLOW : MEMERR_NONE;
}

void MemoryMgr::touchMemory()
{
    const MemoryLocation_s& location = locations[MEMLOC_DEFAULT];
    if (!location.block) {
        return;
    }
    const volatile char* bytes = static_cast<const volatile char*>(location.block);
    volatile int sum = 0; // volatile, so that no read is taken away
    for (unsigned long offset = 0; offset < location.blockSize; offset += 4096) {
        sum = sum + bytes[offset];
    }
}
