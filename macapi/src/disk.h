// Files as a whole: read at once, replaced at once, for good.
#pragma once

#include <string>
#include <string_view>
#include <sys/stat.h>

namespace macapi {

const off_t sc_mostBytes = 16 << 20; // of a file that is read: more than any property list of a program's needs

// The path up to its last slash.
std::string folderOf(const std::string& path);

// The file that path leads to through all symbolic links, whether it is there or not.
std::string followLinks(const std::string& path);

// 0; else the error, and nothing read: EFBIG for more than sc_mostBytes, EINVAL for what is no regular file. *status,
// where it is asked for, is of the very file that was read.
int readFile(const std::string& path, std::string* contents, struct stat* status = nullptr);

struct FileRights {
    mode_t mode;
    uid_t user;
    gid_t group;
};

// A file that was not there before, in the place of any that was. False, and none there, when it cannot be written
// whole; with onDisk, when it is not there for good.
bool writeNewFile(const std::string& path, std::string_view contents, const FileRights& rights, bool onDisk);

// Gives the file new contents: until the moment it has them all it has the old. True when they survive a loss of
// power. False when it still has the old, or when the disk failed at the very last: then it may have either. One
// process at a time: what it writes meanwhile has one name, so that a process that was killed leaves no more than that
// behind.
bool replaceFile(const std::string& path, std::string_view contents, const FileRights& rights);

// Puts what was renamed, made or removed in a folder on the disk.
bool syncFolder(const std::string& path);

// Held by one process at a time, and by no thread beside another of the same process: that is the caller's to see to.
// It ends with its process, however that ends, and no child has it.
class FileLock {
public:
    FileLock(const std::string& path, mode_t mode); // waits
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    bool held() const { return m_file >= 0; }

private:
    int m_file;
};

} // namespace macapi
