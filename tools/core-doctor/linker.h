// What the dynamic linker would load, without running the program.
#pragma once

#include <string>
#include <vector>

struct LinkedLibrary {
    std::string name; // as the program names it, such as "libcore.so.1"
    std::string path; // empty if the dynamic linker does not find it
};

// Returns the libraries that the dynamic linker would load for a program or a library of this host, with the environment
// of this process. Empty for a static program.
std::vector<LinkedLibrary> librariesOf(const std::string& path);

// What a libcore answers about itself. The library is loaded in a child process of its own.
struct LibraryAnswer {
    std::string path;                 // where it was loaded from; empty if it cannot be loaded
    std::string version;              // of the library, such as "1.0.0"
    std::vector<std::string> folders; // where the dynamic linker looks for what the library itself loads
};

// library is a path, or a name for the dynamic linker to find.
LibraryAnswer askLibrary(const std::string& library);
