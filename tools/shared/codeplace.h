// Where a place of the code comes from: its function and, with debug information, its source line.
#pragma once

#include <elfutils/libdwfl.h>
#include <map>
#include <stdint.h>
#include <string>
#include <vector>

struct CodePlace {
    std::string function; // "Mesh::load(char const*)"; empty if no symbol is known
    std::string source;   // the path as in the debug information; empty without it
    int line = 0;
    std::string module;          // path of the program or library; empty if none has this place
    uint64_t moduleOffset = 0;   // bytes from the begin of the module
    uint64_t functionOffset = 0; // bytes from the begin of the function
};

// Returns the place of an address. A return address is the place after the call: subtract 1 to get the call.
CodePlace placeOf(Dwfl* dwfl, uint64_t address);

// Returns the place of an address, and after it the place of each function into which the compiler has put the code of
// the one before. Each has a place of its own in the source. There is one without debug information.
std::vector<CodePlace> placesOf(Dwfl* dwfl, uint64_t address);

// Programs and libraries as files. The process that they ran in may be over.
class ProgramFiles {
public:
    ProgramFiles() = default;
    ~ProgramFiles();
    ProgramFiles(const ProgramFiles&) = delete;
    ProgramFiles& operator=(const ProgramFiles&) = delete;

    // Returns the places of placesOf for a file that was loaded, at so many bytes from its first byte in memory.
    std::vector<CodePlace> placesIn(const std::string& path, uint64_t offset);

private:
    std::map<std::string, Dwfl*> m_files; // null: not readable
};
