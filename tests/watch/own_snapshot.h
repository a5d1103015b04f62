// A snapshot of this process's own memory manager.
#pragma once

#include "watch/ownmemory.h"
#include "watch/walk.h"

#include "tests/support/game_memory.h"

inline watch::Snapshot takeOwnSnapshot(const MemoryMgr& manager)
{
    const watch::OwnMemory own;
    const watch::CachedMemory memory(own);
    watch::Snapshot snapshot;
    std::string error;
    const watch::LinkTables tables = watch::findLinkTables(memory, watch::ownWritableMemory());
    EXPECT_TRUE(watch::takeSnapshot(memory, tables, watch::addressOf(&manager), &snapshot, &error)) << error;
    return snapshot;
}
