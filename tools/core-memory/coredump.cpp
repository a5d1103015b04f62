#include "tools/core-memory/coredump.h"

#include <algorithm>
#include <gelf.h>
#include <string.h>

CoreMemory::CoreMemory(const Modules& modules, const watch::Layout& layout) : MemoryReader(layout)
{
    _addParts(modules.core(), 0, true);
    modules.forEachFile([&](Elf* elf, uint64_t bias) { _addParts(elf, bias, false); });
}

// Adds the segments of a file. A writable segment of a program's file has the values from before its start, so only
// the dump's segments count there.
void CoreMemory::_addParts(Elf* elf, uint64_t bias, bool isDump)
{
    size_t fileSize = 0;
    size_t count = 0;
    const char* bytes = elf_rawfile(elf, &fileSize);
    if (!bytes || elf_getphdrnum(elf, &count) != 0) {
        return;
    }
    for (size_t index = 0; index < count; ++index) {
        GElf_Phdr segment;
        if (!gelf_getphdr(elf, static_cast<int>(index), &segment) || segment.p_type != PT_LOAD ||
            segment.p_offset >= fileSize || (!isDump && (segment.p_flags & PF_W))) {
            continue;
        }
        const uint64_t size = std::min<uint64_t>(segment.p_filesz, fileSize - segment.p_offset);
        m_parts.push_back({bias + segment.p_vaddr, size, bytes + segment.p_offset});
    }
}

bool CoreMemory::read(uint64_t address, void* out, size_t size) const
{
    char* to = static_cast<char*>(out);
    while (size != 0) {
        const auto part = std::find_if(m_parts.begin(), m_parts.end(), [&](const Part& candidate) {
            return address - candidate.begin < candidate.size;
        });
        if (part == m_parts.end()) {
            return false;
        }
        const uint64_t at = address - part->begin;
        const size_t length = static_cast<size_t>(std::min<uint64_t>(size, part->size - at));
        memcpy(to, part->bytes + at, length);
        to += length;
        address += length;
        size -= length;
    }
    return true;
}
