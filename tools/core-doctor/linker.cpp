// The dynamic linker is that of core-doctor itself. A program can name another one as its own; core-doctor does not run
// that one, because the file may be any program.
#include "tools/core-doctor/linker.h"

#include "tools/shared/files.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <functional>
#include <link.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

// Runs work in a child process. Returns what the child has written to its standard output.
static std::string outputOfChild(const std::function<void()>& work)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return "";
    }
    const pid_t child = fork();
    if (child == 0) {
        const int nowhere = open("/dev/null", O_RDWR);
        dup2(nowhere, STDIN_FILENO);
        dup2(ends[1], STDOUT_FILENO);
        dup2(nowhere, STDERR_FILENO);
        work();
        _exit(0);
    }
    close(ends[1]);
    std::string output;
    char part[4096];
    for (ssize_t count; (count = read(ends[0], part, sizeof(part))) > 0;) {
        output.append(part, static_cast<size_t>(count));
    }
    close(ends[0]);
    if (child > 0) {
        waitpid(child, nullptr, 0);
    }
    return output;
}

// Returns the path of the dynamic linker that has loaded core-doctor.
static std::string dynamicLinker()
{
    const char* path = "";
    dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void* result) { // must not throw: the C library's function is the caller
            for (int i = 0; i < info->dlpi_phnum; ++i) {
                if (info->dlpi_phdr[i].p_type == PT_INTERP) {
                    *static_cast<const char**>(result) =
                        reinterpret_cast<const char*>(info->dlpi_addr + info->dlpi_phdr[i].p_vaddr);
                }
            }
            return 1; // the program itself comes first
        },
        &path);
    return path;
}

// Reads a line such as "\tlibcore.so.1 => /usr/lib/libcore.so.1 (0x7f00)".
static bool readLine(const std::string& line, LinkedLibrary* library)
{
    const size_t arrow = line.find(" => ");
    if (line.empty() || line[0] != '\t' || arrow == std::string::npos) {
        return false; // the dynamic linker itself, or the kernel's own library
    }
    const std::string target = line.substr(arrow + 4);
    library->name = line.substr(1, arrow - 1);
    library->path = target == "not found" ? "" : target.substr(0, target.rfind(" ("));
    return true;
}

std::vector<LinkedLibrary> librariesOf(const std::string& path)
{
    const std::string linker = dynamicLinker();
    const std::string output = outputOfChild([&] {
        setenv("LD_TRACE_LOADED_OBJECTS", "1", 1); // list the libraries, also the missing ones, and run nothing
        execl(linker.c_str(), linker.c_str(), path.c_str(), static_cast<char*>(nullptr));
    });
    std::vector<LinkedLibrary> libraries;
    for (const std::string& line : linesOf(output)) {
        LinkedLibrary library;
        if (readLine(line, &library)) {
            libraries.push_back(library);
        }
    }
    return libraries;
}

static void printFolders(void* handle)
{
    Dl_serinfo sizes;
    if (dlinfo(handle, RTLD_DI_SERINFOSIZE, &sizes) != 0) {
        return;
    }
    std::vector<char> bytes(sizes.dls_size);
    Dl_serinfo* const folders = reinterpret_cast<Dl_serinfo*>(bytes.data());
    if (dlinfo(handle, RTLD_DI_SERINFOSIZE, folders) != 0 || dlinfo(handle, RTLD_DI_SERINFO, folders) != 0) {
        return;
    }
    for (unsigned int i = 0; i < folders->dls_cnt; ++i) {
        dprintf(STDOUT_FILENO, "%s\n", folders->dls_serpath[i].dls_name);
    }
}

// Prints the path, the version and the folders, a line each.
static void printAnswer(const std::string& library)
{
    void* handle = dlopen(library.c_str(), RTLD_LAZY | RTLD_LOCAL);
    void* function = handle ? dlsym(handle, "_Z11CoreVersionv") : nullptr; // CoreVersion()
    Dl_info place;
    if (function && dladdr(function, &place)) {
        dprintf(STDOUT_FILENO, "%s\n%s\n", place.dli_fname, reinterpret_cast<const char* (*)()>(function)());
        printFolders(handle);
    }
}

LibraryAnswer askLibrary(const std::string& library)
{
    std::vector<std::string> lines = linesOf(outputOfChild([&] { printAnswer(library); }));
    if (lines.size() < 2) {
        return {};
    }
    return {lines[0], lines[1], {lines.begin() + 2, lines.end()}};
}
