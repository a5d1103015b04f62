// Files in folders that other users may write to.
//
// Another user may put a symbolic link in such a folder, which leads to any file of the reader's. So a link is followed
// only when it belongs to the user that the process acts for, or to root. That holds for each part of a path. A folder
// is held by its descriptor, so that it stays the same folder when another user renames it or puts a link in its place.
//
//     FilePlace place;
//     if (findFile(path, MissingFolders::Make, &place) == 0) {
//         const Descriptor file = openAt(place.folder, place.name, O_RDONLY | O_NOFOLLOW);
//     }
#pragma once

#include "macapi/src/system/descriptor.h"

#include <string>

namespace macapi {

// The error for a link that is not followed. No call of the system that this code makes gives the same error.
const int sc_foreignLink = ENOLINK;

enum class MissingFolders { Fail, Make };

// Opens a folder to reach what is in it. Negative on error; errno tells why.
Descriptor openFolder(const std::string& path, MissingFolders missing);

struct FilePlace {
    Descriptor folder;
    std::string name;  // in that folder; the file may be missing
    bool isBehindLink; // the path's last part is a link that was followed
};

// Finds where the file of a path lies. Returns 0, or the error.
int findFile(const std::string& path, MissingFolders missing, FilePlace* place);

} // namespace macapi
