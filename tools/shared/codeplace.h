// Finds the source of a code address: the function and, with debug information, the source line.
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
    std::string module;          // path of the program or library; empty if no module has this address
    uint64_t moduleOffset = 0;   // bytes from the start of the module
    uint64_t functionOffset = 0; // bytes from the start of the function
};

// Returns the place of an address. A return address is the place after the call: subtract 1 to get the call.
CodePlace placeOf(Dwfl* dwfl, uint64_t address);

// Returns the places of an address, innermost first. The compiler may have inlined the function at the address into
// its caller: then each further place is the call in the next outer function. Without debug information, returns one
// place.
std::vector<CodePlace> placesOf(Dwfl* dwfl, uint64_t address);

// Finds places in the files of programs and libraries. The process that had loaded them may have ended.
class ProgramFiles {
public:
    ProgramFiles() = default;
    ~ProgramFiles();
    ProgramFiles(const ProgramFiles&) = delete;
    ProgramFiles& operator=(const ProgramFiles&) = delete;

    // Returns the same places as placesOf, for the address `offset` bytes after the first byte of the loaded file.
    std::vector<CodePlace> placesIn(const std::string& path, uint64_t offset);

private:
    std::map<std::string, Dwfl*> m_files; // null: not readable
};
