// Looking for links of other users in a path.
//
// The path is walked as the system walks it: part by part, and a trusted link is replaced by its target.
#include "core/otherslinks.h"

#include "file/file.h"

#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

typedef char Text[1024];

static const int sc_mostLinks = 40; // a path with more of them is one that the system does not open either

// Root, this process's user, and the owner of the root folder: to a process in a user namespace root's files belong to
// another number.
static bool isTrusted(uid_t user)
{
    struct stat root;
    return user == 0 || user == geteuid() || (stat("/", &root) == 0 && user == root.st_uid);
}

// The bytes of path up to the end of the part that begins at or behind start; start itself where there is no more part.
static size_t partEnd(const char* path, size_t start)
{
    const size_t name = start + strspn(path + start, "/");
    return path[name] == '\0' ? start : name + strcspn(path + name, "/");
}

// Replaces the link that the first end bytes of path name by its target. False where that finds no room.
static bool replaceLink(Text& path, size_t end)
{
    Text target;
    Text part;
    snprintf(part, sizeof(part), "%.*s", static_cast<int>(end), path);
    const ssize_t length = readlink(part, target, sizeof(target) - 1);
    if (length < 0 || length == sizeof(target) - 1) { // it may be cut
        return false;
    }
    target[length] = '\0';
    char* const name = strrchr(part, '/');
    *(name ? name + 1 : part) = '\0'; // the folder of the link
    Text whole;
    const int size = snprintf(whole, sizeof(whole), "%s%s%s", target[0] == '/' ? "" : part, target, path + end);
    memcpy(path, whole, sizeof(path));
    return size >= 0 && size < static_cast<int>(sizeof(whole));
}

// Whether users that are not trusted can make files in the folder of path's first end bytes.
static bool isInSharedFolder(const char* path, size_t end)
{
    Text folder;
    snprintf(folder, sizeof(folder), "%.*s", static_cast<int>(end), path);
    char* const name = strrchr(folder, '/');
    if (!name) {
        strcpy(folder, ".");
    } else {
        name[name == folder ? 1 : 0] = '\0';
    }
    struct stat status;
    if (stat(folder, &status) != 0) {
        return false;
    }
    const bool group = (status.st_mode & S_IWGRP) != 0 && status.st_gid != getegid();
    return group || (status.st_mode & S_IWOTH) != 0 || !isTrusted(status.st_uid);
}

// path is changed on the way.
static bool hasOthersLink(Text& path)
{
    int links = 0;
    for (size_t end = partEnd(path, 0), start = 0; end != start; end = partEnd(path, start)) {
        Text part;
        snprintf(part, sizeof(part), "%.*s", static_cast<int>(end), path);
        struct stat status;
        if (lstat(part, &status) != 0) {
            return false;
        }
        if (!S_ISLNK(status.st_mode)) {
            if (S_ISREG(status.st_mode) && status.st_nlink > 1 && isInSharedFolder(path, end)) {
                return true;
            }
            start = end;
            continue;
        }
        if (!isTrusted(status.st_uid) || ++links > sc_mostLinks || !replaceLink(path, end)) {
            return true;
        }
        start = 0;
    }
    return false;
}

bool HasOthersLink(const char* path)
{
    Text walked;
    snprintf(walked, sizeof(walked), "%s", path);
    const bool isDOSPath = strchr(walked, '\\') != nullptr || (walked[0] != '\0' && walked[1] == ':');
    if (hasOthersLink(walked)) {
        return true;
    }
    if (!isDOSPath) {
        return false;
    }
    snprintf(walked, sizeof(walked), "%s", path);
    ConvertDOSToMacPath(walked, walked);
    return hasOthersLink(walked);
}
