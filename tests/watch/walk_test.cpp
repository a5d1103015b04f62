// The walk over a memory manager, in the test's own process.
#include "tests/watch/own_snapshot.h"

// The games end with fallback blocks in use. They stay allocated, and that is no leak to report.
extern "C" __attribute__((used)) const char* __asan_default_options()
{
    return "detect_leaks=0";
}

// A game with a heap bank, an overflow and a linear bank. The text below is the same on every host.
static void playGame(GameMemory& memory)
{
    memory.defineHeap("core", 1024);
    memory.defineHeap("level", 256);
    memory.defineLinear("frame", 512);
    memory.initialize();
    memory.alloc(0, 100, "game/mesh.cpp", 41);
    void* map = memory.alloc(0, 40, "game/map.cpp", 7);
    memory.alloc(0, 8, "game/mesh.cpp", 42);
    memory.free(0, map);
    memory.alloc(1, 500, "game/sound.cpp", 34);
    memory.alloc(1, 1000, "game/sound.cpp", 35);
    memory.alloc(2, 33, "game/frame.cpp", 1);
    memory.alloc(-1, 10, "game/log.cpp", 3);
}

static const char sc_textOfGame[] =
    "core-memory snapshot 1\n"
    "game\n"
    "bank bank=0 name=\"core\" type=0 location=0 region=1 size=1024 in-use=192 peak=288 allocs=3 frees=1 "
    "used-nodes=2 "
    "free-nodes=2 fallbacks-made=0\n"
    "bank bank=1 name=\"level\" type=0 location=0 region=1 size=256 in-use=1600 peak=1600 allocs=2 frees=0 "
    "used-nodes=0 free-nodes=1 fallbacks-made=2\n"
    "bank bank=2 name=\"frame\" type=1 location=0 region=1 size=512 in-use=64 peak=64 allocs=1 frees=0 used-nodes=0 "
    "free-nodes=1 fallbacks-made=0 cursor=64\n"
    "bank bank=-1 type=0 location=0 region=0 size=0 in-use=64 peak=64 allocs=1 frees=0 used-nodes=0 free-nodes=0 "
    "fallbacks-made=1\n"
    "used bank=0 offset=0 size=128 place=\"game/mesh.cpp:41\"\n"
    "used bank=0 offset=224 size=64 place=\"game/mesh.cpp:42\"\n"
    "free bank=0 offset=128 size=96\n"
    "free bank=0 offset=288 size=736\n"
    "free bank=1 offset=0 size=256\n"
    "fallback bank=1 number=1 size=544 place=\"game/sound.cpp:34\"\n"
    "fallback bank=1 number=2 size=1056 place=\"game/sound.cpp:35\"\n"
    "fallback bank=-1 number=1 size=64 place=\"game/log.cpp:3\"\n"
    "end\n";

TEST(Walk, GivesTheSameTextOnEveryHost)
{
    GameMemory memory;
    playGame(memory);
    EXPECT_EQ(watch::writeSnapshot(takeOwnSnapshot(memory)), sc_textOfGame);
}

static watch::Snapshot takeFromFile(const std::string& name)
{
    const std::string bytes = readFile(IMAGES "/" + name);
    const unsigned char layout = static_cast<unsigned char>(bytes.at(0));
    const watch::BufferMemory memory({{0x1000, {bytes.begin() + 1, bytes.end()}}},
                                     {layout & 2 ? 8u : 4u, (layout & 1) != 0});
    const watch::LinkTables tables = watch::findLinkTables(memory, {{0x1000, 0x1000 + bytes.size() - 1}});
    watch::Snapshot snapshot;
    std::string error;
    EXPECT_TRUE(watch::takeSnapshot(memory, tables, 0x1000, &snapshot, &error)) << name << ": " << error;
    return snapshot;
}

TEST(Walk, GivesTheSameTextForEachWordSizeAndByteOrder)
{
    const watch::Snapshot snapshot = takeFromFile("le64");
    EXPECT_EQ(snapshot.banks[0].blocks.size(), 4u);
    EXPECT_EQ(snapshot.banks[0].fallbacks.size(), 1u);
    EXPECT_EQ(snapshot.placeOf(snapshot.banks[0].blocks[2]), "game/map.cpp:7");
    EXPECT_TRUE(snapshot.damages.empty());
    const std::string text = watch::writeSnapshot(snapshot);
    for (const char* other : {"le32", "be32", "be64"}) {
        EXPECT_EQ(watch::writeSnapshot(takeFromFile(other)), text) << other;
    }
}

TEST(Walk, ReadsAGameThatHasNotInitializedItsBanks)
{
    GameMemory memory;
    memory.defineHeap("core", 1024);
    memory.alloc(-1, 10, "game/early.cpp", 3);
    const watch::Snapshot snapshot = takeOwnSnapshot(memory);
    EXPECT_FALSE(snapshot.banks[0].hasRegion);
    EXPECT_TRUE(snapshot.damages.empty());
    EXPECT_EQ(snapshot.placeOf(snapshot.banks[1].fallbacks.at(0)), "game/early.cpp:3");
}

// ---- Damage. Each case damages one thing in the game of playGame.

class WalkOfDamage : public testing::Test {
protected:
    WalkOfDamage() { playGame(memory); }

    // "kind offset: what" of each damage, a line each.
    std::string damages() const
    {
        std::string text;
        for (const watch::Damage& damage : takeOwnSnapshot(memory).damages) {
            const std::string at = damage.offset == watch::sc_noNumber ? "" : " " + std::to_string(damage.offset);
            text += watch::nameOf(damage.kind) + at + ": " + damage.what + "\n";
        }
        return text;
    }

    char* blockAt(unsigned int offset) { return memory.banks[0].base + offset + 24; }

    GameMemory memory;
};

TEST_F(WalkOfDamage, IsNothingInASoundGame)
{
    EXPECT_EQ(damages(), "");
}

TEST_F(WalkOfDamage, OfAFreeNodesMarkNamesItsNeighbours)
{
    setHeaderWord(blockAt(128), 0, 0x41414141);
    const watch::Snapshot snapshot = takeOwnSnapshot(memory);
    ASSERT_FALSE(snapshot.damages.empty());
    const watch::Damage& damage = snapshot.damages[0];
    EXPECT_EQ(damage.kind, watch::DAMAGE_MAGIC);
    EXPECT_EQ(damage.offset, 128u);
    EXPECT_EQ(damage.what,
              "the header is neither of a used nor of a free node: it begins with the bytes 41 41 41 41");
    EXPECT_EQ(damage.before, "game/mesh.cpp:41, 128 bytes at 0");
    EXPECT_EQ(damage.after, "game/mesh.cpp:42, 64 bytes at 224");
    EXPECT_EQ(snapshot.banks[0].blocks[1].state, watch::BLOCK_DAMAGED);
    EXPECT_EQ(snapshot.banks[0].blocks[1].size, 96u);
}

TEST_F(WalkOfDamage, OfAUsedBlocksMarkStillNamesTheBlock)
{
    setHeaderWord(blockAt(224), 0, 0);
    const watch::Snapshot snapshot = takeOwnSnapshot(memory);
    ASSERT_FALSE(snapshot.damages.empty());
    EXPECT_EQ(snapshot.damages[0].block, "game/mesh.cpp:42");
}

TEST_F(WalkOfDamage, OfASizeDoesNotHideTheNodesBehindIt)
{
    setHeaderWord(blockAt(0), 1, 4096);
    EXPECT_EQ(damages(), "size 0: the header's size, 4096, can't be right\n");
    setHeaderWord(blockAt(0), 1, 160); // into the middle of the next node
    EXPECT_EQ(damages(), "size 0: the header's size, 160, can't be right\n");
    setHeaderWord(blockAt(0), 1, 0);
    EXPECT_EQ(damages(), "size 0: the header's size, 0, can't be right\n");
    EXPECT_EQ(takeOwnSnapshot(memory).banks[0].blocks.size(), 4u);
}

TEST_F(WalkOfDamage, OfALinkShowsWhereTheListBreaks)
{
    setHeaderWord(blockAt(224), 4, 0x7ffffff0);
    EXPECT_EQ(damages(), "link 224: the used list leads out of the bank\n"
                         "list 0: 1 used node is not on the used list\n");
}

TEST_F(WalkOfDamage, OfAListThatIsACircleEndsTheWalk)
{
    memory.banks[0].freeList->next = memory.banks[0].freeList;
    EXPECT_EQ(damages(), "link 128: the free list leads back to offset 128\n"
                         "list 288: 1 free node is not on the free list\n");
}

TEST_F(WalkOfDamage, OfTheBanksRecordIsTold)
{
    memory.banks[0].usedNodeCount = 7;
    EXPECT_EQ(damages(), "counter: the bank counts 7 used nodes and has 2\n");
    memory.banks[0].usedNodeCount = 2;
    memory.banks[0].bytesInUse = 100;
    EXPECT_EQ(damages(), "counter: the bank counts 100 bytes in use, and its blocks have 192\n");
    memory.banks[0].bytesInUse = 192;
    memory.banks[0].location = MEMLOC_TOO_LOW;
    EXPECT_EQ(damages(), "bank: the bank's location is 4294967295, which does not exist\n");
    memory.banks[0].location = MEMLOC_DEFAULT;
    char* const cursor = memory.banks[2].cursor;
    memory.banks[2].cursor -= 1000;
    EXPECT_EQ(damages(), "bank: the cursor of the linear bank lies outside its region\n");
    memory.banks[2].cursor = cursor;
}

TEST_F(WalkOfDamage, OfAPointerToNowhereIsTold)
{
    char* const base = memory.banks[0].base;
    memory.banks[0].base = reinterpret_cast<char*>(16);
    EXPECT_EQ(damages(), "size 0: the memory of the bank can't be read here\n"
                         "link: the used list leads out of the bank\n"
                         "link: the free list leads out of the bank\n");
    memory.banks[0].base = base;
    MemoryHeapNode_s* const list = memory.banks[1].extList;
    memory.banks[1].extList = reinterpret_cast<MemoryHeapNode_s*>(16);
    EXPECT_EQ(damages(), "fallback: the list of fallback blocks leads to something that is no fallback block\n");
    memory.banks[1].extList = list;
}

TEST_F(WalkOfDamage, OfAFallbackBlockTellsItsNumber)
{
    MemoryHeapNode_s* const newest = memory.banks[1].extList;
    MemoryHeapNode_s* const oldest = newest->next;
    setHeaderWord(oldest + 1, 0, 0);
    const watch::Snapshot snapshot = takeOwnSnapshot(memory);
    ASSERT_EQ(snapshot.damages.size(), 1u);
    EXPECT_EQ(snapshot.damages[0].kind, watch::DAMAGE_FALLBACK);
    EXPECT_EQ(snapshot.damages[0].what, "the header of a fallback block begins with the bytes 00 00 00 00");
    EXPECT_EQ(snapshot.damages[0].block, "game/sound.cpp:34");
    EXPECT_EQ(snapshot.damages[0].fallback, 1u);
    setHeaderWord(oldest + 1, 0, 0xfeedface);
}

// The newest block is the first on the list. The blocks after it are found all the same.
TEST_F(WalkOfDamage, OfTheNewestFallbackBlockNamesItAndGoesOn)
{
    MemoryHeapNode_s* const newest = memory.banks[1].extList;
    const unsigned int size = headerWord(newest + 1, 1);
    static const struct {
        int word;
        unsigned int value;
        const char* what;
        unsigned int found; // fallback blocks
    } sc_cases[] = {
        {0, 0x01020304, "the header of a fallback block begins with the bytes", 2},
        {1, 1056, "the size of a fallback block lacks its mark", 2},
        {5, 0x7ffffff3, "the links of a fallback block", 1},
    };
    for (const auto& c : sc_cases) {
        const unsigned int before = headerWord(newest + 1, c.word);
        setHeaderWord(newest + 1, c.word, c.value);
        const watch::Snapshot snapshot = takeOwnSnapshot(memory);
        setHeaderWord(newest + 1, c.word, before);
        ASSERT_EQ(snapshot.damages.size(), 1u) << c.what;
        EXPECT_EQ(snapshot.damages[0].what.substr(0, strlen(c.what)), c.what);
        EXPECT_EQ(snapshot.damages[0].block, "game/sound.cpp:35");
        EXPECT_EQ(snapshot.damages[0].fallback, c.found);
        EXPECT_EQ(snapshot.banks[1].fallbacks.size(), c.found);
    }
    EXPECT_EQ(size, 0x80000000u | 1056);
}

TEST_F(WalkOfDamage, OfAFallbackBlocksSourceNameIsTold)
{
    MemoryHeapNode_s* const newest = memory.banks[1].extList;
    const unsigned int name = headerWord(newest + 1, 2);
    setHeaderWord(newest + 1, 2, 0x7fffff00);
    EXPECT_EQ(damages(), "name: the block's source name can't be read\n");
    setHeaderWord(newest + 1, 2, name);
}

// In a 64-bit game, the lowest bit of a link means an entry in the table of fallback links. The entry here holds null, as
// the link of the last node does.
TEST_F(WalkOfDamage, OfANodesLinkWithTheBitOfAFallbackBlocksLinkIsTold)
{
    if (sizeof(void*) == 8) {
        setHeaderWord(blockAt(0), 4, 1);
        EXPECT_EQ(damages(), "link 0: the used list leads to a block that is not in the bank\n");
    }
}

TEST(WalkOfABank, ReadsThisBankAloneAndRefusesABankThatDoesNotExist)
{
    GameMemory memory;
    playGame(memory);
    const watch::OwnMemory own;
    const watch::LinkTables tables = watch::findLinkTables(own, watch::ownWritableMemory());
    const uint64_t manager = watch::addressOf(&memory);
    std::string error;
    watch::Snapshot snapshot;
    ASSERT_TRUE(watch::takeBank(own, tables, manager, 1, &snapshot, &error)) << error;
    ASSERT_EQ(snapshot.banks.size(), 1u);
    EXPECT_EQ(snapshot.banks[0].name, "level");
    EXPECT_EQ(snapshot.placeOf(snapshot.banks[0].fallbacks.at(0)), "game/sound.cpp:34");
    for (int index : {-2, 32}) {
        EXPECT_FALSE(watch::takeBank(own, tables, manager, index, &snapshot, &error));
        EXPECT_EQ(error, "there is no bank " + std::to_string(index));
    }
    EXPECT_FALSE(watch::takeBank(own, tables, 0, 1, &snapshot, &error));
    EXPECT_EQ(error, "the game has no memory manager yet");
}

TEST(Walk, RefusesWhatIsNoManager)
{
    const watch::BufferMemory memory({{0x1000, std::vector<unsigned char>(4096, 0xee)}}, {4, true});
    watch::Snapshot snapshot;
    std::string error;
    EXPECT_FALSE(watch::takeSnapshot(memory, {}, 0x1000, &snapshot, &error));
    EXPECT_EQ(error, "g_MemoryPtr does not point to a memory manager");
    EXPECT_FALSE(watch::takeSnapshot(memory, {}, 0x5000, &snapshot, &error));
    EXPECT_FALSE(watch::takeSnapshot(memory, {}, 0, &snapshot, &error));
    EXPECT_EQ(error, "the game has no memory manager yet");
}
