#include "watch/gamewatch.h"

#include "core/memorymgr.h"
#include "watch/ownmemory.h"
#include "watch/walk.h"

#include <errno.h>
#include <string.h>

namespace watch {

static bool takeOwn(Snapshot* snapshot, std::string* error)
{
    if (!g_MemoryPtr) {
        *error = "there is no memory manager";
        return false;
    }
    const OwnMemory own;
    const CachedMemory memory(own);
    const LinkTables tables = findLinkTables(memory, ownWritableMemory());
    return takeSnapshot(memory, tables, addressOf(g_MemoryPtr), snapshot, error);
}

Snapshot takeGameSnapshot(const std::string& cause)
{
    Snapshot snapshot;
    std::string error;
    if (!takeOwn(&snapshot, &error)) {
        return Snapshot();
    }
    snapshot.cause = cause;
    return snapshot;
}

bool writeGameSnapshot(const std::string& path, const std::string& cause, std::string* error)
{
    Snapshot snapshot;
    if (!takeOwn(&snapshot, error)) {
        return false;
    }
    snapshot.cause = cause;
    const std::string text = writeSnapshot(snapshot);
    FILE* file = fopen(path.c_str(), "wb");
    const bool isWritten = file && fwrite(text.data(), 1, text.size(), file) == text.size();
    const bool isClosed = file && fclose(file) == 0;
    if (!isWritten || !isClosed) {
        *error = path + ": " + strerror(errno);
    }
    return isWritten && isClosed;
}

void printGameBlocks(FILE* out, size_t most)
{
    size_t count = 0;
    for (const PlaceSum& place : sumPlaces(takeGameSnapshot(""))) {
        if (most != 0 && count++ == most) {
            break;
        }
        fprintf(out, "%10llu bytes in %6llu %s from %s\n", static_cast<unsigned long long>(place.bytes),
                static_cast<unsigned long long>(place.blocks), place.blocks == 1 ? "block" : "blocks",
                place.place.c_str());
    }
}

std::vector<std::string> verifyGameBanks()
{
    const Snapshot snapshot = takeGameSnapshot("");
    std::vector<std::string> faults;
    for (const Damage& damage : snapshot.damages) {
        faults.push_back(faultOf(snapshot, damage));
    }
    return faults;
}

} // namespace watch
