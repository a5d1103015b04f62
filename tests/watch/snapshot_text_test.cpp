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
