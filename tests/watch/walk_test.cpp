// The walk over a memory manager, in the test's own process.
#include "tests/watch/own_snapshot.h"

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
