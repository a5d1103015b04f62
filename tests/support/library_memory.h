// The ordinary memory that the library takes for itself. Where the locations have callbacks of a test's, that is what the
// indexes of banks and the tables behind headers take.
//
// malloc, calloc and free are the test program's here. malloc and calloc look at who asks. The sanitizers bring their own, which have to be in
// place: there WATCHES_LIBRARY_MEMORY isn't defined, and nobody looks.
#pragma once

#include <dlfcn.h>
#include <stddef.h>
#include <string.h>

struct LibraryMemory {
    static inline bool isWatched = false; // for as long as it is, what is taken is put down here
    static inline bool isEmpty = false;   // then there is nothing to take
    static inline int refused = -1;       // the number of a block, from 0, that is refused as if there were none
    static inline int givenBack = 0;      // blocks that were taken here and freed
    static inline size_t taken = 0;       // bytes
    static inline void* blocks[64];       // the first of them; null: refused
    static inline int blockCount = 0;

    static bool isLibrarys(const void* caller)
    {
        Dl_info where;
        return dladdr(caller, &where) && strstr(where.dli_fname, "/libcore.so");
    }

    static bool isRefused() { return isEmpty || blockCount == refused; }

    static void* note(void* block, size_t size)
    {
        taken += size;
        if (blockCount < 64) {
            blocks[blockCount++] = block;
        }
        return block;
    }
};

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define WATCHES_LIBRARY_MEMORY 1

extern "C" void* __libc_malloc(size_t size);
extern "C" void* __libc_calloc(size_t count, size_t size);
extern "C" void __libc_free(void* block);

extern "C" void* malloc(size_t size)
{
    if (!LibraryMemory::isWatched || !LibraryMemory::isLibrarys(__builtin_return_address(0))) {
        return __libc_malloc(size);
    }
    return LibraryMemory::note(LibraryMemory::isRefused() ? nullptr : __libc_malloc(size), size);
}

extern "C" void* calloc(size_t count, size_t size)
{
    if (!LibraryMemory::isWatched || !LibraryMemory::isLibrarys(__builtin_return_address(0))) {
        return __libc_calloc(count, size);
    }
    return LibraryMemory::note(LibraryMemory::isRefused() ? nullptr : __libc_calloc(count, size), count * size);
}

extern "C" void free(void* block)
{
    for (int i = 0; block && i < LibraryMemory::blockCount; ++i) {
        if (block == LibraryMemory::blocks[i]) {
            LibraryMemory::blocks[i] = nullptr;
            LibraryMemory::givenBack += 1;
        }
    }
    __libc_free(block);
}

#endif
