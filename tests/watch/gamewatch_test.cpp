// The memory tools inside of a game.
#include "watch/gamewatch.h"

#include "tests/support/game_memory.h"

namespace {

struct Game {
    Game()
    {
        memory.defineHeap("core", 1024);
        memory.defineHeap("level", 1024);
        memory.initialize();
        mesh = memory.alloc(1, 100, "game/mesh.cpp", 41);
        map = memory.alloc(1, 150, "game/map.cpp", 7);
        unit = memory.alloc(1, 100, "game/mesh.cpp", 41);
    }

    GameMemory memory;
    void* mesh;
    void* map;
    void* unit;
};

std::string printed(size_t most)
{
    FILE* file = tmpfile();
    watch::printGameBlocks(file, most);
    std::string text(static_cast<size_t>(ftell(file)), '\0');
    rewind(file);
    EXPECT_EQ(fread(&text[0], 1, text.size(), file), text.size());
    fclose(file);
    return text;
}

} // namespace

TEST(GameWatch, PrintsThePlacesThatHoldMost)
{
    Game game;
    EXPECT_EQ(printed(0), "       256 bytes in      2 blocks from game/mesh.cpp:41\n"
                          "       192 bytes in      1 block from game/map.cpp:7\n");
    EXPECT_EQ(printed(1), "       256 bytes in      2 blocks from game/mesh.cpp:41\n");
}

TEST(GameWatch, WritesASnapshotThatTheToolsRead)
{
    Game game;
    std::string error;
    ASSERT_TRUE(watch::writeGameSnapshot("level.snapshot", "end of level 2", &error)) << error;
    watch::Snapshot snapshot;
    ASSERT_TRUE(watch::readSnapshot(readFile("level.snapshot"), &snapshot, &error)) << error;
    EXPECT_EQ(snapshot.cause, "end of level 2");
    EXPECT_EQ(snapshot.bankOf(1)->bytesInUse, 448u);
}

TEST(GameWatch, SaysWhyASnapshotCouldNotBeWritten)
{
    Game game;
    std::string error;
    EXPECT_FALSE(watch::writeGameSnapshot("no/such/folder/level.snapshot", "", &error));
    EXPECT_EQ(error, "no/such/folder/level.snapshot: No such file or directory");
}

TEST(GameWatch, SaysThatThereIsNoManager)
{
    std::string error;
    EXPECT_FALSE(watch::writeGameSnapshot("level.snapshot", "", &error));
    EXPECT_EQ(error, "there is no memory manager");
    EXPECT_TRUE(watch::verifyGameBanks().empty());
    EXPECT_EQ(printed(0), "");
}

TEST(GameWatch, FindsNoFaultInSoundBanks)
{
    Game game;
    EXPECT_TRUE(watch::verifyGameBanks().empty());
    void* sound = game.memory.alloc(1, 5000, "game/sound.cpp", 9); // an overflow is no damage
    game.memory.free(1, game.map);
    EXPECT_TRUE(watch::verifyGameBanks().empty());
    game.memory.free(1, sound);
}

TEST(GameWatch, NamesADamagedBlockAndItsNeighbours)
{
    Game game;
    setHeaderWord(game.map, 0, 0x41414141);
    std::string all;
    for (const std::string& fault : watch::verifyGameBanks()) {
        all += fault;
    }
    EXPECT_NE(all.find("fault: damage: bank \"level\", the header at 128: "), std::string::npos) << all;
    EXPECT_NE(all.find("the damaged block: game/map.cpp:7"), std::string::npos) << all;
    EXPECT_NE(all.find("the block before it: game/mesh.cpp:41"), std::string::npos) << all;
    EXPECT_NE(all.find("the block after it: game/mesh.cpp:41"), std::string::npos) << all;
    setHeaderWord(game.map, 0, 0xfeedface);
}
