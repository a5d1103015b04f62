// Checking a bank, and reading its memory ahead of use. These calls change nothing and take no lock, so no other
// thread may use the bank during a call.
#include "core/memorymgr.h"
#include "core/memorymgr_nodes.h"

// Adds the sizes of a list's nodes to bytes and their number to count, and raises largest to the largest size.
// Returns false at the first node whose mark is not magic; the sums then end before that node.
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
    const bool unexpected = expectEmpty && bytes != 0; // so far, bytes counts the nodes in use only
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
