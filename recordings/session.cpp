// The bytes come from a file that may be truncated or damaged, so the reader checks each value before it uses the
// value. No read goes past the last byte. The counts in the header are compared with the operations that follow the
// header.
#include "recordings/session.h"

#include <stdio.h>
#include <string.h>

static const size_t sc_headerSize = 16;
static const size_t sc_longest = 16u << 20;                // bytes; room for eight million operations
static const unsigned long long sc_mostInUse = 256u << 20; // bytes; far more than a recorded program uses

namespace {

class SessionReader {
public:
    SessionReader(const unsigned char* bytes, size_t length) : m_next(bytes), m_end(bytes + length) {}

    bool read(Session* session);
    const std::string& error() const { return m_error; }

private:
    bool readHeader();
    bool readOperation();
    bool make(unsigned int size);
    bool free(unsigned int younger);
    bool readNumber(unsigned int* number);
    unsigned int readWord();
    bool refuse(const char* why);

    const unsigned char* m_next;
    const unsigned char* m_end;
    Session m_session;
    std::string m_error;
    unsigned int m_operationCount = 0; // from the header
    unsigned int m_mostBlocks = 0;     // from the header
    unsigned int m_bankCount = 0;      // from the header
    unsigned int m_blocks = 0;         // in use after the operations that were read
    unsigned int m_peakBlocks = 0;     // the most blocks in use at once so far
    unsigned long long m_bytes = 0;    // in use after the operations that were read
};

bool SessionReader::read(Session* session)
{
    if (!readHeader()) {
        return false;
    }
    while (m_session.operations.size() < m_operationCount) {
        if (!readOperation()) {
            m_error += ", in operation " + std::to_string(m_session.operations.size());
            return false;
        }
    }
    if (m_next != m_end) {
        return refuse("there are bytes after the last operation");
    }
    if (m_peakBlocks != m_mostBlocks) {
        return refuse("its header has a wrong number of blocks in use");
    }
    std::swap(*session, m_session);
    return true;
}

bool SessionReader::readHeader()
{
    if (static_cast<size_t>(m_end - m_next) > sc_longest) {
        return refuse("it is longer than 16 MiB");
    }
    if (static_cast<size_t>(m_end - m_next) < sc_headerSize || memcmp(m_next, "CTR1", 4) != 0) {
        return refuse("it is not a recorded session");
    }
    m_next += 4;
    m_operationCount = readWord();
    m_mostBlocks = readWord();
    m_bankCount = readWord();
    if (m_operationCount > static_cast<size_t>(m_end - m_next) / 2) { // each operation has at least two bytes
        return refuse("it is shorter than its header says");
    }
    m_session.operations.reserve(m_operationCount);
    return true;
}

bool SessionReader::readOperation()
{
    if (m_next == m_end) {
        return refuse("it ends too early");
    }
    const unsigned int tag = *m_next++;
    unsigned int number = 0;
    if (!readNumber(&number)) {
        return false;
    }
    if (tag >> 1 >= m_bankCount) {
        return refuse("the bank of an operation is out of range");
    }
    return (tag & 1) != 0 ? free(number) : make(number);
}

bool SessionReader::make(unsigned int size)
{
    if (size == 0) {
        return refuse("a block of 0 bytes is allocated");
    }
    if (m_bytes + size > sc_mostInUse) {
        return refuse("more than 256 MiB are in use at once");
    }
    m_bytes += size;
    m_blocks += 1;
    m_peakBlocks = m_blocks > m_peakBlocks ? m_blocks : m_peakBlocks;
    const unsigned int operation = static_cast<unsigned int>(m_session.operations.size());
    m_session.operations.push_back(static_cast<unsigned int>(m_session.blocks.size()));
    m_session.blocks.push_back({size, operation, sc_neverDied});
    return true;
}

bool SessionReader::free(unsigned int younger)
{
    if (younger >= m_session.blocks.size()) {
        return refuse("a block is freed that was never allocated");
    }
    const size_t number = m_session.blocks.size() - 1 - younger;
    SessionBlock& block = m_session.blocks[number];
    if (block.died != sc_neverDied) {
        return refuse("a block is freed twice");
    }
    block.died = static_cast<unsigned int>(m_session.operations.size());
    m_bytes -= block.size;
    m_blocks -= 1;
    m_session.operations.push_back(static_cast<unsigned int>(number));
    return true;
}

bool SessionReader::readNumber(unsigned int* number)
{
    unsigned long long value = 0;
    for (int shift = 0; shift < 35; shift += 7) { // 5 bytes of 7 bits: 32 bits of the number and 3 that must be 0
        if (m_next == m_end) {
            return refuse("it ends too early");
        }
        const unsigned int byte = *m_next++;
        value |= static_cast<unsigned long long>(byte & 0x7f) << shift;
        if ((byte & 0x80) == 0) {
            *number = static_cast<unsigned int>(value);
            return value == *number || refuse("a number is longer than 32 bits");
        }
    }
    return refuse("a number is longer than 32 bits");
}

unsigned int SessionReader::readWord()
{
    const unsigned int word =
        m_next[0] | m_next[1] << 8 | m_next[2] << 16 | static_cast<unsigned int>(m_next[3]) << 24;
    m_next += 4;
    return word;
}

bool SessionReader::refuse(const char* why)
{
    m_error = why;
    return false;
}

} // namespace

bool ReadSession(const unsigned char* bytes, size_t length, Session* session, std::string* error)
{
    SessionReader reader(bytes, length);
    if (!reader.read(session)) {
        *error = reader.error();
        return false;
    }
    return true;
}

bool LoadSession(const char* path, Session* session, std::string* error)
{
    FILE* file = fopen(path, "rb");
    if (!file) {
        *error = "it cannot be opened";
        return false;
    }
    std::vector<unsigned char> bytes;
    unsigned char buffer[65536];
    size_t count = 0;
    while (bytes.size() <= sc_longest && (count = fread(buffer, 1, sizeof(buffer), file)) > 0) {
        bytes.insert(bytes.end(), buffer, buffer + count);
    }
    const bool whole = ferror(file) == 0;
    fclose(file);
    if (!whole) { // for example a folder: fopen opens it, fread fails
        *error = "it cannot be read";
        return false;
    }
    return ReadSession(bytes.data(), bytes.size(), session, error);
}
