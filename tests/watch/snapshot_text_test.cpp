// The snapshot file, written and read.
#include "watch/snapshot.h"

#include <gtest/gtest.h>

static const char sc_text[] =
    "core-memory snapshot 1\n"
    "game name=\"demo\" time=\"2026-11-22T04:30:00Z\" cause=\"exit\"\n"
    "torn what=\"the lock of bank 0 is held\"\n"
    "bank bank=0 name=\"level \\x22one\\x22\" type=0 location=0 region=1 size=1024 in-use=128 peak=256 allocs=3 "
    "frees=1 used-nodes=2 free-nodes=1 fallbacks-made=0\n"
    "damage bank=0 kind=\"magic\" offset=64 what=\"bad\" block=\"a:1\" before=\"b:2, 64 bytes at 0\"\n"
    "used bank=0 offset=192 size=64 place=\"game/mesh.cpp:41\"\n"
    "used bank=0 offset=0 size=64 place=\"(no name):7\" born=1200\n"
    "free bank=0 offset=256 size=768\n"
    "damaged bank=0 offset=64 size=128\n"
    "fallback bank=0 number=1 size=64 place=\"game/C:\\x5cmap.cpp:9\"\n"
    "end\n";

TEST(SnapshotText, IsWrittenAsItWasRead)
{
    watch::Snapshot snapshot;
    std::string error;
    ASSERT_TRUE(watch::readSnapshot(sc_text, &snapshot, &error)) << error;
    EXPECT_EQ(watch::writeSnapshot(snapshot), sc_text);
}

static std::string errorOf(const std::string& text)
{
    watch::Snapshot snapshot;
    std::string error;
    EXPECT_FALSE(watch::readSnapshot(text, &snapshot, &error));
    return error;
}

TEST(SnapshotText, BlocksComeInOrderOfOffsetAndRememberTheirAge)
{
    watch::Snapshot snapshot;
    std::string error;
    ASSERT_TRUE(watch::readSnapshot(sc_text, &snapshot, &error)) << error;
    const std::vector<watch::Block>& blocks = snapshot.banks[0].blocks;
    ASSERT_EQ(blocks.size(), 4u);
    EXPECT_EQ(blocks[0].offset, 0u);
    EXPECT_EQ(blocks[0].order, 1u);
    EXPECT_EQ(blocks[0].born, 1200);
    EXPECT_EQ(snapshot.placeOf(blocks[0]), "(no name):7");
    EXPECT_EQ(blocks[2].offset, 192u);
    EXPECT_EQ(blocks[2].order, 0u);
    EXPECT_EQ(snapshot.placeOf(snapshot.banks[0].fallbacks[0]), "game/C:\\map.cpp:9");
}

TEST(SnapshotText, WordsAndKeysOfALaterVersionAreSkipped)
{
    watch::Snapshot snapshot;
    std::string error;
    EXPECT_TRUE(watch::readSnapshot("core-memory snapshot 1\ngame name=\"demo\" host=\"x\"\nstack=7\nend\n",
                                    &snapshot, &error))
        << error;
    EXPECT_EQ(snapshot.game, "demo");
}

TEST(SnapshotText, ARefusalNamesTheLine)
{
    EXPECT_EQ(errorOf(""), "line 0: the line \"end\" is missing, so the file is not whole");
    EXPECT_EQ(errorOf("core-memory snapshot 2\n"), "line 1: a snapshot begins with \"core-memory snapshot 1\"");
    EXPECT_EQ(errorOf("core-memory snapshot 1\ngame\n"),
              "line 2: the line \"end\" is missing, so the file is not whole");
    EXPECT_EQ(errorOf("core-memory snapshot 1\nused bank=0 offset=0 size=64 place=\"a\nend\n"),
              "line 2: not of the form WORD KEY=VALUE KEY=VALUE");
    EXPECT_EQ(errorOf("core-memory snapshot 1\nused bank=0 offset=0 size=64\nend\n"),
              "line 2: a block needs the number of a bank that the file has described, and a size");
    EXPECT_EQ(errorOf("core-memory snapshot 1\nbank bank=32\nend\n"),
              "line 2: a bank needs bank, type, location, region, size and its counters");
    EXPECT_EQ(errorOf("core-memory snapshot 1\ndamage bank=x\nend\n"), "line 2: damage needs the number of a bank");
}
