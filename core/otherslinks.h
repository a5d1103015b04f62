// Finds symbolic links of other users in a path. Not for games.
//
// Several users can have the right to write to the game's data folder. One of them could make a symbolic link in it
// that leads to a file of another user, and the game of that user would then overwrite the file. So the library
// checks a path with HasOthersLink before it writes a file.
#pragma once

#include <stddef.h>

// Returns true in these cases; otherwise false, also if a part of the path does not exist.
// - A part of the path is a symbolic link, and its owner is neither root, nor the owner of the root folder, nor the
//   effective user of this process. The targets of links are checked in the same way.
// - A part of the path is a symbolic link of the user who started this process, and the process has more rights than
//   that user (setuid, setgid, capabilities), or had them and dropped them.
// - Following the links of the path needs more than 40 of them, or a path of 1024 bytes or more.
// - The path leads to a file with a second name (a hard link), in a folder that other users may write to. Another
//   user may have made that second name. The same holds for a folder that is removed or moved during the call.
//
// path may be spelled the DOS way. The result describes the moment of the call: another user can change the folder
// later.
//
// checked, if not null, saves work when a longer path with the same beginning is checked directly afterwards. It is 0
// before the first call. Each call begins after the first *checked bytes of path, and then sets *checked to the length of
// the beginning that has only parts that exist and are no links.
bool HasOthersLink(const char* path, size_t* checked = nullptr);
