#include "core/memorymgr.h"

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
