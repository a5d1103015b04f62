// Files as a whole: read at once, replaced at once, for good.
//
// A file is named by its folder's descriptor and its name there. No call here follows a link in that place.
#pragma once

#include "macapi/src/system/descriptor.h"

#include <string>
#include <string_view>
#include <sys/stat.h>

namespace macapi {

const off_t sc_mostBytes = 16 << 20; // of a file that is read: more than any property list of a program's needs

// The path up to its last slash.
std::string folderOf(const std::string& path);

// 0; else the error, and nothing read: EFBIG for more than sc_mostBytes, EINVAL for what is no regular file. *status,
// where it is asked for, is of the very file that was read.
int readFile(int folder, const std::string& name, std::string* contents, struct stat* status = nullptr);

// The same by a path, which may lead through links.
int readFile(const std::string& path, std::string* contents);

const gid_t sc_anyGroup = static_cast<gid_t>(-1); // the one that a new file has in its folder

struct FileRights {
    mode_t mode; // of these the permissions alone count, 0777
    uid_t user;
    gid_t group;
};

// Makes a file, in the place of any that was there. False, and none there, when it cannot be written whole; with
// onDisk, when it is not there for good. Where the writer may not give it the group, that group's rights shrink to those
// of all users.
bool writeNewFile(int folder, const std::string& name, std::string_view contents, const FileRights& rights,
                  bool onDisk);

// Gives the file new contents: until the moment it has them all it has the old. True when they survive a loss of
// power. False when it still has the old, or when the disk failed at the very last: then it may have either. One
// process at a time: what it writes meanwhile has one name, so that a process that was killed leaves no more than that
// behind.
bool replaceFile(int folder, const std::string& name, std::string_view contents, const FileRights& rights);

// Puts what was renamed, made or removed in a folder on the disk. The descriptor may be one that only reaches the folder.
bool syncFolder(int folder);

} // namespace macapi
