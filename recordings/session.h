// A recorded session: each allocation and each free that one run of a real program made, in order.
//
//     Session session;
//     std::string error;
//     if (!LoadSession("sessions/sqlite.ctr", &session, &error)) { ... }
//     for (unsigned int operation = 0; operation < session.operations.size(); ++operation) {
//         const unsigned int number = session.operations[operation];
//         const SessionBlock& block = session.blocks[number];
//         if (block.born == operation) { /* allocate block.size bytes */ } else { /* free the block */ }
//     }
//
// ReadSession and LoadSession check a session before they return it. In a session that they return, each operation
// allocates a new block or frees a block in use, each block has at least one byte, and at most 256 MiB are in use at
// once. They refuse other data, and files of more than 16 MiB, with a text that gives the reason.
//
// The form of a file; all 32-bit words are little endian:
//
//  | Part           | Bytes             | Meaning                                                              |
//  |----------------|-------------------|----------------------------------------------------------------------|
//  | header         | 4                 | "CTR1"                                                               |
//  |                | 3 words           | number of operations; most blocks in use at once; number of banks    |
//  | each operation | 1                 | bit 0: 0 allocates a block, 1 frees one; bits 1 to 7: the bank       |
//  |                | a number, 1 to 5  | allocate: the block's size in bytes;                                 |
//  |                |                   | free: how many blocks were allocated after the block to free         |
//
// A number is stored in bytes of 7 bits each, the lowest bits first. The top bit is set in each byte except the last.
// A reallocation was recorded as an allocation of the new block and a free of the old block.
#pragma once

#include <stddef.h>
#include <string>
#include <vector>

static const unsigned int sc_neverDied = 0xffffffff;

struct SessionBlock {
    unsigned int size; // bytes that the program asked for
    unsigned int born; // the operation that allocates the block, from 0
    unsigned int died; // the operation that frees the block; sc_neverDied when no operation does
};

struct Session {
    std::vector<SessionBlock> blocks;     // in the order of their allocation
    std::vector<unsigned int> operations; // for each operation, the index in blocks of its block
};

// Each returns true and stores the session; or returns false, stores the reason in error and does not change session.
bool ReadSession(const unsigned char* bytes, size_t length, Session* session, std::string* error);
bool LoadSession(const char* path, Session* session, std::string* error);
