// Walks along a path, one part at a time.
#include "macapi/src/system/trust.h"

#include "macapi/src/system/disk.h"
#include "macapi/src/system/rights.h"

#include <algorithm>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>

namespace macapi {

static const int sc_mostLinks = 40; // the most links that are followed on one path; the system has the same limit
// Opens a folder without the permission to list it, and a link itself instead of its target.
static const int sc_handle = O_PATH | O_NOFOLLOW;

namespace {

class Walk {
public:
    Walk(const std::string& path, MissingFolders missing) : m_rest(path), m_missing(missing) {}

    // Return 0 or an errno value.
    int toFolder(Descriptor* folder);
    int toFile(FilePlace* place);

private:
    int begin();
    std::string takePart();
    int enter(const std::string& part);
    int follow(const Descriptor& link, const struct stat& status);
    Descriptor makeAndOpen(const std::string& part);

    Descriptor m_folder;
    std::string m_rest; // the rest of the path, relative to m_folder
    const MissingFolders m_missing;
    int m_links = 0;
};

} // namespace

// Opens the root folder. A processor emulator may replace "/" by a folder with the program's libraries;
// /proc/self/root leads to the real root.
static Descriptor openRoot()
{
    Descriptor root = openAt(AT_FDCWD, "/proc/self/root", O_PATH | O_DIRECTORY);
    return root >= 0 || errno != ENOENT ? std::move(root) : openAt(AT_FDCWD, "/", O_PATH | O_DIRECTORY);
}

int Walk::begin()
{
    const bool isAbsolute = !m_rest.empty() && m_rest[0] == '/';
    m_folder = isAbsolute ? openRoot() : openAt(AT_FDCWD, ".", O_PATH | O_DIRECTORY);
    return m_folder < 0 ? errno : 0;
}

// Removes the next part from m_rest and returns it; empty at the end.
std::string Walk::takePart()
{
    const size_t begin = std::min(m_rest.find_first_not_of('/'), m_rest.size());
    const size_t end = std::min(m_rest.find('/', begin), m_rest.size());
    std::string part = m_rest.substr(begin, end - begin);
    m_rest.erase(0, std::min(m_rest.find_first_not_of('/', end), m_rest.size()));
    return part;
}

// In a user namespace, root's files can have an owner other than 0; the root folder has the same owner.
static bool ownsRootFolder(uid_t owner)
{
    struct stat root;
    return fstat(openRoot(), &root) == 0 && owner == root.st_uid;
}

// Returns true for root, for the owner of the root folder, and for the user that the process acts for. A setgid
// process, or one with capabilities, acts for the user who started it; but that user does not have its rights, so
// that user's links are not trusted. core/otherslinks.cpp and file/file.cpp have the same rule.
static bool isTrusted(uid_t owner)
{
    if (owner != 0 && owner == geteuid()) {
        return !hasExtraRights() || owner != getuid();
    }
    return owner == 0 || ownsRootFolder(owner);
}

// Puts the target of the link before the rest of the path.
int Walk::follow(const Descriptor& link, const struct stat& status)
{
    if (!isTrusted(status.st_uid)) {
        return sc_foreignLink;
    }
    if (++m_links > sc_mostLinks) {
        return ELOOP;
    }
    char target[PATH_MAX];
    const ssize_t length = readlinkat(link, "", target, sizeof(target));
    if (length <= 0) {
        return length < 0 ? errno : ENOENT;
    }
    m_rest = std::string(target, length) + (m_rest.empty() ? "" : "/") + m_rest;
    return target[0] == '/' ? begin() : 0;
}

// Makes a folder in m_folder and opens it. A folder that root makes gets the owner of m_folder; otherwise that owner
// could not write to it.
Descriptor Walk::makeAndOpen(const std::string& part)
{
    struct stat around;
    struct stat made;
    if (fstat(m_folder, &around) != 0) {
        return Descriptor();
    }
    const bool isNew = mkdirat(m_folder, part.c_str(), 0755) == 0;
    if (!isNew && errno != EEXIST) {
        return Descriptor();
    }
    Descriptor folder = openAt(m_folder, part, sc_handle);
    if (isNew) {
        if (geteuid() == 0 && around.st_uid != 0 && fstat(folder, &made) == 0 && S_ISDIR(made.st_mode) &&
            made.st_uid == 0 && fchownat(folder, "", around.st_uid, around.st_gid, AT_EMPTY_PATH) != 0) {
            // This file system has no owners: the folder is used as it is.
        }
        syncFolder(m_folder); // otherwise a loss of power could remove the folder with all files in it
    }
    return folder;
}

int Walk::enter(const std::string& part)
{
    Descriptor next = openAt(m_folder, part, sc_handle);
    if (next < 0 && errno == ENOENT && m_missing == MissingFolders::Make) {
        next = makeAndOpen(part);
    }
    struct stat status;
    if (next < 0 || fstat(next, &status) != 0) {
        return errno;
    }
    if (S_ISLNK(status.st_mode)) {
        return follow(next, status);
    }
    if (!S_ISDIR(status.st_mode)) {
        return ENOTDIR;
    }
    m_folder = std::move(next);
    return 0;
}

int Walk::toFolder(Descriptor* folder)
{
    int error = begin();
    for (std::string part = takePart(); error == 0 && !part.empty(); part = takePart()) {
        error = enter(part);
    }
    *folder = std::move(m_folder);
    return error;
}

int Walk::toFile(FilePlace* place)
{
    place->isBehindLink = false;
    int error = begin();
    while (error == 0) {
        const std::string part = takePart();
        if (part.empty()) {
            return EISDIR; // the path has only slashes
        }
        if (!m_rest.empty()) {
            error = enter(part);
            continue;
        }
        const Descriptor last = openAt(m_folder, part, sc_handle);
        struct stat status = {};
        if (last < 0 ? errno != ENOENT : fstat(last, &status) != 0) {
            return errno;
        }
        if (last < 0 || !S_ISLNK(status.st_mode)) {
            place->folder = std::move(m_folder);
            place->name = part;
            return 0;
        }
        place->isBehindLink = true;
        error = follow(last, status);
    }
    return error;
}

Descriptor openFolder(const std::string& path, MissingFolders missing)
{
    Descriptor folder;
    errno = Walk(path, missing).toFolder(&folder);
    return errno == 0 ? std::move(folder) : Descriptor();
}

int findFile(const std::string& path, MissingFolders missing, FilePlace* place)
{
    return Walk(path, missing).toFile(place);
}

} // namespace macapi
