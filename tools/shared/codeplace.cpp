#include "tools/shared/codeplace.h"

#include <cxxabi.h>
#include <filesystem>
#include <stdlib.h>
#include <sys/stat.h>

static std::string demangled(const char* symbol)
{
    int status = 0;
    char* name = abi::__cxa_demangle(symbol, nullptr, nullptr, &status);
    std::string result = name ? name : symbol;
    free(name);
    return result;
}

// The name of a source can begin at the folder that it was compiled in.
static std::string wholePath(const std::string& folder, const std::string& source)
{
    const bool isWhole = source.empty() || source[0] == '/' || folder.empty();
    return isWhole ? source : std::filesystem::path(folder + "/" + source).lexically_normal().string();
}

CodePlace placeOf(Dwfl* dwfl, uint64_t address)
{
    CodePlace place;
    Dwfl_Module* module = dwfl ? dwfl_addrmodule(dwfl, address) : nullptr;
    if (!module) {
        return place;
    }
    GElf_Sym symbol;
    GElf_Off offset = 0;
    const char* name = dwfl_module_addrinfo(module, address, &offset, &symbol, nullptr, nullptr, nullptr);
    if (name) {
        place.function = demangled(name);
        place.functionOffset = offset;
    }
    const char* path = nullptr; // known once the file was looked at
    Dwarf_Addr start = 0;
    const char* title = dwfl_module_info(module, nullptr, &start, nullptr, nullptr, nullptr, &path, nullptr);
    place.module = path ? path : title;
    place.moduleOffset = address - start;
    if (Dwfl_Line* line = dwfl_module_getsrc(module, address)) {
        const char* source = dwfl_lineinfo(line, nullptr, &place.line, nullptr, nullptr, nullptr);
        const char* folder = dwfl_line_comp_dir(line);
        place.source = wholePath(folder ? folder : "", source ? source : "");
    }
    return place;
}

// ---- Files

static const Dwfl_Callbacks* callbacks()
{
    static Dwfl_Callbacks s_callbacks;
    s_callbacks.section_address = dwfl_offline_section_address;
    s_callbacks.find_debuginfo = dwfl_standard_find_debuginfo;
    return &s_callbacks;
}

static Dwfl* openFile(const std::string& path)
{
    struct stat status; // only a regular file is opened: opening a pipe can wait without end
    const bool isFile = stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    Dwfl* dwfl = isFile ? dwfl_begin(callbacks()) : nullptr;
    if (dwfl && dwfl_report_offline(dwfl, "", path.c_str(), -1) && dwfl_report_end(dwfl, nullptr, nullptr) == 0) {
        return dwfl;
    }
    dwfl_end(dwfl);
    return nullptr;
}

ProgramFiles::~ProgramFiles()
{
    for (const auto& file : m_files) {
        dwfl_end(file.second);
    }
}

static int storeBegin(Dwfl_Module*, void**, const char*, Dwarf_Addr start, void* begin)
{
    *static_cast<uint64_t*>(begin) = start;
    return DWARF_CB_ABORT; // there is one module
}

CodePlace ProgramFiles::placeIn(const std::string& path, uint64_t offset)
{
    const auto known = m_files.find(path);
    Dwfl* dwfl = known != m_files.end() ? known->second : (m_files[path] = openFile(path));
    uint64_t begin = 0;
    if (dwfl) {
        dwfl_getmodules(dwfl, storeBegin, &begin, 0);
    }
    CodePlace place = placeOf(dwfl, begin + offset);
    place.module = path;
    place.moduleOffset = offset;
    return place;
}
