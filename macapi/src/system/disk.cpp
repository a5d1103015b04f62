// Reading and replacing files.
//
// A system call that a signal interrupts is made again. When a read or write transfers only a part of the bytes, it
// is continued with the rest.
#include "macapi/src/system/disk.h"

#include <algorithm>
#include <fcntl.h>
#include <stdio.h>

namespace macapi {

std::string folderOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

static const int sc_readable = O_RDONLY | O_NONBLOCK | O_NOCTTY; // O_NONBLOCK: opening a FIFO does not wait

static int readWhole(const Descriptor& file, std::string* contents, struct stat* status)
{
    struct stat found;
    if (file < 0 || fstat(file, &found) != 0) {
        return errno;
    }
    if (!S_ISREG(found.st_mode)) {
        return EINVAL;
    }
    // One byte more than the file has: then the read that finds the end of the file needs no more memory.
    std::string text(static_cast<size_t>(std::min(found.st_size, sc_mostBytes)) + 1, '\0');
    size_t length = 0;
    for (ssize_t got = 1; got > 0; length += static_cast<size_t>(got)) {
        if (length > static_cast<size_t>(sc_mostBytes)) {
            return EFBIG;
        }
        if (length == text.size()) {
            text.resize(length + 65536);
        }
        got = again([&] { return read(file, &text[length], text.size() - length); });
        if (got < 0) {
            return errno;
        }
    }
    text.resize(length);
    *contents = std::move(text);
    if (status) {
        *status = found;
    }
    return 0;
}

int readFile(int folder, const std::string& name, std::string* contents, struct stat* status)
{
    return readWhole(openAt(folder, name, sc_readable | O_NOFOLLOW), contents, status);
}

int readFile(const std::string& path, std::string* contents)
{
    return readWhole(openAt(AT_FDCWD, path, sc_readable), contents, nullptr);
}

static bool writeAll(int file, std::string_view contents)
{
    while (!contents.empty()) {
        const ssize_t written = again([&] { return write(file, contents.data(), contents.size()); });
        if (written <= 0) {
            return false;
        }
        contents.remove_prefix(written);
    }
    return true;
}

static bool sync(int file)
{
    // EINVAL: this file system does not support fsync.
    return again([&] { return fsync(file); }) == 0 || errno == EINVAL;
}

// Reduces the group's permissions to those that all users have.
static mode_t withoutGroup(mode_t mode)
{
    return (mode & ~S_IRWXG) | (mode & (mode << 3) & S_IRWXG);
}

static bool setRights(int file, const FileRights& rights)
{
    struct stat now;
    if (fstat(file, &now) != 0) {
        return false;
    }
    mode_t mode = rights.mode & 0777;
    if (now.st_uid != rights.user && fchown(file, rights.user, static_cast<gid_t>(-1)) != 0) {
        // Only root can change the owner of a file. A file that any other user writes belongs to that user.
    }
    const bool isRightGroup = rights.group == sc_anyGroup || rights.group == now.st_gid;
    if (!isRightGroup && fchown(file, static_cast<uid_t>(-1), rights.group) != 0) {
        mode = withoutGroup(mode);
    }
    return fchmod(file, mode) == 0;
}

bool writeNewFile(int folder, const std::string& name, std::string_view contents, const FileRights& rights,
                  bool onDisk)
{
    unlinkat(folder, name.c_str(), 0);
    const Descriptor file = openAt(folder, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    if (file < 0) {
        return false;
    }
    if (setRights(file, rights) && writeAll(file, contents) && (!onDisk || sync(file))) {
        return true;
    }
    unlinkat(folder, name.c_str(), 0);
    return false;
}

// Opens the folder for reading, which fsync needs.
static Descriptor listed(int folder)
{
    return openAt(folder, ".", O_RDONLY | O_DIRECTORY);
}

bool replaceFile(int folder, const std::string& name, std::string_view contents, const FileRights& rights)
{
    const Descriptor wholeFolder = listed(folder); // opened first: if this fails, nothing has been changed
    const std::string fresh = name + ".new";
    if (wholeFolder < 0 || !writeNewFile(folder, fresh, contents, rights, true)) {
        return false;
    }
    if (renameat(folder, fresh.c_str(), folder, name.c_str()) != 0) {
        unlinkat(folder, fresh.c_str(), 0);
        return false;
    }
    return sync(wholeFolder);
}

bool syncFolder(int folder)
{
    const Descriptor wholeFolder = listed(folder);
    return wholeFolder >= 0 && sync(wholeFolder);
}

// Returns true for two descriptors of one folder, and also if fstat fails.
static bool isSameFolder(int one, int other)
{
    struct stat a;
    struct stat b;
    return fstat(one, &a) != 0 || fstat(other, &b) != 0 || (a.st_dev == b.st_dev && a.st_ino == b.st_ino);
}

bool syncFoldersAround(int folder)
{
    Descriptor inner = openAt(folder, ".", O_PATH | O_DIRECTORY);
    for (;;) {
        Descriptor outer = openAt(inner, "..", O_PATH | O_DIRECTORY);
        if (outer < 0 || isSameFolder(inner, outer)) { // the root folder is its own parent
            return true;
        }
        const Descriptor wholeFolder = listed(outer);
        if (wholeFolder >= 0 && !sync(wholeFolder) && errno != EROFS) { // EROFS: nothing waits for this disk
            return false;
        }
        inner = std::move(outer);
    }
}

} // namespace macapi
