// Finding symbolic links of other users in a path.
//
// The path is checked as the system follows it: part by part from its beginning. Each trusted link is replaced by
// its target, and the check begins again at the start of the new path.
#include "core/otherslinks.h"

#include "file/file.h"

#include <Carbon/Carbon.h>

#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

typedef char Text[1024];

static const int sc_mostLinks = 40; // Linux opens no path with more links

// In a user namespace, root's files can have an owner other than 0; the root folder has the same owner.
static bool ownsRootFolder(uid_t user)
{
    struct stat root;
    return stat("/", &root) == 0 && user == root.st_uid;
}

// Returns true for root, for the owner of the root folder, and for the effective user of this process. In a setgid
// process, or one with capabilities, the effective user is the user who started it. That user does not have the
// rights of the process, and is not trusted. file/file.cpp and macapi/src/system/trust.cpp have the same rule.
static bool isTrusted(uid_t user)
{
    if (user != 0 && user == geteuid()) {
        return !issetugid() || user != getuid();
    }
    return user == 0 || ownsRootFolder(user);
}

// A part is a name between slashes. Returns the offset at which the first part at or after the offset start ends;
// start if there is no further part.
static size_t partEnd(const char* path, size_t start)
{
    const size_t name = start + strspn(path + start, "/");
    return path[name] == '\0' ? start : name + strcspn(path + name, "/");
}

// The first end bytes of path name a link. Replaces them by the target of the link. Returns false if the link
// cannot be read or the result needs more than 1023 bytes.
static bool replaceLink(Text& path, size_t end)
{
    Text target;
    Text part;
    snprintf(part, sizeof(part), "%.*s", static_cast<int>(end), path);
    const ssize_t length = readlink(part, target, sizeof(target) - 1);
    if (length < 0 || length == sizeof(target) - 1) { // a full buffer: the target may be truncated
        return false;
    }
    target[length] = '\0';
    char* const name = strrchr(part, '/');
    *(name ? name + 1 : part) = '\0'; // the folder of the link
    Text whole;
    const int size = snprintf(whole, sizeof(whole), "%s%s%s", target[0] == '/' ? "" : part, target, path + end);
    memcpy(path, whole, sizeof(path));
    return static_cast<size_t>(size) < sizeof(whole);
}

// The first end bytes of path name a file. Returns true if users that are not trusted can make files in its folder, or
// if the folder is gone: then another process has removed or moved it since the caller found the file.
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
        return true;
    }
    const bool group = (status.st_mode & S_IWGRP) != 0 && status.st_gid != getegid();
    return group || (status.st_mode & S_IWOTH) != 0 || !isTrusted(status.st_uid);
}

// HasOthersLink for one spelling of the path. Changes path.
static bool hasOthersLink(Text& path, size_t* checked)
{
    int links = 0;
    size_t start = *checked;
    for (size_t end = partEnd(path, start); end != start; end = partEnd(path, start)) {
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
            *checked = links == 0 ? end : *checked; // after a link, path is no longer the caller's path
            continue;
        }
        if (!isTrusted(status.st_uid) || ++links > sc_mostLinks || !replaceLink(path, end)) {
            return true;
        }
        start = 0;
    }
    return false;
}

bool HasOthersLink(const char* path, size_t* checked)
{
    Text walked;
    size_t none = 0;
    snprintf(walked, sizeof(walked), "%s", path);
    const bool isDOSPath = strchr(walked, '\\') != nullptr || (walked[0] != '\0' && walked[1] == ':');
    if (!isDOSPath) {
        return hasOthersLink(walked, checked ? checked : &none);
    }
    if (hasOthersLink(walked, &none)) {
        return true;
    }
    none = 0;
    snprintf(walked, sizeof(walked), "%s", path);
    ConvertDOSToMacPath(walked, walked);
    return hasOthersLink(walked, &none);
}
