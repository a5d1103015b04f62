#include "tools/core-memory/modules.h"

#include <errno.h>
#include <fcntl.h>
#include <gelf.h>
#include <string.h>
#include <unistd.h>

// For callers that do not need debug information: none is looked for.
static int findNoDebugInfo(Dwfl_Module*, void**, const char*, Dwarf_Addr, const char*, const char*, GElf_Word, char**)
{
    return -1;
}

static const Dwfl_Callbacks sc_process = {dwfl_linux_proc_find_elf, findNoDebugInfo, nullptr, nullptr};
static const Dwfl_Callbacks sc_processWithDebugInfo = {dwfl_linux_proc_find_elf, dwfl_standard_find_debuginfo,
                                                       nullptr, nullptr};
static const Dwfl_Callbacks sc_coreDump = {dwfl_build_id_find_elf, findNoDebugInfo, nullptr, nullptr};

static std::string lastError()
{
    const char* text = dwfl_errmsg(-1);
    return text ? text : "unknown error";
}

static std::string baseName(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

Modules::~Modules()
{
    dwfl_end(m_dwfl);
    elf_end(m_core);
    if (m_coreFile != -1) {
        close(m_coreFile);
    }
}

bool Modules::openProcess(pid_t process, std::string* error, bool withDebugInfo)
{
    const std::string folder = "/proc/" + std::to_string(process);
    char path[4096];
    const ssize_t length = readlink((folder + "/exe").c_str(), path, sizeof(path));
    if (length <= 0) {
        *error = "process " + std::to_string(process) + ": " + strerror(errno);
        return false;
    }
    m_executable.assign(path, static_cast<size_t>(length));
    m_dwfl = dwfl_begin(withDebugInfo ? &sc_processWithDebugInfo : &sc_process);
    dwfl_report_begin(m_dwfl);
    const int failure = dwfl_linux_proc_report(m_dwfl, process);
    if (failure != 0 || dwfl_report_end(m_dwfl, nullptr, nullptr) != 0) {
        *error = "the modules of process " + std::to_string(process) +
                 " can't be read: " + (failure > 0 ? strerror(failure) : lastError());
        dwfl_end(m_dwfl);
        m_dwfl = nullptr;
        return false;
    }
    return true;
}

bool Modules::openCore(const std::string& path, const std::string& executable, std::string* error)
{
    elf_version(EV_CURRENT);
    m_executable = executable;
    m_coreFile = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (m_coreFile == -1) {
        *error = path + ": " + strerror(errno);
        return false;
    }
    m_core = elf_begin(m_coreFile, ELF_C_READ_MMAP, nullptr);
    GElf_Ehdr header;
    if (!m_core || !gelf_getehdr(m_core, &header) || header.e_type != ET_CORE) {
        *error = path + " is no core dump";
        return false;
    }
    m_dwfl = dwfl_begin(&sc_coreDump);
    dwfl_report_begin(m_dwfl);
    const int count = dwfl_core_file_report(m_dwfl, m_core, executable.empty() ? nullptr : executable.c_str());
    if (count < 0 || dwfl_report_end(m_dwfl, nullptr, nullptr) != 0) {
        *error = path + ": the modules can't be read: " + lastError();
        return false;
    }
    return true;
}

// One module, for a callback of dwfl_getmodules.
struct Visit {
    const std::function<void(Dwfl_Module* module)>& visit;
};

static int visitModule(Dwfl_Module* module, void**, const char*, Dwarf_Addr, void* argument)
{
    static_cast<const Visit*>(argument)->visit(module);
    return DWARF_CB_OK;
}

static void forEachModule(Dwfl* dwfl, const std::function<void(Dwfl_Module* module)>& visit)
{
    Visit argument = {visit};
    dwfl_getmodules(dwfl, visitModule, &argument, 0);
}

void Modules::forEachFile(const std::function<void(Elf* elf, uint64_t bias)>& visit) const
{
    forEachModule(m_dwfl, [&](Dwfl_Module* module) {
        GElf_Addr bias = 0;
        if (Elf* elf = dwfl_module_getelf(module, &bias)) {
            visit(elf, bias);
        }
    });
}

static void addWritable(Dwfl_Module* module, std::vector<watch::MemoryRange>* ranges)
{
    GElf_Addr bias = 0;
    size_t count = 0;
    Elf* elf = dwfl_module_getelf(module, &bias);
    if (!elf || elf_getphdrnum(elf, &count) != 0) {
        return;
    }
    for (size_t index = 0; index < count; ++index) {
        GElf_Phdr segment;
        if (gelf_getphdr(elf, static_cast<int>(index), &segment) && segment.p_type == PT_LOAD &&
            (segment.p_flags & PF_W)) {
            ranges->push_back({bias + segment.p_vaddr, bias + segment.p_vaddr + segment.p_memsz});
        }
    }
}

static void findInModule(Dwfl_Module* module, GameSymbols* symbols)
{
    const int count = dwfl_module_getsymtab(module);
    bool hasManager = false;
    for (int index = 1; index < count; ++index) {
        GElf_Sym symbol;
        GElf_Addr address = 0;
        const char* name = dwfl_module_getsym_info(module, index, &symbol, &address, nullptr, nullptr, nullptr);
        if (!name || symbol.st_shndx == SHN_UNDEF) {
            continue;
        }
        if (strcmp(name, "g_MemoryPtr") == 0) {
            symbols->managerPointers.push_back(address);
        } else if (strcmp(name, "_ZL7s_mutex") == 0) {
            symbols->lockArrays.push_back(address);
        } else if (strcmp(name, "_ZTV5Mutex") == 0) {
            symbols->mutexTable = address;
        } else if (strcmp(name, "_ZN9MemoryMgr11touchMemoryEv") == 0) {
            hasManager = true;
        }
    }
    if (hasManager) {
        addWritable(module, &symbols->writable);
    }
}

bool Modules::findSymbols(GameSymbols* symbols, std::string* error) const
{
    bool isLayoutKnown = false;
    forEachModule(m_dwfl, [&](Dwfl_Module* module) {
        findInModule(module, symbols);
        GElf_Addr bias = 0;
        GElf_Ehdr header;
        Elf* elf = dwfl_module_getelf(module, &bias);
        if (elf && !isLayoutKnown && gelf_getehdr(elf, &header)) {
            symbols->layout.wordSize = header.e_ident[EI_CLASS] == ELFCLASS32 ? 4 : 8;
            symbols->layout.isBigEndian = header.e_ident[EI_DATA] == ELFDATA2MSB;
            isLayoutKnown = true;
        }
    });
    if (symbols->managerPointers.empty()) {
        *error = "no symbol g_MemoryPtr: the program does not use the library core, or its files are not the ones "
                 "that it was started from";
    }
    return !symbols->managerPointers.empty();
}

// True for a file with a program interpreter. Some libraries have one as well; they lie above the program.
static bool isProgram(Dwfl_Module* module)
{
    GElf_Addr bias = 0;
    size_t count = 0;
    Elf* elf = dwfl_module_getelf(module, &bias);
    if (!elf || elf_getphdrnum(elf, &count) != 0) {
        return false;
    }
    for (size_t index = 0; index < count; ++index) {
        GElf_Phdr segment;
        if (gelf_getphdr(elf, static_cast<int>(index), &segment) && segment.p_type == PT_INTERP) {
            return true;
        }
    }
    return false;
}

std::string Modules::programName() const
{
    if (!m_executable.empty()) {
        return baseName(m_executable);
    }
    std::string program;
    GElf_Addr lowest = 0;
    forEachModule(m_dwfl, [&](Dwfl_Module* module) {
        GElf_Addr start = 0;
        const char* name = dwfl_module_info(module, nullptr, &start, nullptr, nullptr, nullptr, nullptr, nullptr);
        if (name && isProgram(module) && (program.empty() || start < lowest)) {
            program = baseName(name);
            lowest = start;
        }
    });
    return program;
}
