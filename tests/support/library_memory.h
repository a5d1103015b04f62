// The ordinary memory that the library takes for itself. Where the locations have callbacks of a test's, that is what the
// indexes of banks and the tables behind headers take.
//
// malloc and calloc are the test program's here, and look at who asks. The sanitizers bring their own, which have to be in
// place: there WATCHES_LIBRARY_MEMORY isn't defined, and nobody looks.
#pragma once

#include <dlfcn.h>
#include <stddef.h>
#include <string.h>

struct LibraryMemory {
    static inline bool isWatched = false; // for as long as it is, what is taken is put down here
    static inline bool isEmpty = false;   // then there is nothing to take
    static inline size_t taken = 0;       // bytes
    static inline void* blocks[64];       // the first of them; null: refused
    static inline int blockCount = 0;

    static bool isLibrarys(const void* caller)
    {
        Dl_info where;
        return dladdr(caller, &where) && strstr(where.dli_fname, "/libcore.so");
    }

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

extern "C" void* malloc(size_t size)
{
    if (!LibraryMemory::isWatched || !LibraryMemory::isLibrarys(__builtin_return_address(0))) {
        return __libc_malloc(size);
    }
    return LibraryMemory::note(LibraryMemory::isEmpty ? nullptr : __libc_malloc(size), size);
}

extern "C" void* calloc(size_t count, size_t size)
{
    if (!LibraryMemory::isWatched || !LibraryMemory::isLibrarys(__builtin_return_address(0))) {
        return __libc_calloc(count, size);
    }
    return LibraryMemory::note(LibraryMemory::isEmpty ? nullptr : __libc_calloc(count, size), count * size);
}

#endif
