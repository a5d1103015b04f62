#include "core/memorymgr.h"

#include <stdint.h>
#include <string.h>

// The mark lies directly before aligned memory. FreeAlignedInBank reads it to find the bank's block. The mark may lie
// at any address, so the code copies it with memcpy.
struct AlignedMark {
    unsigned int distance;   // bytes from the start of the bank's block to the memory
    unsigned int complement; // ~distance; another value means that this is not aligned memory
};

void* AllocInBank(int bank, size_t size, const char* file, unsigned int line) noexcept
{
    return g_MemoryPtr ? g_MemoryPtr->alloc(bank, size, file, line) : nullptr;
}

void FreeInBank(int bank, void* block) noexcept
{
    if (g_MemoryPtr) {
        g_MemoryPtr->free(bank, block);
    }
}

void* AllocAlignedInBank(int bank, size_t size, size_t alignment, const char* file, unsigned int line) noexcept
{
    const bool isPowerOfTwo = alignment != 0 && (alignment & (alignment - 1)) == 0;
    if (size == 0 || !isPowerOfTwo) {
        return nullptr;
    }
    const size_t more = sizeof(AlignedMark) + alignment - 1;
    const size_t whole = size <= SIZE_MAX - more ? size + more : SIZE_MAX; // SIZE_MAX: more than any bank has
    char* block = static_cast<char*>(AllocInBank(bank, whole, file, line));
    if (!block) {
        return nullptr;
    }
    const uintptr_t start = reinterpret_cast<uintptr_t>(block);
    const uintptr_t place = (start + more) & ~static_cast<uintptr_t>(alignment - 1);
    const unsigned int distance = static_cast<unsigned int>(place - start);
    const AlignedMark mark = {distance, ~distance};
    char* memory = block + distance;
    memcpy(memory - sizeof(mark), &mark, sizeof(mark));
    return memory;
}

int FreeAlignedInBank(int bank, void* memory) noexcept
{
    if (!g_MemoryPtr) {
        return MEMERR_BLOCK;
    }
    char* block = static_cast<char*>(memory);
    if (memory) {
        AlignedMark mark;
        memcpy(&mark, block - sizeof(mark), sizeof(mark));
        if (mark.complement != ~mark.distance) {
            return MEMERR_BLOCK;
        }
        block -= mark.distance;
    }
    return g_MemoryPtr->free(bank, block);
}
