// One fault of the game, as a message to the tool:
//
//   fault: double-free: bank "level", 104 bytes from game/mesh.cpp:41: free was called for a block that is free already
//     second free:
//       Mesh::~Mesh() (game/mesh.cpp:88)
//
// The first line says all that a search needs. The lines after it have details and stacks.
#pragma once

#include "watch/preload/managerview.h"
#include "watch/preload/message.h"
#include "watch/preload/stack.h"

namespace watch {

// The tag of a block, as the words of its header. The name's word becomes a token, because only the tool can read a
// wrong one without danger.
struct Tag {
    unsigned int size = 0; // bytes of the block, without header
    unsigned int name = 0;
    unsigned int line = 0;
};

inline Tag tagOf(const char* header)
{
    const unsigned int size = headerWord(header, WORD_SIZE) & ~sc_fallback;
    return {size < sc_headerBytes ? 0 : size - sc_headerBytes, headerWord(header, WORD_FILE),
            headerWord(header, WORD_LINE)};
}

class Fault {
public:
    // A fault of a block in a bank; `bank` is null for a bank that does not exist.
    Fault(const char* kind, int index, const MemoryBank_s* bank);

    Fault& block(const Tag& tag);
    Fault& block(unsigned int bytes, const char* file, unsigned int line);
    Fault& address(const void* block); // for memory that is no block

    // Ends the first line. The text may be continued with add.
    Fault& what(const char* text);
    Fault& detail(); // begins a line of details, to be continued with add
    Fault& stack(const char* title, const Stack& stack);
    Fault& stackFrom(const char* title, const void* caller); // captures the stack of this thread
    Fault& stackNumber(const char* title, uint32_t number);  // a recorded stack; see stacks.h

    // Continues the line.
    Fault& add(const char* text);
    Fault& add(unsigned int number);
    Fault& addTag(const Tag& tag); // "104 bytes from game/mesh.cpp:41"
    Fault& addTag(unsigned int bytes, const char* file, unsigned int line);
    Fault& addBank(int index, const MemoryBank_s* bank);
    Fault& addCode(const void* place);
    Fault& addBytes(const unsigned char* bytes, unsigned int count); // in hexadecimal, at most 16 of them

    void tell();

private:
    Message m_message;
};

} // namespace watch
