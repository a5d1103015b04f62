// Paths that lead through folders to which other users may write.
//
// Another user may put a symbolic link into such a folder. The link may name any file of the reader. So each part of
// a path is opened by itself, and a link is followed only if its owner is trusted:
//
//   Owner of the link                        Followed
//   root                                     yes
//   the owner of the root folder             yes: in a user namespace, root's files can have an owner other than 0
//   the effective user of the process        yes, except in a process with extra rights whose real and effective user
//                                            are the same (setgid, capabilities, or dropped rights): no
//   any other user                           no: the result is sc_foreignLink
//
// A folder is held by its descriptor. So it remains the same folder when another user renames it or puts a link in
// its place.
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

// Opens a folder, to reach the files in it (O_PATH). With MissingFolders::Make, makes it and the folders around it if
// they are missing. Returns a negative descriptor on failure, with the reason in errno.
Descriptor openFolder(const std::string& path, MissingFolders missing);

struct FilePlace {
    Descriptor folder;
    std::string name;  // the name in that folder; the file may be missing
    bool isBehindLink; // the last part of the path is a link that was followed
};

// Finds the folder and the name of the file that a path leads to. Returns 0 or an errno value.
int findFile(const std::string& path, MissingFolders missing, FilePlace* place);

} // namespace macapi
