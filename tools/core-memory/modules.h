// The program and the libraries of a game, and what the tools look up in them.
#pragma once

#include "watch/linktables.h"
#include "watch/memoryreader.h"

#include <elfutils/libdwfl.h>
#include <functional>
#include <stdint.h>
#include <string>
#include <sys/types.h>
#include <vector>

// Addresses in the game.
struct GameSymbols {
    std::vector<uint64_t> managerPointers;     // each g_MemoryPtr; a program can have a copy of the library's
    uint64_t mutexTable = 0;                   // the virtual table of Mutex; 0: not found
    std::vector<uint64_t> lockArrays;          // each s_mutex; empty in a stripped library
    std::vector<watch::MemoryRange> writable;  // variables of the program or library that contains the memory manager
    watch::Layout layout = watch::ownLayout(); // of its numbers
};

// The modules of one process or of one core dump. It owns the files that it has opened.
class Modules {
public:
    Modules() = default;
    ~Modules();

    Modules(const Modules&) = delete;
    Modules& operator=(const Modules&) = delete;

    // Open the modules. Return false and store a sentence in error when this fails. executable may be empty; it names
    // the program of a core dump that does not name it, or that lies elsewhere now. withDebugInfo also finds the source
    // lines of code, for functions that take dwfl().
    bool openProcess(pid_t process, std::string* error, bool withDebugInfo = false);
    bool openCore(const std::string& path, const std::string& executable, std::string* error);

    // Looks up the symbols. Returns false and stores a sentence in error when there is no memory manager.
    bool findSymbols(GameSymbols* symbols, std::string* error) const;

    std::string programName() const; // without its folder; empty when it is not known

    Dwfl* dwfl() const { return m_dwfl; } // null when nothing is open
    Elf* core() const { return m_core; }  // null for a process

    // Calls visit for each module's file.
    void forEachFile(const std::function<void(Elf* elf, uint64_t bias)>& visit) const;

private:
    Dwfl* m_dwfl = nullptr;
    Elf* m_core = nullptr;
    int m_coreFile = -1;
    std::string m_executable;
};
