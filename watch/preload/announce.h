// Telling other tools of the blocks inside a region, which they see as one piece of memory: memcheck, when the game runs
// under Valgrind, and the address sanitizer, when it is in the process.
//
//   +--------+-------------------+-------+--------+----------------------------+
//   | header | what was asked    | spare | header | free                       |
//   +--------+-------------------+-------+--------+----------------------------+
//   no access  access                      no access
//
// The library itself reads headers. It is not built with the sanitizer; memcheck's reports are turned off meanwhile.
#pragma once

#include <atomic>
#include <stddef.h>

namespace watch {

enum Listener { LISTENER_NONE, LISTENER_MEMCHECK, LISTENER_SANITIZER };

extern std::atomic<int> g_listener; // a Listener; -1 before the first call of listener
Listener findListener();

// Who listens in this process.
inline Listener listener()
{
    const int found = g_listener.load(std::memory_order_relaxed);
    return found < 0 ? findListener() : static_cast<Listener>(found);
}

// A region without blocks, and a region that goes back to its location.
void announceRegion(void* region, size_t bytes);
void retractRegion(void* region, size_t bytes);

// The blocks of a bank are a pool: any address that is the bank's alone. Make it before its first block.
void announcePool(void* pool);

// A block of which the game may use `request` bytes. `whole` is the node or the linear bank's piece around it.
void announceBlock(void* pool, void* block, size_t request, void* whole, size_t wholeBytes);
void resizeBlock(void* pool, void* block, size_t before, size_t now); // after getSize

// The block is free. Call beforeFree before the real free and retractBlock after it; a fallback block is gone then.
void beforeFree(void* whole, size_t wholeBytes, bool isFallback);
void retractBlock(void* pool, void* block, void* whole, size_t wholeBytes, bool isFallback);

// The game has freed an address that is no block: memcheck reports it with what it knows of the address.
void announceWrongFree(void* pool, void* address);

// The manager ends: memcheck looks for blocks that were lost.
void announceEnd();

void stopReports();
void continueReports();

// Memcheck reports no errors of this thread meanwhile.
class Quiet {
public:
    Quiet()
    {
        if (listener() == LISTENER_MEMCHECK) {
            stopReports();
        }
    }
    ~Quiet()
    {
        if (listener() == LISTENER_MEMCHECK) {
            continueReports();
        }
    }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;
};

} // namespace watch
