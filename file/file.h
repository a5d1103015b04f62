// Files and paths: open, read, convert, compare. A sibling library of the engine's; a game may bring its own.
//
//     _BkzFileType_s* file = File::open("data\\units.txt", "rb");
//     if (file) {
//         units.resize(File::getLength(file));         // a std::string
//         complete = File::read(&units[0], units.size(), 1, file) == 1;
//         File::close(file);
//     }
//
// Paths are spelled the host's way ("data/units.txt"), the DOS way ("C:\data\units.txt") or in a mixture.
// When a path is opened, a name between its slashes that exists with its backslashes or colon is that very
// file or folder; in any other they are separators and drive, and mean what ConvertDOSToMacPath says.
//
// Only regular files are opened. A folder, a pipe, a socket or a device counts as not there, and nothing waits for one.
// A file that is opened has a descriptor above 2, which closes when the process starts another program. A file is not
// written through a symbolic link that another user made; root's links and the user's own are followed.
//
// Any thread may call, but only one at a time for the same file. A handle is ordinary memory, the caller's
// until it is closed.
#pragma once

#include <stdio.h>

#pragma GCC visibility push(default)

struct _BkzFileType_s {
    FILE* stream; // an ordinary stream: print to it, seek in it, but leave closing it to File::close
};

class File {
public:
    // mode is fopen's: "r", "w" or "a", with "+", "b" and "x"; other letters mean nothing. Null when it can't be opened.
    static _BkzFileType_s* open(const char* name, const char* mode);

    // Bytes, those just written included; the position stays. 0 for a length that an unsigned long can't hold.
    static unsigned long getLength(_BkzFileType_s* file);

    // The number of whole items read. 0 when nothing is asked for, or more bytes than memory can have.
    static unsigned long read(void* buffer, unsigned long size, unsigned long count, _BkzFileType_s* file);

    // fclose's answer: EOF when the last bytes could not be written. The handle is gone either way. EOF for
    // null, too.
    static int close(_BkzFileType_s* file);
};

// As fopen, for regular files alone. mode is that of File::open. The caller closes the stream with fclose.
FILE* fopen_mac(const char* path, const char* mode);

// Turns a path into the host's spelling; every character keeps its place. '\' becomes '/'; the drive of
// "C:\data" becomes "/.", which makes it "/./data", and that of "C:data" becomes "./". Only the text counts,
// not what is on the disk. out has room for the whole of in, and may be in itself. Null in makes an empty
// path, null out nothing.
void ConvertDOSToMacPath(const char* in, char* out);

// As strcmp, with 'A' to 'Z' read as 'a' to 'z' in every locale. Bytes count as unsigned, and those from 0x80
// on equal only themselves. Null equals null and comes before every text.
int stricmp(const char* left, const char* right);

#pragma GCC visibility pop
