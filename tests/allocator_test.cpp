// Classes that live in a bank, and a game whose manager is a static object: both are there before main is, and still
// there after it.
#include "game_memory.h"

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

TEST(Allocator, AddsNothingToItsClass)
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

TEST(Allocator, NamesItselfWhenTheCallerDoesNot)
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

TEST(Allocator, TakesAsMuchAsTheDerivedClassNeeds)
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

TEST(Allocator, DeletesNullForFree)
{
    delete static_cast<Unit*>(nullptr);
    EXPECT_EQ(s_game.units().freeCount, 0u);
}

TEST(Allocator, LeavesArraysAndPlacementAlone)
{
    Unit* units = new Unit[3];
    delete[] units;
    std::vector<Unit> more(10);
    alignas(Unit) unsigned char storage[sizeof(Unit)];
    ::new (storage) Unit(3);
    EXPECT_EQ(s_game.units().allocCount, 1u);
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

TEST_F(StaticManager, WritesThemWhenTheGameIsOutOfMemory)
{
    s_game.defineLocAllocCb(MEMLOC_DEFAULT, [](unsigned long) -> void* { return nullptr; });
    EXPECT_EXIT(
        s_game.alloc(1, 2000, "test", 1), testing::ExitedWithCode(255),
        "^allocator_test has run out of memory and must be\nterminated\\. Please ensure that there are not any\n"
        "unnecessary programs running before attempting\nto execute this application again\\.\n+"
        "onOutOfMemory\\(0\\)\nbase=1024\nunits=993\nlevel=1024\n$");
}

} // namespace
