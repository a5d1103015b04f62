// Reading the memory of a game: its own process, another process, or a core dump.
//
// All code in this folder reads a game's memory through a MemoryReader. A reader never reads memory that does not
// exist: it returns false instead. So a walk over damaged records ends with a message and not with a crash.
//
//     watch::BufferMemory memory({{0x1000, bytes}}, {4, true});      // 32-bit, big-endian
//     uint32_t magic = 0;
//     if (!memory.readWord(0x1000, &magic)) { ... }                  // the address 0x1000 is not there
//
// A reader is used by one thread at a time.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string>
#include <unordered_map>
#include <vector>

namespace watch {

// How the game stores numbers.
struct Layout {
    unsigned int wordSize; // bytes of a pointer: 4 or 8
    bool isBigEndian;
};

Layout ownLayout(); // the layout of this process

class MemoryReader {
public:
    explicit MemoryReader(const Layout& layout) : m_layout(layout) {}
    virtual ~MemoryReader() = default;

    MemoryReader(const MemoryReader&) = delete;
    MemoryReader& operator=(const MemoryReader&) = delete;

    // Copies size bytes at address to out. Returns false when not all of them can be read; out then has any values.
    virtual bool read(uint64_t address, void* out, size_t size) const = 0;

    // Read a 32-bit number, or a pointer of the game's size.
    bool readWord(uint64_t address, uint32_t* out) const;
    bool readPointer(uint64_t address, uint64_t* out) const;

    // Reads a text up to its NUL, at most `most` bytes of it. Returns false when a byte before the NUL can't be read.
    bool readText(uint64_t address, size_t most, std::string* out) const;

    // Decode a number in bytes that were read already.
    uint32_t wordAt(const unsigned char* bytes) const;
    uint64_t pointerAt(const unsigned char* bytes) const;

    const Layout& layout() const { return m_layout; }

private:
    Layout m_layout;
};

// A reader over another reader. It reads and keeps whole pieces of 64 KiB, because single reads are system calls. The
// other reader has to outlive it. It shows the memory as it was when a piece was first read.
class CachedMemory : public MemoryReader {
public:
    explicit CachedMemory(const MemoryReader& source) : MemoryReader(source.layout()), m_source(source) {}

    bool read(uint64_t address, void* out, size_t size) const override;

private:
    const unsigned char* _page(uint64_t number) const;
    const std::vector<unsigned char>& _piece(uint64_t number) const;

    const MemoryReader& m_source;
    mutable std::unordered_map<uint64_t, std::vector<unsigned char>> m_pieces; // empty: not readable as a whole
    mutable std::unordered_map<uint64_t, std::vector<unsigned char>> m_pages;  // pages of pieces that are not
    mutable uint64_t m_lastNumber = UINT64_MAX;
    mutable const unsigned char* m_lastPiece = nullptr;
};

// A reader of bytes in this process, each part under the address that it has in the game.
class BufferMemory : public MemoryReader {
public:
    struct Part {
        uint64_t address;
        std::vector<unsigned char> bytes;
    };

    BufferMemory(std::vector<Part> parts, const Layout& layout) : MemoryReader(layout), m_parts(std::move(parts)) {}

    // A read over the end of a part goes on in the part that begins there.
    bool read(uint64_t address, void* out, size_t size) const override;

private:
    std::vector<Part> m_parts;
};

} // namespace watch
