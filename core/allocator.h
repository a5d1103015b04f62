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
// A plain `new Unit` works as well; its block is tagged with the name of this file. Arrays, and objects made with
// `::new` in storage of one's own, are none of this class's business. Without a memory manager `new` answers null.
#pragma once

#include <stddef.h>

#pragma GCC visibility push(default)

// The two ends of Allocator<>: as alloc and free of the memory manager, and null or nothing where there is none.
void* AllocInBank(int bank, size_t size, const char* file, unsigned int line) noexcept;
void FreeInBank(int bank, void* block) noexcept;

template <int BANK>
class Allocator {
public:
    static void* operator new(size_t size) noexcept { return AllocInBank(BANK, size, "core/allocator", __LINE__); }
    static void* operator new(size_t size, const char* file, unsigned int line) noexcept
    {
        return AllocInBank(BANK, size, file, line);
    }

    static void operator delete(void* object) { FreeInBank(BANK, object); }
    static void operator delete(void* object, const char*, unsigned int) { FreeInBank(BANK, object); }
};

#pragma GCC visibility pop
