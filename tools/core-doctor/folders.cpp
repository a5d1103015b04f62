#include "macapi/src/system/folders.h"
#include "macapi/src/system/disk.h"
#include "macapi/src/system/trust.h"
#include "tools/core-doctor/subjects.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

using namespace macapi;

static const char sc_section[] = "folders";

// Returns true if this user may make files in the folder. A folder that does not exist will be made, so the nearest
// folder above it that exists counts.
static bool canWrite(std::string folder)
{
    while (faccessat(AT_FDCWD, folder.c_str(), F_OK, AT_EACCESS) != 0 && errno == ENOENT && folder != "/") {
        folder = folderOf(folder);
        folder = folder.empty() ? "/" : folder;
    }
    return faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

static void lookAtFolder(const std::string& name, const std::string& path, Report* report)
{
    if (path.empty()) {
        report->add(sc_section, name, "no folder, the user has no home");
        report->warn("folder-unusable", "There is no " + name + " folder, because the user has no home.",
                     "Set HOME, or MACAPI_LIBRARY and MACAPI_USER_LIBRARY.");
        return;
    }
    const bool exists = openFolder(path, MissingFolders::Fail) >= 0;
    const int error = exists ? 0 : errno;
    const bool isUsable = exists || error == ENOENT;
    const bool isWritable = isUsable && canWrite(path);
    const char* state = exists ? "" : ", does not exist yet";
    if (!isUsable) {
        const std::string why = error == sc_foreignLink ? "another user's link is on the path" : strerror(error);
        report->add(sc_section, name, path + ", unusable: " + why);
        report->warn("folder-unusable", "The " + name + " folder can't be used: " + path + ": " + why + ".",
                     "Remove what is in the way, or name another folder in MACAPI_LIBRARY or MACAPI_USER_LIBRARY.");
        return;
    }
    report->add(sc_section, name, path + state + (isWritable ? "" : ", can't be written"));
    if (!isWritable) {
        report->warn("folder-read-only", "The " + name + " folder can't be written: " + path + ".",
                     "Give this user the right to write it, or name another folder in MACAPI_LIBRARY or "
                     "MACAPI_USER_LIBRARY.");
    }
}

void lookAtFolders(const Game& game, Report* report)
{
    const std::string support = systemFolder(kLocalDomain, kApplicationSupportFolderType);
    if (!game.path.empty() && !support.empty()) {
        lookAtFolder("data", support + "/Brackenlow/" + game.name, report);
    }
    lookAtFolder("machine's Application Support", support, report);
    lookAtFolder("user's Preferences", systemFolder(kUserDomain, kPreferencesFolderType), report);
    lookAtFolder("machine's Preferences", systemFolder(kLocalDomain, kPreferencesFolderType), report);
}
