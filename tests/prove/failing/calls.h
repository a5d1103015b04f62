// Makes calls of a process fail. A program that links this library, or that is started with it in LD_PRELOAD, calls the
// functions of calls.cpp instead of those of the system and of X11. While failures are armed, these functions count the
// calls, and let one of the calls fail.
//
//     CallLog log;                                       // often in memory that a parent process sees too
//     ArmFailures(&log, {3, FAIL_ONCE, CALLERS_ALL});    // the third call fails
//     ...
//     DisarmFailures();
//
// The functions are for Linux on x86-64 with the GNU C library.
#pragma once

#include <stddef.h>
#include <stdint.h>

enum e_CallKind : uint8_t {
    CALL_MEMORY, // malloc, calloc, realloc
    CALL_FILE,   // files and folders
    CALL_LOCK,   // locks of files
    CALL_WINDOW, // X11, and the connection to its server
};

enum e_Failure : int {
    FAIL_ONCE,        // this call only; errno: ENOMEM, ENOSPC for a write, EIO
    FAIL_INTERRUPTED, // this call only; errno: EINTR. Only for calls that a signal can interrupt.
    FAIL_FROM_HERE,   // this call and all later calls of its kind; errno as above
};

enum e_Callers : int {
    CALLERS_ALL,      // calls from all code of the process, but not those of X11 itself
    CALLERS_LIBRARIES // calls from libcore, libfile, liblogger, libmacapi and libcore-appkit
};

struct FailingCall {
    unsigned int number; // the first call that fails, from 1; 0: none
    e_Failure failure;
    e_Callers callers;
};

struct Call {
    const char* name; // valid in all processes that were forked from the one that loaded this library
    const void* caller;
    e_CallKind kind;
    bool interruptible;
};

struct CallLog {
    static const unsigned int sc_most = 60000;
    static const int sc_deepest = 40;

    unsigned int count;  // calls so far; can be more than sc_most
    Call calls[sc_most]; // the first of them
    int depth;           // of the first call that failed: its return addresses, innermost first
    void* stack[sc_deepest];
};

// All calls from here on are counted and written to log. Call it once in a process.
void ArmFailures(CallLog* log, const FailingCall& failing);
void DisarmFailures();

// Returns the number of blocks that were allocated between the two calls above and have not been freed by now.
unsigned int LiveBlocks();

// Writes the sizes and callers of at most `most` of these blocks to the standard error stream.
void PrintLiveBlocks(unsigned int most);
