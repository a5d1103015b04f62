// Reading the memory of this process. An address that does not exist gives false, never a signal.
#pragma once

#include "watch/linktables.h"
#include "watch/memoryreader.h"

namespace watch {

class OwnMemory : public MemoryReader {
public:
    OwnMemory();
    ~OwnMemory() override;

    // The bytes travel through a pipe, because the system refuses to write bytes that do not exist into one.
    bool read(uint64_t address, void* out, size_t size) const override;

private:
    int m_pipe[2]; // -1: no pipe could be opened, and every read fails
};

// The writable memory of the program and of all its libraries, for findLinkTables. Empty in a 32-bit build, which
// needs no tables.
std::vector<MemoryRange> ownWritableMemory();

inline uint64_t addressOf(const void* pointer)
{
    return reinterpret_cast<uintptr_t>(pointer);
}

} // namespace watch
