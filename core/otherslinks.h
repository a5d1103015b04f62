// Symbolic links that another user put into a path. Not for games.
//
// The data folder can be shared: then all of its users may write to it, and one of them can make a link there that leads
// to another one's files. Such a link is not followed to a file that is to be written.
#pragma once

// Whether a part of the path is a link that neither this process's user nor root made; also the link's own target is
// looked at, and the links in that. True also for a file with a second name in a folder that other users may write to:
// the second name can be one of them's work. False where the path, or a part of it, is not there. path may be spelled the
// DOS way. The answer is about this moment: another user can change the folder afterwards.
bool HasOthersLink(const char* path);
