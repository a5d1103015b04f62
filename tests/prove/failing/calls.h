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
    CALL_MEMORY,  // malloc, calloc, realloc, mmap, memfd_create, and the location callbacks of a scenario
    CALL_FILE,    // files and folders
    CALL_LOCK,    // locks of files and of threads
    CALL_WINDOW,  // X11, and sockets
    CALL_PROCESS, // other processes, and threads
    sc_callKinds
};

enum e_Failure : int {
    FAIL_ONCE,        // this call only; errno: ENOMEM, ENOSPC for a write, EIO
    FAIL_INTERRUPTED, // this call only; errno: EINTR. Only for calls that a signal can interrupt.
    FAIL_FROM_HERE,   // this call and all later calls of its kind; errno as above
};

enum e_Callers : int {
    CALLERS_ALL,       // calls from the program, the project's libraries, and those of C, C++ and PO files
    CALLERS_LIBRARIES, // calls from libcore, libfile, liblogger, libmacapi and libcore-appkit
    CALLERS_APPKIT     // calls for memory from all other libraries: AppKit and the libraries that AppKit needs
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

// All calls from here on are counted and written to log. Call it once in a process. After the first failure time
// passes faster for the library, so that it does not wait for long for an answer that will not come.
void ArmFailures(CallLog* log, const FailingCall& failing);
void DisarmFailures();

// Counts a call for memory that the scenario itself answers. Returns true if the call has to fail.
bool CallFails(const char* name);

// Writes the return addresses of a signal handler's caller to the log. For a process that is about to die.
void LogStack();

// Returns true if the code at this address is in one of the project's libraries.
bool IsLibrarys(const void* address);

// Returns the number of blocks that were allocated between the two calls above and have not been freed by now.
unsigned int LiveBlocks();

// Returns the number of these blocks that no global variable of the project's libraries refers to, neither directly nor
// through other blocks. So the entries of the libraries' tables do not count.
unsigned int LostBlocks();

// Returns true if a library outside of the project, such as AppKit, opened this file after ArmFailures. Always returns
// false for CALLERS_ALL.
bool IsForeignFile(int file);

// Writes the sizes and callers of at most `most` of these blocks to the standard error stream.
void PrintLiveBlocks(unsigned int most);
