#include "tools/shared/codeplace.h"

#include <cxxabi.h>
#include <dwarf.h>
#include <elfutils/libdw.h>
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

// ---- Inlined functions

// Returns the name with its classes if the debug information has it, else the name alone.
static std::string functionOf(Dwarf_Die* function)
{
    Dwarf_Attribute attribute;
    const char* linkage = dwarf_formstring(dwarf_attr_integrate(function, DW_AT_linkage_name, &attribute));
    const char* name = dwarf_diename(function);
    return linkage ? demangled(linkage) : name ? name : "";
}

static unsigned int numberOf(Dwarf_Die* die, unsigned int name)
{
    Dwarf_Attribute attribute;
    Dwarf_Word value = 0;
    return dwarf_formudata(dwarf_attr(die, name, &attribute), &value) == 0 ? static_cast<unsigned int>(value) : 0;
}

// Stores where an inlined function is called.
static void storeCall(Dwarf_Die* unit, Dwarf_Die* inlined, CodePlace* place)
{
    Dwarf_Files* files = nullptr;
    size_t count = 0;
    Dwarf_Attribute attribute;
    const unsigned int file = numberOf(inlined, DW_AT_call_file);
    const char* folder = dwarf_formstring(dwarf_attr(unit, DW_AT_comp_dir, &attribute));
    const char* source = dwarf_getsrcfiles(unit, &files, &count) == 0 && file < count
                             ? dwarf_filesrc(files, file, nullptr, nullptr)
                             : nullptr;
    place->source = wholePath(folder ? folder : "", source ? source : "");
    place->line = static_cast<int>(numberOf(inlined, DW_AT_call_line));
}

// Adds the places of the scopes, the innermost first.
static void addScopes(Dwarf_Die* unit, Dwarf_Die* scopes, int count, std::vector<CodePlace>* places)
{
    for (int index = 0; index < count; ++index) {
        const int tag = dwarf_tag(&scopes[index]);
        if (tag == DW_TAG_subprogram) {
            places->back().function = functionOf(&scopes[index]);
            return;
        }
        if (tag == DW_TAG_inlined_subroutine) {
            CodePlace caller = places->back();
            places->back().function = functionOf(&scopes[index]);
            storeCall(unit, &scopes[index], &caller);
            places->push_back(caller);
        }
    }
}

std::vector<CodePlace> placesOf(Dwfl* dwfl, uint64_t address)
{
    std::vector<CodePlace> places = {placeOf(dwfl, address)};
    Dwarf_Addr bias = 0;
    Dwarf_Die* unit = dwfl ? dwfl_addrdie(dwfl, address, &bias) : nullptr;
    Dwarf_Die* at = nullptr;
    if (unit && dwarf_getscopes(unit, address - bias, &at) > 0) {
        Dwarf_Die* scopes = nullptr; // around the innermost one, as the code lies
        const int count = dwarf_getscopes_die(&at[0], &scopes);
        addScopes(unit, scopes, count, &places);
        free(scopes);
    }
    free(at);
    return places;
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

std::vector<CodePlace> ProgramFiles::placesIn(const std::string& path, uint64_t offset)
{
    const auto known = m_files.find(path);
    Dwfl* dwfl = known != m_files.end() ? known->second : (m_files[path] = openFile(path));
    uint64_t begin = 0;
    if (dwfl) {
        dwfl_getmodules(dwfl, storeBegin, &begin, 0);
    }
    std::vector<CodePlace> places = placesOf(dwfl, begin + offset);
    for (CodePlace& place : places) {
        place.module = path;
        place.moduleOffset = offset;
    }
    return places;
}
