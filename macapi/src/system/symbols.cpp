// Symbols by name, over the host's dynamic linker.
//
// 1. The program's handle knows the program and the libraries that everyone may use. A library that was opened for one
//    user alone (RTLD_LOCAL) has to be asked by itself; those come second, in the order of their loading.
// 2. Looking keeps no library in memory. With RTLD_DEFAULT in place of a handle it would: the linker then takes the
//    library that has the symbol for one that this one needs.
// 3. A symbol is its address. One whose address is null counts as not defined: there is nothing to call.
#include <mach-o/dyld.h>

#include <dlfcn.h>
#include <exception>
#include <link.h>
#include <string>
#include <vector>

static int addPath(dl_phdr_info* library, size_t, void* paths)
{
    static_cast<std::vector<std::string>*>(paths)->push_back(library->dlpi_name);
    return 0;
}

// The paths of all that is loaded, the program first: its own is empty.
static std::vector<std::string> loadedLibraries()
{
    std::vector<std::string> paths;
    dl_iterate_phdr(addPath, &paths);
    return paths;
}

static void* findIn(const std::string& path, const char* name)
{
    void* library = dlopen(path.empty() ? nullptr : path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (!library) {
        return nullptr; // it has gone meanwhile
    }
    void* address = dlsym(library, name);
    dlclose(library);
    return address;
}

static void* find(const char* symbol)
{
    if (!symbol || symbol[0] != '_') {
        return nullptr; // no C symbol of the Mac's
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
