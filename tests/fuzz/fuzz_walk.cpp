// The walk over a memory manager in hostile memory. The first byte of an input is the layout; the rest is memory at
// the address 0x1000, which begins with the manager.
#include "watch/walk.h"

#include "tests/fuzz/observe.h"

#include <stdlib.h>

static const uint64_t sc_address = 0x1000;

// Ends the process when the nodes of a heap bank do not cover its region, each byte once.
static void requireTiles(const watch::Bank& bank)
{
    uint64_t end = 0;
    for (const watch::Block& block : bank.blocks) {
        if (block.offset != end || block.size == 0) {
            abort();
        }
        end += block.size;
    }
    if (bank.type == watch::BANK_HEAP && bank.hasRegion && end != bank.size) {
        abort();
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0) {
        return 0;
    }
    const watch::Layout layout = {data[0] & 2 ? 8u : 4u, (data[0] & 1) != 0};
    const watch::BufferMemory source({{sc_address, {data + 1, data + size}}}, layout);
    const watch::CachedMemory memory(source);
    const watch::LinkTables tables = watch::findLinkTables(memory, {{sc_address, sc_address + size - 1}});
    watch::Snapshot snapshot;
    std::string error;
    if (!watch::takeSnapshot(memory, tables, sc_address, &snapshot, &error)) {
        observeText(error);
        return 0;
    }
    for (const watch::Bank& bank : snapshot.banks) {
        requireTiles(bank);
    }
    const std::string text = watch::writeSnapshot(snapshot);
    observeText(text);
    watch::Snapshot again;
    if (!watch::readSnapshot(text, &again, &error) || watch::writeSnapshot(again) != text) {
        abort(); // what is written can be read
    }
    return 0;
}
