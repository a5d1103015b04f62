// The memory that a core dump holds. Bytes that are not in the dump come from the files of the program and its
// libraries, because the system leaves unchanged pages of these files out of a dump.
#pragma once

#include "tools/core-memory/modules.h"
#include "watch/memoryreader.h"

class CoreMemory : public watch::MemoryReader {
public:
    // modules has to outlive this object.
    CoreMemory(const Modules& modules, const watch::Layout& layout);

    bool read(uint64_t address, void* out, size_t size) const override;

private:
    struct Part {
        uint64_t begin;
        uint64_t size;
        const char* bytes; // in a file that is mapped
    };

    void _addParts(Elf* elf, uint64_t bias, bool isDump);

    std::vector<Part> m_parts; // those of the dump come first
};
