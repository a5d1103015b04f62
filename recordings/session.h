// A recorded allocation session: what one real program asked of its allocator, in order.
//
//     Session session;
//     std::string error;
//     if (!LoadSession("sessions/sqlite.ctr", &session, &error)) { ... }
//     for (unsigned int operation = 0; operation < session.operations.size(); ++operation) {
//         const unsigned int number = session.operations[operation];
//         const SessionBlock& block = session.blocks[number];
//         if (block.born == operation) { /* make it */ } else { /* free it */ }
//     }
//
// A session that was read is sound: each operation makes a new block or frees a live one, no block is empty, and
// never are more than 256 MiB in use. Other bytes are refused, and so are files of more than 16 MiB, with a text that
// says why.
//
// The file, all words little endian:
//
//     "CTR1", then three 32-bit words: operations, the most blocks ever in use at once, banks
//     for each operation   a byte: bit 0 clear to make a block, set to free one; the other bits are the bank
//                          a number: the bytes asked for, or how many blocks are younger than the one to free
//
// A number has 7 bits a byte, low bits first, the top bit set on all bytes but its last. A reallocation was
// recorded as a new block and a free of the old one.
#pragma once

#include <stddef.h>
#include <string>
#include <vector>

static const unsigned int sc_neverDied = 0xffffffff;

struct SessionBlock {
    unsigned int size; // bytes asked for
    unsigned int born; // the operation that makes it
    unsigned int died; // the operation that frees it; sc_neverDied when the session ends before
};

struct Session {
    std::vector<SessionBlock> blocks;     // in the order they are made
    std::vector<unsigned int> operations; // the number of the block that each is about
};

// Both leave session as it was when they answer false.
bool ReadSession(const unsigned char* bytes, size_t length, Session* session, std::string* error);
bool LoadSession(const char* path, Session* session, std::string* error);
