// Files and paths: opening and reading files, converting paths, comparing texts without regard to case. core calls
// these functions through the dynamic linker, so a game can define its own in their place.
//
//     _BkzFileType_s* file = File::open("data\\units.txt", "rb");
//     if (file) {
//         units.resize(File::getLength(file));         // a std::string
//         complete = File::read(&units[0], units.size(), 1, file) == 1;
//         File::close(file);
//     }
//
// Paths: a path has slashes ("data/units.txt"), backslashes and a drive ("C:\data\units.txt"), or a mixture. A
// backslash or a colon can also be part of a file's name. So when a path is opened, each part between two slashes
// is first looked up as it is spelled. If no such file or folder exists, ConvertDOSToMacPath's rules apply to that
// part.
//
// - Kinds of files: only a regular file can be opened. For a folder, a pipe, a socket or a device, opening fails at
//   once.
// - Links: a path that ends with a symbolic link of another user is not opened for writing. Links of root, of the
//   owner of the root folder, and of the effective user of this process are followed. In a setgid program, and in one
//   with capabilities, links of the user who started it are not followed.
// - Descriptors: an opened file has a descriptor greater than 2. It is closed when the process starts another
//   program.
// - Threads: any thread may call. Only one thread at a time may use the same file.
// - Memory: a handle comes from malloc, not from a bank. The caller owns it until File::close.
#pragma once

#include <stdio.h>

#pragma GCC visibility push(default)

struct _BkzFileType_s {
    FILE* stream; // a stream of the C library: print to it and seek in it, but do not close it
};

class File {
public:
    // Opens a file. mode is as for fopen: "r", "w" or "a", followed by "+", "b" or "x". Other letters are ignored,
    // and also everything after a comma. Returns null if the file cannot be opened; errno then holds the
    // reason, unless an argument is null.
    static _BkzFileType_s* open(const char* name, const char* mode);

    // Returns the length of the file in bytes. Bytes in the buffer of the stream count: they are written first. The
    // position in the file does not change. Returns 0 for null, and for a length that an unsigned long cannot hold.
    static unsigned long getLength(_BkzFileType_s* file);

    // Reads up to count items of size bytes each into buffer. Returns the number of complete items that were read.
    // Returns 0 for a null argument, if size or count is 0, and if size * count is larger than an unsigned long can
    // hold.
    static unsigned long read(void* buffer, unsigned long size, unsigned long count, _BkzFileType_s* file);

    // Closes the file and frees the handle, also on failure. Returns 0; EOF if the last bytes could not be written,
    // and for null.
    static int close(_BkzFileType_s* file);
};

// Opens a file like File::open, and returns its stream; null if it cannot be opened. The caller closes the stream
// with fclose.
FILE* fopen_mac(const char* path, const char* mode);

// Converts a path to the spelling with slashes, and stores the result in out. The result has the length of the
// path. The function does not look at the disk.
//
// | In the path | Becomes | Example | Its result |
// |---|---|---|---|
// | a backslash | a slash | data\units.txt | data/units.txt |
// | a drive before a slash or backslash | "/.", the root | C:\data | /./data |
// | any other drive | "./", the working folder | C:data | ./data |
//
// out needs room for the length of in and a NUL; out and in may be the same buffer. If in is null, the
// result is an empty path. If out is null, the function does nothing.
void ConvertDOSToMacPath(const char* in, char* out);

// Compares two texts like strcmp, with 'A' to 'Z' read as 'a' to 'z' in every locale. Returns 0 if the texts are
// equal, a negative number if left comes first, a positive number if right comes first. Bytes are compared as
// unsigned numbers; a byte of 0x80 or more equals only the same byte. Null equals null and comes before every text.
int stricmp(const char* left, const char* right);

#pragma GCC visibility pop
