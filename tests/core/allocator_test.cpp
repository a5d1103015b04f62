// Classes whose objects live in a bank, and a game whose manager is a static object: the manager exists before main
// begins and still exists after main ends.
#include "tests/support/game_memory.h"

#include <stdint.h>
#include <stdlib.h>
#include <type_traits>
#include <vector>

namespace {

class Game : public GameMemory {
public:
    Game()
    {
        defineHeap("base", 1024);
        defineHeap("units", 1024);
        defineLinear("level", 1024);
        initialize();
    }

    const MemoryBank_s& base() const { return banks[0]; }
    const MemoryBank_s& units() const { return banks[1]; }
    const MemoryBank_s& level() const { return banks[2]; }
};

struct Unit : Allocator<1> {
    explicit Unit(int health = 100) : m_health(health) {}
    int m_health;
};

struct Tree : Allocator<2> {
    int m_age = 0;
};

struct Effect : Allocator<-1> {
    int m_frame = 0;
};

// Made before the manager and therefore gone after it: shows the bank-size file that was left.
struct Epilogue {
    std::string path;
    ~Epilogue() { fprintf(stderr, "%s", path.empty() ? "" : readFile(path).c_str()); }
};

Epilogue s_epilogue;
Game s_game;
Unit* s_early = new Unit(1); // before main
Unit s_static(2);            // in no bank at all

TEST(Allocator, WorksFromStaticConstructorsOnward)
{
    EXPECT_EQ(g_MemoryPtr, &s_game);
    EXPECT_EQ(s_early->m_health, 1);
    EXPECT_EQ(s_static.m_health, 2);
    EXPECT_EQ(s_game.units().allocCount, 1u);
    EXPECT_EQ(reinterpret_cast<char*>(s_early), s_game.units().base + 24);
    delete s_early;
    EXPECT_EQ(s_game.check(1, true), 0);
}

TEST(Allocator, AddsNoBytesToItsClass)
{
    static_assert(std::is_empty<Allocator<0>>::value, "no fields");
    static_assert(!std::is_polymorphic<Allocator<0>>::value, "no virtual functions");
    static_assert(sizeof(Unit) == sizeof(int), "nor does a derived class grow");
}

TEST(Allocator, MakesAndDeletesInItsBank)
{
    Unit* unit = new Unit(50);
    EXPECT_EQ(unit->m_health, 50);
    EXPECT_EQ(s_game.units().usedNodeCount, 2u);
    EXPECT_EQ(s_game.units().bytesInUse, 64u);
    EXPECT_EQ(s_game.getSize(1, unit), 8u);
    delete unit;
    EXPECT_EQ(s_game.units().usedNodeCount, 1u);
    EXPECT_EQ(s_game.units().freeCount, 1u);
    EXPECT_EQ(s_game.base().allocCount, 0u);
}

TEST(Allocator, IsTheSourceOfABlockWhenTheCallerNamesNone)
{
    Unit* unit = new Unit;
    EXPECT_STREQ(s_game.units().usedList->file, "core/allocator");
    EXPECT_NE(lineOf(s_game.units().usedList), 0u);
    delete unit;
}

TEST(Allocator, RecordsTheCaller)
{
    static const char sc_file[] = "game/unit";
    Unit* unit = new (sc_file, 4711) Unit(7);
    EXPECT_EQ(unit->m_health, 7);
    EXPECT_EQ(s_game.units().usedList->file, sc_file);
    EXPECT_EQ(lineOf(s_game.units().usedList), 4711u);
    delete unit;
    EXPECT_EQ(s_game.units().freeCount, 1u);
}

TEST(Allocator, AllocatesTheSizeOfTheDerivedClass)
{
    struct Hero : Unit {
        char m_name[100] = "a hero";
    };
    Hero* hero = new Hero;
    EXPECT_GE(s_game.getSize(1, hero), sizeof(Hero));
    EXPECT_EQ(sizeOf(s_game.units().usedList), 160u);
    delete hero;
}

TEST(Allocator, ServesAnyBank)
{
    Tree* tree = new Tree;
    EXPECT_EQ(reinterpret_cast<char*>(tree), s_game.level().base);
    delete tree; // empties the whole level
    EXPECT_EQ(s_game.level().freeCount, 1u);
    EXPECT_EQ(s_game.level().bytesInUse, 0u);

    Effect* effect = new Effect;
    EXPECT_EQ(s_game.systemBank.extNodeCount, 1u);
    delete effect;
    EXPECT_EQ(s_game.systemBank.freeCount, 1u);
}

TEST(Allocator, DeletesThroughAVirtualDestructor)
{
    struct Base : Allocator<1> {
        virtual ~Base() {}
    };
    struct Derived : Base {
        char m_more[200];
    };
    Base* object = new Derived;
    EXPECT_EQ(s_game.units().bytesInUse, 32u + 256u);
    delete object;
    EXPECT_EQ(s_game.units().bytesInUse, 32u);
}

TEST(Allocator, DeletingNullDoesNothing)
{
    delete static_cast<Unit*>(nullptr);
    EXPECT_EQ(s_game.units().freeCount, 0u);
}

TEST(Allocator, LeavesArraysToTheGlobalNew)
{
    Unit* units = new Unit[3];
    delete[] units;
    std::vector<Unit> more(10);
    EXPECT_EQ(s_game.units().allocCount, 1u);
}

TEST(Allocator, ConstructsInTheCallersStorage)
{
    alignas(Unit) unsigned char storage[sizeof(Unit)];
    Unit* unit = new (storage) Unit(3);
    EXPECT_EQ(static_cast<void*>(unit), storage);
    EXPECT_EQ(unit->m_health, 3);
    unit = ::new (storage) Unit(4);
    EXPECT_EQ(unit->m_health, 4);

    alignas(Mutex) unsigned char place[sizeof(Mutex)];
    Mutex* mutex = new (place) Mutex;
    mutex->~Mutex();
    EXPECT_EQ(s_game.units().allocCount, 1u);
    EXPECT_EQ(s_game.base().allocCount, 0u);
}

// core itself throws no exceptions; a game's constructor may.
template <typename Base>
struct Thrower : Base {
    Thrower() { throw 1; }
};

TEST(Allocator, AConstructorThatThrowsLeavesNoBlock)
{
    EXPECT_THROW(new Thrower<Unit>, int);
    EXPECT_THROW(new ("game/unit", 12) Thrower<Unit>, int);
    EXPECT_EQ(s_game.units().freeCount, 2u);
    EXPECT_EQ(s_game.units().usedNodeCount, 1u);
    alignas(Unit) unsigned char storage[sizeof(Unit)]; // the caller's, so it is not freed
    EXPECT_THROW(new (storage) Thrower<Unit>, int);
    EXPECT_EQ(s_game.units().freeCount, 2u);
}

TEST(Allocator, DeletesWhatWasConstructedInABlockOfItsBank)
{
    Unit* unit = new (s_game.alloc(1, sizeof(Unit), "game/unit", 12)) Unit(3);
    EXPECT_EQ(lineOf(s_game.units().usedList), 12u);
    delete unit;
    EXPECT_EQ(s_game.units().freeCount, 1u);
    EXPECT_EQ(s_game.units().usedNodeCount, 1u);
}

// A game whose second bank begins at an odd address, as banks do from the second run on.
class OddGame : public GameMemory {
public:
    OddGame()
    {
        Source::serve(*this, MEMLOC_CUSTOM);
        defineBank(MEMLOC_CUSTOM, MEMBANK_HEAP, "first", 1024);
        defineBank(MEMLOC_CUSTOM, MEMBANK_HEAP, "heap", 1 << 16);
        defineBank(MEMLOC_CUSTOM, MEMBANK_LINEAR, "linear", 1 << 16);
        defineBank(MEMLOC_CUSTOM, MEMBANK_HEAP, "too small", 32);
        writeFile(bankSizePath, "first=1001\n");
        initialize();
        EXPECT_EQ(reinterpret_cast<uintptr_t>(banks[1].base) % 2, 1u);
    }
    ~OddGame() override { g_MemoryPtr = &s_game; }
};

bool isAligned(const void* memory, size_t alignment)
{
    return reinterpret_cast<uintptr_t>(memory) % alignment == 0;
}

TEST(AlignedMemory, BeginsAtAMultipleOfItsAlignmentInAnyBank)
{
    OddGame game;
    for (const int bank : {1, 2, 3, -1}) {
        for (size_t alignment = 1; alignment <= 4096; alignment *= 2) {
            for (const size_t size : {1, 7, 16, 100}) {
                char* memory = static_cast<char*>(AllocAlignedInBank(bank, size, alignment, "game/mesh", 7));
                EXPECT_TRUE(isAligned(memory, alignment)) << bank << " " << alignment;
                memset(memory, 0xff, size);
                EXPECT_EQ(FreeAlignedInBank(bank, memory), MEMERR_NONE) << bank << " " << alignment;
            }
        }
    }
    EXPECT_EQ(game.check(1, true), 0);
    EXPECT_EQ(game.banks[2].freeCount, 4 * 13u);
    EXPECT_EQ(game.banks[3].extList, nullptr);
    EXPECT_EQ(game.systemBank.extList, nullptr);
}

TEST(AlignedMemory, LiesInAnOrdinaryBlockThatIsLargerByTheAlignmentAnd7)
{
    OddGame game;
    void* memory = AllocAlignedInBank(1, 100, 16, "game/mesh", 7);
    const MemoryHeapNode_s* node = game.banks[1].usedList;
    EXPECT_STREQ(node->file, "game/mesh");
    EXPECT_EQ(lineOf(node), 7u);
    EXPECT_EQ(sizeOf(node), 160u); // 100, 23 and 24, rounded up
    FreeAlignedInBank(1, memory);
    memory = AllocAlignedInBank(1, 112, 16, "game/mesh", 7);
    EXPECT_EQ(sizeOf(game.banks[1].usedList), 160u); // 112, 23 and 24: one byte more would not fit
    FreeAlignedInBank(1, memory);
    memory = AllocAlignedInBank(2, 100, 128, "game/mesh", 7);
    EXPECT_EQ(game.banks[2].bytesInUse, 256u); // 100 and 135
    FreeAlignedInBank(2, memory);
    EXPECT_EQ(game.banks[2].bytesInUse, 0u);
}

TEST(AlignedMemory, FreeRefusesAFreedBlockAndAPointerThatIsNoBlock)
{
    OddGame game;
    void* memory = AllocAlignedInBank(1, 100, 16, "game/mesh", 7);
    void* block = game.alloc(1, 100, "game/mesh", 8);
    EXPECT_EQ(FreeAlignedInBank(1, memory), MEMERR_NONE);
    EXPECT_EQ(FreeAlignedInBank(1, memory), MEMERR_BLOCK);
    EXPECT_EQ(FreeAlignedInBank(1, block), MEMERR_BLOCK);
    EXPECT_EQ(FreeAlignedInBank(2, block), MEMERR_BLOCK);
    EXPECT_EQ(FreeAlignedInBank(32, nullptr), MEMERR_BLOCK); // no bank
    EXPECT_EQ(FreeAlignedInBank(1, nullptr), MEMERR_NONE);
    EXPECT_EQ(game.banks[1].freeCount, 1u);
    EXPECT_EQ(game.banks[2].freeCount, 0u);
    EXPECT_EQ(FreeAlignedInBank(2, nullptr), MEMERR_NONE); // empties a linear bank, as free does
    EXPECT_EQ(game.banks[2].freeCount, 1u);
    EXPECT_EQ(game.free(1, block), MEMERR_NONE);
    EXPECT_EQ(game.check(1, true), MEMERR_NONE);
}

TEST(AlignedMemory, Of0BytesOrForAnAlignmentThatIsNoPowerOf2IsNull)
{
    OddGame game;
    EXPECT_EQ(AllocAlignedInBank(1, 0, 16, "game/mesh", 7), nullptr);
    EXPECT_EQ(AllocAlignedInBank(32, 1, 16, "game/mesh", 7), nullptr); // no bank
    for (const size_t alignment : {size_t(0), size_t(3), size_t(24), SIZE_MAX}) {
        EXPECT_EQ(AllocAlignedInBank(1, 100, alignment, "game/mesh", 7), nullptr) << alignment;
    }
    EXPECT_EQ(game.banks[1].allocCount, 0u);
}

TEST(AlignedMemory, WithoutAManagerIsNullAndFreeingItDoesNothing)
{
    void* memory = AllocAlignedInBank(1, 100, 16, "game/mesh", 7);
    g_MemoryPtr = nullptr;
    EXPECT_EQ(AllocAlignedInBank(1, 100, 16, "game/mesh", 7), nullptr);
    EXPECT_EQ(FreeAlignedInBank(1, memory), MEMERR_BLOCK);
    g_MemoryPtr = &s_game;
    EXPECT_EQ(FreeAlignedInBank(1, memory), MEMERR_NONE);
}

struct alignas(16) Vec4 : AlignedAllocator<1> {
    explicit Vec4(float first = 0) : v{first, 0, 0, 0} {}
    float v[4];
};

struct alignas(64) Line : AlignedAllocator<1> {
    char bytes[64] = {};
};

struct Plain : AlignedAllocator<1> {
    char byte = 0;
};

struct Shape : AlignedAllocator<1> {
    virtual ~Shape() {}
};

struct alignas(32) Box : Shape {
    float corners[8] = {};
};

// Makes objects of a class in the odd bank, and blocks of other sizes between them.
template <typename T>
void expectAligned(OddGame& game)
{
    for (unsigned int i = 0; i < 8; ++i) {
        void* other = game.alloc(1, 1 + 40 * i, "test", 1);
        T* object = new T;
        EXPECT_TRUE(isAligned(object, alignof(T)));
        EXPECT_STREQ(game.banks[1].usedList->file, "core/allocator");
        T* tagged = new ("game/vec", 4711) T;
        EXPECT_TRUE(isAligned(tagged, alignof(T)));
        EXPECT_EQ(lineOf(game.banks[1].usedList), 4711u);
        delete object;
        delete tagged;
        game.free(1, other);
    }
    EXPECT_EQ(game.banks[1].allocCount, game.banks[1].freeCount);
    EXPECT_EQ(game.check(1, true), MEMERR_NONE);
}

TEST(AlignedAllocator, MakesObjectsWhereTheirClassNeedsThem)
{
    OddGame game;
    expectAligned<Plain>(game);
    expectAligned<Vec4>(game);
    expectAligned<Line>(game);
    expectAligned<Box>(game);
    static_assert(std::is_empty<AlignedAllocator<1>>::value, "no fields");
    static_assert(!std::is_polymorphic<AlignedAllocator<1>>::value, "no virtual functions");
    static_assert(sizeof(Vec4) == 16, "nor does a derived class grow");
}

TEST(AlignedAllocator, AConstructorThatThrowsLeavesNoBlock)
{
    OddGame game;
    EXPECT_THROW(new Thrower<Vec4>, int);
    EXPECT_THROW(new ("game/vec", 12) Thrower<Vec4>, int);
    EXPECT_EQ(game.banks[1].freeCount, 2u);
    EXPECT_EQ(game.check(1, true), MEMERR_NONE);
    alignas(Vec4) unsigned char storage[sizeof(Vec4)];
    EXPECT_THROW(new (storage) Thrower<Vec4>, int);
}

TEST(AlignedAllocator, AlignsToAtLeast16Bytes)
{
    OddGame game;
    void* block = Vec4::operator new(100, std::align_val_t(8));
    EXPECT_TRUE(isAligned(block, 16));
    Vec4::operator delete(block);
}

TEST(AlignedAllocator, DeletesThroughAVirtualDestructor)
{
    OddGame game;
    Shape* shape = new Box;
    EXPECT_TRUE(isAligned(shape, 32));
    delete shape;
    EXPECT_EQ(game.check(1, true), MEMERR_NONE);
}

TEST(AlignedAllocator, ConstructsInTheCallersStorageAndLeavesArraysToTheGlobalNew)
{
    OddGame game;
    alignas(Vec4) unsigned char storage[sizeof(Vec4)];
    Vec4* vector = new (storage) Vec4(3);
    EXPECT_EQ(static_cast<void*>(vector), storage);
    EXPECT_EQ(vector->v[0], 3);
    Vec4* vectors = new Vec4[3];
    EXPECT_TRUE(isAligned(vectors, 16));
    delete[] vectors;
    EXPECT_EQ(game.banks[1].allocCount, 0u);
}

TEST(Allocator, AnswersNullWithoutAManager)
{
    g_MemoryPtr = nullptr;
    EXPECT_EQ(new Unit, nullptr); // and makes no object there
    EXPECT_EQ(new ("game/unit", 1) Unit, nullptr);
    delete s_early; // nobody to give it back to
    g_MemoryPtr = &s_game;
    EXPECT_EQ(s_game.units().allocCount, 1u);
    EXPECT_EQ(s_game.units().freeCount, 0u);
}

class StaticManager : public testing::Test {
protected:
    void SetUp() override
    {
        unsetenv("DISPLAY"); // alerts go to the standard error stream
        unsetenv("WAYLAND_DISPLAY");
        s_epilogue.path = s_game.bankSizePath;
    }
};

TEST_F(StaticManager, WritesItsBankSizesWhenTheProgramEnds)
{
    EXPECT_EXIT(exit(0), testing::ExitedWithCode(0), "^base=1024\nunits=993\nlevel=1024\n$");
}

TEST_F(StaticManager, RunsOutOfMemoryForAlignedMemoryThatNoBankCanHold)
{
    EXPECT_EXIT(AllocAlignedInBank(1, SIZE_MAX - 20, 16, "test", 1), testing::ExitedWithCode(255), "onOutOfMemory");
    EXPECT_EXIT(AllocAlignedInBank(1, 1, SIZE_MAX / 2 + 1, "test", 1), testing::ExitedWithCode(255), "onOutOfMemory");
}

TEST_F(StaticManager, WritesItsBankSizesWhenTheGameIsOutOfMemory)
{
    s_game.defineLocAllocCb(MEMLOC_DEFAULT, [](unsigned long) -> void* { return nullptr; });
    EXPECT_EXIT(
        s_game.alloc(1, 2000, "test", 1), testing::ExitedWithCode(255),
        "^allocator_test has run out of memory and must be\nterminated\\. Please ensure that there are not any\n"
        "unnecessary programs running before attempting\nto execute this application again\\.\n+"
        "onOutOfMemory\\(0\\)\nbase=1024\nunits=993\nlevel=1024\n$");
}

} // namespace
