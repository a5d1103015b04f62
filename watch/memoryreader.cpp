#include "watch/memoryreader.h"

#include <algorithm>
#include <string.h>

namespace watch {

static const uint64_t sc_pageSize = 4096;   // bytes: memory exists or does not exist in pages of at least this size
static const uint64_t sc_pieceSize = 65536; // bytes

Layout ownLayout()
{
    const uint16_t one = 1;
    unsigned char first;
    memcpy(&first, &one, 1);
    return {sizeof(void*), first == 0};
}

bool MemoryReader::readWord(uint64_t address, uint32_t* out) const
{
    unsigned char bytes[4];
    if (!read(address, bytes, sizeof(bytes))) {
        return false;
    }
    *out = wordAt(bytes);
    return true;
}

bool MemoryReader::readPointer(uint64_t address, uint64_t* out) const
{
    unsigned char bytes[8];
    if (!read(address, bytes, m_layout.wordSize)) {
        return false;
    }
    *out = pointerAt(bytes);
    return true;
}

bool MemoryReader::readText(uint64_t address, size_t most, std::string* out) const
{
    out->clear();
    while (out->size() < most) {
        // A part ends where a page ends, because the next page may not exist.
        char part[256];
        const uint64_t at = address + out->size();
        const uint64_t toPageEnd = sc_pageSize - at % sc_pageSize;
        const size_t size = static_cast<size_t>(std::min<uint64_t>({sizeof(part), toPageEnd, most - out->size()}));
        if (!read(at, part, size)) {
            return false;
        }
        const size_t length = strnlen(part, size);
        out->append(part, length);
        if (length < size) {
            return true;
        }
    }
    return true;
}

static uint64_t numberAt(const unsigned char* bytes, unsigned int size, bool isBigEndian)
{
    uint64_t number = 0;
    for (unsigned int index = 0; index < size; ++index) {
        number = number << 8 | bytes[isBigEndian ? index : size - 1 - index];
    }
    return number;
}

uint32_t MemoryReader::wordAt(const unsigned char* bytes) const
{
    return static_cast<uint32_t>(numberAt(bytes, 4, m_layout.isBigEndian));
}

uint64_t MemoryReader::pointerAt(const unsigned char* bytes) const
{
    return numberAt(bytes, m_layout.wordSize, m_layout.isBigEndian);
}

// Returns the bytes of a piece; an empty vector when not all of the piece can be read.
const std::vector<unsigned char>& CachedMemory::_piece(uint64_t number) const
{
    const auto known = m_pieces.find(number);
    if (known != m_pieces.end()) {
        return known->second;
    }
    std::vector<unsigned char>& bytes = m_pieces[number];
    bytes.resize(sc_pieceSize);
    if (!m_source.read(number * sc_pieceSize, bytes.data(), sc_pieceSize)) {
        bytes.clear();
        bytes.shrink_to_fit();
    }
    return bytes;
}

// Returns the bytes of a page; null when the page can't be read.
const unsigned char* CachedMemory::_page(uint64_t number) const
{
    const uint64_t piece = number * sc_pageSize / sc_pieceSize;
    if (piece != m_lastNumber) {
        const std::vector<unsigned char>& bytes = _piece(piece);
        m_lastNumber = piece;
        m_lastPiece = bytes.empty() ? nullptr : bytes.data();
    }
    if (m_lastPiece) {
        return m_lastPiece + number * sc_pageSize % sc_pieceSize;
    }
    const auto known = m_pages.find(number);
    if (known != m_pages.end()) {
        return known->second.empty() ? nullptr : known->second.data();
    }
    std::vector<unsigned char>& bytes = m_pages[number];
    bytes.resize(sc_pageSize);
    if (!m_source.read(number * sc_pageSize, bytes.data(), sc_pageSize)) {
        bytes.clear();
    }
    return bytes.empty() ? nullptr : bytes.data();
}

bool CachedMemory::read(uint64_t address, void* out, size_t size) const
{
    unsigned char* to = static_cast<unsigned char*>(out);
    while (size != 0) {
        const uint64_t inPage = address % sc_pageSize;
        const size_t part = static_cast<size_t>(std::min<uint64_t>(size, sc_pageSize - inPage));
        const unsigned char* page = _page(address / sc_pageSize);
        if (!page) {
            return m_source.read(address, to, size); // memory whose parts do not begin and end with pages
        }
        memcpy(to, page + inPage, part);
        to += part;
        address += part;
        size -= part;
    }
    return true;
}

bool BufferMemory::read(uint64_t address, void* out, size_t size) const
{
    unsigned char* to = static_cast<unsigned char*>(out);
    while (size != 0) {
        const auto part = std::find_if(m_parts.begin(), m_parts.end(), [&](const Part& candidate) {
            return address - candidate.address < candidate.bytes.size();
        });
        if (part == m_parts.end()) {
            return false;
        }
        const uint64_t at = address - part->address;
        const size_t length = static_cast<size_t>(std::min<uint64_t>(size, part->bytes.size() - at));
        memcpy(to, part->bytes.data() + at, length);
        to += length;
        address += length;
        size -= length;
    }
    return true;
}

} // namespace watch
