// The system's folders: two Library folders, and the folders in them.
//
// A program with extra rights does not use environment variables, because its user has set them. All its folders lie
// in the home that the password file names for the effective user of that moment.
#include "macapi/src/system/folders.h"

#include "macapi/src/system/executable.h"
#include "macapi/src/system/trust.h"

#include <errno.h>
#include <exception>
#include <mutex>
#include <pwd.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <unistd.h>
#include <vector>

using namespace macapi;

static std::string environment(const char* name)
{
    const char* value = secure_getenv(name); // null in a program with extra rights
    return value ? value : "";
}

static std::string homeFolder()
{
    std::string home = environment("HOME");
    if (!home.empty()) {
        return home;
    }
    passwd entry;
    passwd* found = nullptr;
    std::vector<char> texts(16384);
    getpwuid_r(geteuid(), &entry, texts.data(), texts.size(), &found);
    return found ? found->pw_dir : "";
}

// Returns the folder "macapi" inside the folder that the variable names, or inside HOME/usual if it names no absolute
// path. Empty for a user without a home.
static std::string desktopFolder(const char* variable, const char* usual)
{
    std::string folder = environment(variable);
    if (folder.empty() || folder[0] != '/') { // the rules for the XDG variables say to ignore a relative path
        folder = homeFolder();
        if (folder.empty()) {
            return "";
        }
        folder += usual;
    }
    return folder + "/macapi";
}

namespace macapi {

// Without variables, the folders of the machine lie in the user's home, too, where an ordinary user's game can write.
std::string systemFolder(short domain, OSType type)
{
    const bool machine = domain == kLocalDomain;
    const bool preferences = type == kPreferencesFolderType;
    std::string library = environment(machine ? "MACAPI_LIBRARY" : "MACAPI_USER_LIBRARY");
    if (library.empty()) {
        library = preferences ? desktopFolder("XDG_CONFIG_HOME", "/.config")
                              : desktopFolder("XDG_DATA_HOME", "/.local/share");
        if (library.empty()) {
            return "";
        }
        library += machine ? "/local" : "/user";
    }
    library = absolutePath(library);
    if (library.empty()) {
        return "";
    }
    return library + (library.back() == '/' ? "" : "/") + (preferences ? "Preferences" : "Application Support");
}

} // namespace macapi

// The Mac's error for an error of openFolder.
static OSErr statusOf(int error)
{
    switch (error) {
    case sc_foreignLink:
        return afpAccessDenied;
    case ENOENT:
        return fnfErr;
    case EEXIST: // a file has the name of the folder
    case ENOTDIR:
        return dirNFErr;
    case EACCES:
    case EPERM:
        return permErr;
    case EROFS:
        return wPrErr;
    case ENOSPC:
    case EDQUOT:
        return dskFulErr;
    case ENAMETOOLONG:
        return pathTooLongErr;
    default:
        return ioErr;
    }
}

// The paths of all folders that references name. No entry is ever removed, so references stay valid.
static std::mutex s_mutex;
static std::vector<std::string>& s_folders = *new std::vector<std::string>;

static const char sc_mark[8] = {'m', 'a', 'c', 'a', 'p', 'i', 'F', 'S'};

// A reference holds a mark, which shows that FSFindFolder made it, and the index of the folder's path in the table.
static FSRef referenceTo(UInt32 place)
{
    FSRef reference = {};
    memcpy(reference.hidden, sc_mark, sizeof(sc_mark));
    memcpy(reference.hidden + sizeof(sc_mark), &place, sizeof(place));
    return reference;
}

static FSRef referenceTo(const std::string& path)
{
    const std::lock_guard<std::mutex> lock(s_mutex);
    UInt32 place = 0;
    while (place < s_folders.size() && s_folders[place] != path) {
        place++;
    }
    if (place == s_folders.size()) {
        s_folders.push_back(path);
    }
    return referenceTo(place);
}

// Returns the path; empty for a reference that FSFindFolder did not make.
static std::string pathOf(const FSRef& reference)
{
    UInt32 place;
    memcpy(&place, reference.hidden + sizeof(sc_mark), sizeof(place));
    const FSRef objectOf = referenceTo(place);
    const std::lock_guard<std::mutex> lock(s_mutex);
    return memcmp(&reference, &objectOf, sizeof(objectOf)) == 0 && place < s_folders.size() ? s_folders[place] : "";
}

OSErr FSFindFolder(short domain, OSType folderType, Boolean createFolder, FSRef* folder)
try {
    if (!folder) {
        return paramErr;
    }
    if (domain != kLocalDomain && domain != kUserDomain) {
        return nsvErr;
    }
    if (folderType != kApplicationSupportFolderType && folderType != kPreferencesFolderType) {
        return fnfErr;
    }
    const std::string path = systemFolder(domain, folderType);
    if (path.empty()) {
        return fnfErr;
    }
    // Opening the folder checks every symbolic link on the path.
    if (openFolder(path, createFolder ? MissingFolders::Make : MissingFolders::Fail) < 0) {
        return createFolder || errno == sc_foreignLink ? statusOf(errno) : static_cast<OSErr>(fnfErr);
    }
    *folder = referenceTo(path);
    return noErr;
} catch (const std::exception&) {
    return ioErr;
}

OSStatus FSRefMakePath(const FSRef* folder, UInt8* path, UInt32 size)
try {
    if (!folder || !path) {
        return paramErr;
    }
    const std::string known = pathOf(*folder);
    if (known.empty()) {
        return errFSBadFSRef;
    }
    if (known.size() >= size) {
        return pathTooLongErr;
    }
    memcpy(path, known.c_str(), known.size() + 1);
    return noErr;
} catch (const std::exception&) {
    return ioErr;
}
