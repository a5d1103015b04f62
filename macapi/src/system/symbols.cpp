// Symbols by name, through the dynamic linker.
//
// 1. The program's handle finds symbols of the program and of all libraries that were loaded for general use. A
//    library that was opened with RTLD_LOCAL must be asked separately. These libraries come second, in the order in
//    which they were loaded.
// 2. A look-up does not keep the found library in memory. A look-up with RTLD_DEFAULT would: the dynamic linker would
//    record that this library needs the found one.
// 3. A symbol is represented by its address. A symbol whose address is null counts as not defined, because it cannot
//    be called.
#include <mach-o/dyld.h>

#include <dlfcn.h>
#include <exception>
#include <link.h>
#include <string>
#include <vector>

// Returns 0, or 1 if there is no memory. An exception must not leave this function: to pass it on through its own code,
// the C library loads libgcc_s, and ends the process if there is no memory for that.
static int addPath(dl_phdr_info* library, size_t, void* paths)
try {
    static_cast<std::vector<std::string>*>(paths)->push_back(library->dlpi_name);
    return 0;
} catch (const std::exception&) {
    return 1;
}

// Returns the paths of the program and all loaded libraries. The program is first, and its path is empty. Returns
// nothing if there is no memory.
static std::vector<std::string> loadedLibraries()
{
    std::vector<std::string> paths;
    return dl_iterate_phdr(addPath, &paths) == 0 ? paths : std::vector<std::string>();
}

static void* findIn(const std::string& path, const char* name)
{
    void* library = dlopen(path.empty() ? nullptr : path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (!library) {
        return nullptr; // the library was unloaded meanwhile
    }
    void* address = dlsym(library, name);
    dlclose(library);
    return address;
}

static void* find(const char* symbol)
{
    if (!symbol || symbol[0] != '_') {
        return nullptr; // the Mac's linker writes an underscore before each C symbol
    }
    for (const std::string& path : loadedLibraries()) {
        void* address = findIn(path, symbol + 1);
        if (address) {
            return address;
        }
    }
    return nullptr;
}

bool NSIsSymbolNameDefined(const char* name)
try {
    return find(name) != nullptr;
} catch (const std::exception&) {
    return false;
}

NSSymbol NSLookupAndBindSymbol(const char* name)
try {
    return static_cast<NSSymbol>(find(name));
} catch (const std::exception&) {
    return nullptr;
}

void* NSAddressOfSymbol(NSSymbol symbol)
{
    return symbol;
}
