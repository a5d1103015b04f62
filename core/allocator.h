// Classes whose objects lie in a bank of the memory manager.
//
// `new` of a class that derives from Allocator<BANK> allocates from bank BANK, and `delete` frees to that bank:
//
//     class Unit : public Allocator<2> {
//         int hitPoints = 60;
//     };
//
//     Unit* unit = new ("game/unit", __LINE__) Unit;   // the tag of its block in reports of leaks
//     delete unit;                                     // frees the block in bank 2
//
//   new ("game/unit", 12) Unit     the block's tag is this text, a literal, and this line
//   new Unit                       the block's tag is "core/allocator" and a line of this header
//   new (storage) Unit             constructs in storage that the caller owns; do not `delete` the object
//   new Unit[10]                   the global `new[]`, not the bank
//
// Without a memory manager, `new` returns null and `delete` does nothing. With a manager, `new` never returns null:
// when there is no memory, the game ends (MemoryMgr::alloc). Any thread may use `new` and `delete`. In a linear bank,
// `delete` of one object empties the whole bank.
//
// Alignment. Headers lie a multiple of 32 bytes apart, and a block begins 24 bytes after the start of its header. So
// in a region that begins at a multiple of 32, each block's address is a multiple of 8 and not of 16. From the second
// run on, regions begin at any address (docs/surprises.md, "Memory"), and then 8 is not certain either. A class that
// needs an alignment above 8 derives from AlignedAllocator<BANK>. Its objects are aligned in every bank:
//
//     struct alignas(16) Vec4 : AlignedAllocator<2> { float v[4]; };
//
// If such a class derives from Allocator<BANK> instead, `new` of the class does not compile. This check needs a
// compiler option: -faligned-new=8 for g++, -fnew-alignment=8 for clang. The CMake target core::core sets it. Without
// the option the compiler assumes that `new` returns multiples of 16, so a class of alignment 16 compiles, and its
// first aligned store can crash.
#pragma once

#include <new>
#include <stddef.h>

#pragma GCC visibility push(default)

// ---- Calls, from any thread

// MemoryMgr::alloc and MemoryMgr::free of the manager in g_MemoryPtr, with their results and failures. Without a
// manager, AllocInBank returns null and FreeInBank does nothing.
void* AllocInBank(int bank, size_t size, const char* file, unsigned int line) noexcept;
void FreeInBank(int bank, void* block) noexcept;

// Returns memory of size bytes. Its address is a multiple of alignment, which must be a power of two. The memory lies
// in an ordinary block of the bank of size + alignment + 7 bytes. Returns null where alloc returns null, without a
// manager, and for an alignment that is not a power of two.
//
//   +--------+---------------------------------------------+
//   | header | unused | mark, 8 bytes | memory             |
//   +--------+---------------------------------------------+
//   24 bytes ^ the bank's block       ^ the returned address
//
// Free it with FreeAlignedInBank only. MemoryMgr::free and MemoryMgr::getSize accept the bank's block, not the
// memory.
//
// FreeAlignedInBank returns what MemoryMgr::free returns. It also returns MEMERR_BLOCK, and frees nothing, when
// memory did not come from AllocAlignedInBank, and without a manager. For null it calls MemoryMgr::free with null,
// which empties a linear bank.
void* AllocAlignedInBank(int bank, size_t size, size_t alignment, const char* file, unsigned int line) noexcept;
int FreeAlignedInBank(int bank, void* memory) noexcept;

// ---- Base classes

template <int BANK>
class Allocator {
public:
    static void* operator new(size_t size) noexcept { return AllocInBank(BANK, size, "core/allocator", __LINE__); }
    static void* operator new(size_t size, const char* file, unsigned int line) noexcept
    {
        return AllocInBank(BANK, size, file, line);
    }
    static void* operator new(size_t, void* storage) noexcept { return storage; }

    // For a class that needs more alignment than a bank promises, the compiler chooses one of the next two functions.
    // It then reports the text of the static_assert as an error. If these functions were deleted, g++ would call an
    // operator new without alignment and report no error.
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

    // The compiler calls these when a constructor throws.
    static void operator delete(void* object, const char*, unsigned int) { FreeInBank(BANK, object); }
    static void operator delete(void*, void*) {}
};

// Like Allocator, for classes of any alignment. Each object's block is larger than the object: by 23 bytes for an
// alignment of 16 or less, by the alignment and 7 bytes for a larger one.
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

    // The compiler calls these when a constructor throws.
    static void operator delete(void* object, const char*, unsigned int) { FreeAlignedInBank(BANK, object); }
    static void operator delete(void* object, std::align_val_t, const char*, unsigned int)
    {
        FreeAlignedInBank(BANK, object);
    }
    static void operator delete(void*, void*) {}

private:
    // The alignment of objects for which the compiler passes no alignment: their class needs 16 or less. The value is
    // the same with and without the compiler option above, so sources that were compiled both ways work together.
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
