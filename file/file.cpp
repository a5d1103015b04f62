// Files and paths, over the standard streams.
//
// 1. Converting a path never changes its length, so any stretch of it can be converted where it stands.
// 2. No stream that leaves this file is a folder's: such a one opens, but can't be read and has no sane length.
#include "file/file.h"

#include <algorithm>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

// Each byte with 'A' to 'Z' folded: the same in every locale.
struct LowerCase {
    constexpr LowerCase() : of()
    {
        for (int byte = 0; byte < 256; ++byte) {
            of[byte] = static_cast<unsigned char>(byte >= 'A' && byte <= 'Z' ? byte + ('a' - 'A') : byte);
        }
    }
    unsigned char of[256];
};
static constexpr LowerCase sc_lowerCase;

static int lower(char letter)
{
    return sc_lowerCase.of[static_cast<unsigned char>(letter)];
}

static bool hasDrive(const char* path)
{
    return lower(path[0]) >= 'a' && lower(path[0]) <= 'z' && path[1] == ':';
}

// There is one tree here: "C:\" is its root, and the folder that "C:" was last in is the working folder.
static void convertDrive(char* path)
{
    if (hasDrive(path)) {
        memcpy(path, path[2] == '/' ? "/." : "./", 2);
    }
}

static bool existsUpTo(const char* path, char* end)
{
    const char behind = *end;
    *end = '\0';
    const bool exists = access(path, F_OK) == 0;
    *end = behind;
    return exists;
}

// The path to open, in a block for the caller to free; null without memory.
static char* hostPath(const char* path)
{
    char* host = strdup(path);
    if (!host || (!hasDrive(host) && !strchr(host, '\\'))) {
        return host;
    }
    for (char* name = host; *name;) {
        char* end = name + strcspn(name, "/");
        if (!existsUpTo(host, end)) {
            std::replace(name, end, '\\', '/');
            if (name == host) {
                convertDrive(host);
            }
        }
        name = end + strspn(end, "/");
    }
    return host;
}

static bool isFolder(FILE* stream)
{
    struct stat status;
    return fstat(fileno(stream), &status) == 0 && S_ISDIR(status.st_mode);
}

static FILE* openStream(const char* path, const char* mode)
{
    char* host = path && mode ? hostPath(path) : nullptr;
    if (!host) {
        return nullptr;
    }
    FILE* stream = fopen(host, mode);
    free(host);
    if (stream && isFolder(stream)) {
        fclose(stream);
        return nullptr;
    }
    return stream;
}

_BkzFileType_s* File::open(const char* name, const char* mode)
{
    // The handle first: with no memory for it, a file that is there isn't emptied in vain.
    _BkzFileType_s* file = static_cast<_BkzFileType_s*>(malloc(sizeof(_BkzFileType_s)));
    if (!file) {
        return nullptr;
    }
    file->stream = openStream(name, mode);
    if (!file->stream) {
        free(file);
        return nullptr;
    }
    return file;
}

unsigned long File::getLength(_BkzFileType_s* file)
{
    if (!file) {
        return 0;
    }
    struct stat status;
    fflush(file->stream); // what is still on its way to the file counts as well
    if (fstat(fileno(file->stream), &status) != 0 || !S_ISREG(status.st_mode)) {
        return 0;
    }
    const unsigned long length = static_cast<unsigned long>(status.st_size);
    return static_cast<off_t>(length) == status.st_size ? length : 0;
}

unsigned long File::read(void* buffer, unsigned long size, unsigned long count, _BkzFileType_s* file)
{
    unsigned long bytes;
    if (!buffer || !file || __builtin_mul_overflow(size, count, &bytes)) {
        return 0; // fread multiplies without a look, and would call a few bytes all of them
    }
    return fread(buffer, size, count, file->stream);
}

int File::close(_BkzFileType_s* file)
{
    if (!file) {
        return EOF;
    }
    const int result = fclose(file->stream);
    free(file);
    return result;
}

FILE* fopen_mac(const char* path, const char* mode)
{
    return openStream(path, mode);
}

void ConvertDOSToMacPath(const char* in, char* out)
{
    if (!out) {
        return;
    }
    if (!in) {
        out[0] = '\0';
        return;
    }
    memmove(out, in, strlen(in) + 1);
    std::replace(out, out + strlen(out), '\\', '/');
    convertDrive(out);
}

int stricmp(const char* left, const char* right)
{
    if (!left || !right) {
        return (left ? 1 : 0) - (right ? 1 : 0);
    }
    // Texts that differ mostly do so in their first letter, and those that are equal mostly are to the last byte.
    if (lower(*left) == lower(*right)) {
        if (strcmp(left, right) == 0) {
            return 0;
        }
        while (*left && lower(*left) == lower(*right)) {
            ++left;
            ++right;
        }
    }
    return lower(*left) - lower(*right);
}
