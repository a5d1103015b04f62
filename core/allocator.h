// Classes that live in a bank.
//
// A class that derives from Allocator<BANK> is made in and deleted back to that bank of the memory manager:
//
//     class Unit : public Allocator<2> {
//         int hitPoints = 60;
//     };
//
//     Unit* unit = new ("game/unit", __LINE__) Unit;   // the block remembers who asked for it
//     delete unit;                                     // back to bank 2
//
// A plain `new Unit` works as well; its block is tagged with the name of this file. `new (storage) Unit` constructs in
// storage of the caller's, which no `delete` gives back. Arrays come from the global `new[]`. Without a memory manager
// `new` answers null.
//
// Alignment. A block begins 24 bytes behind its header, so even in a bank that begins at a round address it is a multiple
// of 8 and no more. From the second run on banks begin at any address (docs/surprises.md). A class that needs more than 8
// derives from AlignedAllocator<BANK>; its objects begin where they must in any bank:
//
//     struct alignas(16) Vec4 : AlignedAllocator<2> { float v[4]; };
//
// With Allocator<BANK> such a class does not compile with `new`. The compiler decides by the alignment that it takes for
// granted in memory from the global `new`, usually 16. The target core::core sets that to 8, with -faligned-new=8 or
// -fnew-alignment=8; a program that is built without that option compiles a class of alignment 16, and crashes.
#pragma once

#include <new>
#include <stddef.h>

#pragma GCC visibility push(default)

// The two ends of Allocator<>: as alloc and free of the memory manager, and null or nothing where there is none.
void* AllocInBank(int bank, size_t size, const char* file, unsigned int line) noexcept;
void FreeInBank(int bank, void* block) noexcept;

// The same for memory that begins at a multiple of alignment, a power of two. It lies in an ordinary block of the bank, which
// is alignment + 7 bytes larger than size; getSize, free and the like know that block and not the memory in it, so it
// goes back through FreeAlignedInBank alone. AllocAlignedInBank returns null also for an alignment that is no power of
// two.
//
// FreeAlignedInBank returns what free returns. It is MEMERR_BLOCK as well when memory did not come from
// AllocAlignedInBank, and without a manager. For null it calls free with null, which empties a linear bank.
void* AllocAlignedInBank(int bank, size_t size, size_t alignment, const char* file, unsigned int line) noexcept;
int FreeAlignedInBank(int bank, void* memory) noexcept;

template <int BANK>
class Allocator {
public:
    static void* operator new(size_t size) noexcept { return AllocInBank(BANK, size, "core/allocator", __LINE__); }
    static void* operator new(size_t size, const char* file, unsigned int line) noexcept
    {
        return AllocInBank(BANK, size, file, line);
    }
    static void* operator new(size_t, void* storage) noexcept { return storage; }

    // The compiler calls these two for a class that needs more alignment than a bank can promise. They refuse to be compiled.
    // Deleted functions would not do: g++ then calls operator new without the alignment.
    template <int USED = BANK>
    static void* operator new(size_t, std::align_val_t) noexcept
    {
        static_assert(USED != BANK, "no bank promises this class's alignment: derive it from AlignedAllocator");
        return nullptr;
    }
    template <int USED = BANK>
    static void* operator new(size_t size, std::align_val_t alignment, const char*, unsigned int) noexcept
    {
        return operator new<USED>(size, alignment);
    }

    static void operator delete(void* object) { FreeInBank(BANK, object); }

    // Called when a constructor throws.
    static void operator delete(void* object, const char*, unsigned int) { FreeInBank(BANK, object); }
    static void operator delete(void*, void*) {}
};

// The same for classes of any alignment. Each object's block is larger by what the alignment takes: 23 bytes up to an alignment
// of 16, and the alignment and 7 bytes above that.
template <int BANK>
class AlignedAllocator {
public:
    static void* operator new(size_t size) noexcept { return _alloc(size, sc_usual, "core/allocator", __LINE__); }
    static void* operator new(size_t size, std::align_val_t alignment) noexcept
    {
        return _alloc(size, alignment, "core/allocator", __LINE__);
    }
    static void* operator new(size_t size, const char* file, unsigned int line) noexcept
    {
        return _alloc(size, sc_usual, file, line);
    }
    static void* operator new(size_t size, std::align_val_t alignment, const char* file, unsigned int line) noexcept
    {
        return _alloc(size, alignment, file, line);
    }
    static void* operator new(size_t, void* storage) noexcept { return storage; }

    static void operator delete(void* object) { FreeAlignedInBank(BANK, object); }
    static void operator delete(void* object, std::align_val_t) { FreeAlignedInBank(BANK, object); }

    // Called when a constructor throws.
    static void operator delete(void* object, const char*, unsigned int) { FreeAlignedInBank(BANK, object); }
    static void operator delete(void* object, std::align_val_t, const char*, unsigned int)
    {
        FreeAlignedInBank(BANK, object);
    }
    static void operator delete(void*, void*) {}

private:
    // Where the compiler passes no alignment, the class needs this or less. It is the same with every compiler option, so
    // that all sources of a program agree.
    static constexpr std::align_val_t sc_usual{16};
    static_assert(__STDCPP_DEFAULT_NEW_ALIGNMENT__ <= 16,
                  "the compiler passes no alignment for classes that need more");

    static void* _alloc(size_t size, std::align_val_t alignment, const char* file, unsigned int line) noexcept
    {
        const size_t least = static_cast<size_t>(alignment < sc_usual ? sc_usual : alignment);
        return AllocAlignedInBank(BANK, size, least, file, line);
    }
};

#pragma GCC visibility pop
