// Whole files: read in one call, replaced in one step.
//
// A file is named by the descriptor of its folder and its name in that folder. If that name is a symbolic link, these
// calls do not follow it.
#pragma once

#include "macapi/src/system/descriptor.h"

#include <string>
#include <string_view>
#include <sys/stat.h>

namespace macapi {

const off_t sc_mostBytes = 16 << 20; // the largest file that is read; a property list of a program needs much less

// Returns the path of the folder: the path up to its last slash.
std::string folderOf(const std::string& path);

// Returns 0 or an errno value, and on an error changes nothing: EFBIG for more than sc_mostBytes, EINVAL for anything
// but a regular file. *status, if status is not null, describes the file that was read.
int readFile(int folder, const std::string& name, std::string* contents, struct stat* status = nullptr);

// The same for a path. Links in the path are followed.
int readFile(const std::string& path, std::string* contents);

const gid_t sc_anyGroup = static_cast<gid_t>(-1); // the group that the system gives a new file in its folder

struct FileRights {
    mode_t mode; // only the permissions, 0777, are used
    uid_t user;
    gid_t group;
};

// Makes a file; a file of that name is removed first. Returns false, and leaves no file, if the contents cannot be
// written completely; with onDisk also if the wait for the disk fails. If the writer may not give the file its group,
// the group gets only those permissions that all users have.
bool writeNewFile(int folder, const std::string& name, std::string_view contents, const FileRights& rights,
                  bool onDisk);

// Gives the file new contents in one step: it has the old contents until it has all of the new. Returns true if the
// new contents survive a loss of power. Returns false if the file still has the old contents; after a failure of the
// last wait for the disk, it may have either. Only one process at a time may do this: the temporary file NAME.new
// always has the same name, so that killed processes leave no more than one.
bool replaceFile(int folder, const std::string& name, std::string_view contents, const FileRights& rights);

// Waits until names that were made, renamed or removed in the folder are on the disk. folder may be a descriptor that
// was opened with O_PATH. Returns false on an error.
bool syncFolder(int folder);

// Waits until the names of the folder and of all folders around it are on the disk. Leaves out those that the process
// may not list. Returns false on an error of the disk.
bool syncFoldersAround(int folder);

} // namespace macapi
