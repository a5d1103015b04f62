// libcore loads libcore-appkit when the game first needs a window. Here it is only looked for and never loaded, because
// AppKit may write files of its own when it starts.
#include "core/version.h"
#include "macapi/src/system/disk.h"
#include "tools/core-doctor/linker.h"
#include "tools/core-doctor/subjects.h"

#include <unistd.h>
#include <vector>

static const char sc_section[] = "windows";

// Returns the path; empty if the library is not in the folders that are searched for libcore, nor beside libcore.
static std::string findLibrary(const std::string& name, const std::string& libcore)
{
    std::vector<std::string> folders = askLibrary(libcore).folders;
    folders.push_back(macapi::folderOf(libcore));
    for (const std::string& folder : folders) {
        const std::string path = folder + "/" + name;
        if (access(path.c_str(), R_OK) == 0) {
            return path;
        }
    }
    return "";
}

void lookAtAppKit(const std::string& libcore, Report* report)
{
    if (libcore.empty()) {
        return;
    }
    const std::string name = "libcore-appkit.so." + std::to_string(CORE_VERSION_MAJOR);
    const std::string found = findLibrary(name, libcore);
    report->add(sc_section, "AppKit", found.empty() ? name + " is not found" : found);
    if (found.empty()) {
        report->warn("appkit-missing", name + " is not found, so games show no windows.",
                     "Install the package libcore-appkit1, or build core where GNUstep's AppKit is installed.");
        return;
    }
    for (const LinkedLibrary& library : librariesOf(found)) {
        if (library.path.empty()) {
            report->warn("appkit-incomplete", name + " needs " + library.name + ", which is not found.",
                         "Install GNUstep's libraries, libgnustep-gui and gnustep-back.");
        }
        if (library.name.rfind("libgnustep-gui", 0) == 0) {
            report->add(sc_section, "GNUstep", library.path.empty() ? library.name + " is not found" : library.path);
        }
    }
}
