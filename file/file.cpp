// Files and paths, on top of the streams of the C library.
//
// 1. Converting a path does not change its length. So each part of a path can be converted in place.
// 2. Only a regular file is opened. Opening a pipe can wait without end, and opening a device can make the device
//    act.
// 3. The descriptor of a file is greater than 2, and it is closed on exec. With descriptor 2 the log would write
//    its messages into the file.
// 4. A path that ends with a symbolic link of another user is not opened for writing. A file is truncated to 0 bytes
//    only after all these checks.
#include "file/file.h"

#include <algorithm>
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

// Maps 'A' to 'Z' to 'a' to 'z' and each other byte to itself, in every locale.
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

// Replaces a drive at the start of path. Backslashes are already converted. This host has no drives: "C:/" becomes
// the root folder, and "C:" without a slash becomes the working folder.
static void convertDrive(char* path)
{
    if (hasDrive(path)) {
        memcpy(path, path[2] == '/' ? "/." : "./", 2);
    }
}

// Returns true if the file or folder exists that path names up to end. end points into path.
static bool existsUpTo(const char* path, char* end)
{
    const char next = *end;
    *end = '\0';
    const bool exists = access(path, F_OK) == 0;
    *end = next;
    return exists;
}

// Returns the path to open, as file.h describes it. The caller frees it with free. Returns null without memory.
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

// A mode of fopen, converted for open and fdopen.
struct OpenMode {
    int flags;      // for open, without O_TRUNC
    bool empties;   // true: an existing file is truncated to 0 bytes
    char stream[3]; // the mode for fdopen
};

// Converts a mode. Returns false, with EINVAL in errno, if it does not begin with r, w or a. Ignores unknown
// letters and everything after a comma.
static bool parseMode(const char* mode, OpenMode* result)
{
    const char* const end = mode + strcspn(mode, ",");
    const bool updates = std::find(mode, end, '+') != end;
    const int access = updates ? O_RDWR : mode[0] == 'r' ? O_RDONLY : O_WRONLY;
    const int exclusive = std::find(mode, end, 'x') != end ? O_EXCL : 0;
    switch (mode[0]) {
    case 'r':
        result->flags = access;
        break;
    case 'w':
        result->flags = access | O_CREAT | exclusive;
        break;
    case 'a':
        result->flags = access | O_CREAT | O_APPEND | exclusive;
        break;
    default:
        errno = EINVAL;
        return false;
    }
    result->empties = mode[0] == 'w';
    result->stream[0] = mode[0];
    result->stream[1] = updates ? '+' : '\0';
    result->stream[2] = '\0';
    return true;
}

// While an object of this class exists, the descriptors 0 to 2 are in use. In a process that was started without
// standard streams, the next file that is opened would otherwise get one of them.
class StandardStreams {
public:
    StandardStreams()
    {
        for (int stream = 0; stream <= STDERR_FILENO; ++stream) {
            const bool closed = fcntl(stream, F_GETFD) == -1;
            const int fill = closed ? open("/dev/null", O_RDWR | O_CLOEXEC) : -1;
            if (fill > STDERR_FILENO) {
                close(fill); // another thread has taken the free descriptor in the meantime
            } else if (fill >= 0) {
                m_fills[m_count++] = fill;
            }
        }
    }
    ~StandardStreams()
    {
        while (m_count > 0) {
            close(m_fills[--m_count]);
        }
    }
    StandardStreams(const StandardStreams&) = delete;
    StandardStreams& operator=(const StandardStreams&) = delete;

private:
    int m_fills[3];
    int m_count = 0;
};

// Closes a descriptor without changing errno.
static void closeQuietly(int descriptor)
{
    const int error = errno;
    close(descriptor);
    errno = error;
}

// Does not wait for the other end of a pipe.
static int openAnywhere(const char* path, int flags)
{
    return open(path, flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666);
}

static int openToChange(const char* path, int flags)
{
    const StandardStreams streams;
    return openAnywhere(path, flags);
}

// Opens path and returns its descriptor, which is greater than 2; -1 on failure, with the reason in errno. A file that
// is only read may have the number of a standard stream for a moment: the log of another thread cannot write into it.
static int openDescriptor(const char* path, int flags)
{
    const bool isRead = (flags & O_ACCMODE) == O_RDONLY;
    const int descriptor = isRead ? openAnywhere(path, flags) : openToChange(path, flags);
    if (descriptor < 0 || descriptor > STDERR_FILENO) {
        return descriptor;
    }
    const int above = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    closeQuietly(descriptor);
    return above;
}

// The Mac's call for extra rights (setuid, setgid, capabilities); on other hosts macapi exports it. The file library
// does not need macapi: in a program without macapi the reference is null.
#pragma GCC visibility push(default)
extern "C" __attribute__((weak)) int issetugid();
#pragma GCC visibility pop

// Returns true if the process was started with more rights than its user has. Returns false if that is not known.
static bool hasExtraRights()
{
    return issetugid && issetugid() != 0;
}

// In a user namespace, root's files can have an owner other than 0; the root folder has the same owner.
static bool ownsRootFolder(uid_t user)
{
    struct stat root;
    return stat("/", &root) == 0 && user == root.st_uid;
}

// Returns true for root, for the owner of the root folder, and for the effective user of this process. In a setgid
// process, or one with capabilities, the effective user is the user who started it. That user does not have the
// rights of the process, and is not trusted. core/otherslinks.cpp and macapi/src/system/trust.cpp have the same rule.
static bool isTrusted(uid_t user)
{
    if (user != 0 && user == geteuid()) {
        return !hasExtraRights() || user != getuid();
    }
    return user == 0 || ownsRootFolder(user);
}

// Opens a file for writing. Follows a symbolic link only if lstat has shown that a trusted user made it. Another
// user can replace the file by a link between lstat and open; then open fails with ELOOP, and the function tries
// again. Returns the descriptor; -1 on failure, with the reason in errno.
static int openToWrite(const char* path, int flags)
{
    for (int attempt = 0; attempt < 100; ++attempt) {
        struct stat status;
        const bool isLink = lstat(path, &status) == 0 && S_ISLNK(status.st_mode);
        if (isLink && !isTrusted(status.st_uid)) {
            errno = ELOOP;
            return -1;
        }
        const int descriptor = openDescriptor(path, isLink ? flags : flags | O_NOFOLLOW);
        if (descriptor >= 0 || errno != ELOOP || isLink) {
            return descriptor;
        }
    }
    return -1; // path changed between lstat and open in each of the 100 attempts
}

// Returns true for a regular file. Otherwise returns false and sets errno.
static bool isRegular(const struct stat& status)
{
    if (!S_ISREG(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    }
    return S_ISREG(status.st_mode);
}

// Opens a regular file and returns its descriptor; -1 on failure, with the reason in errno. stat checks the kind of
// the file before it is opened. fstat checks the opened file again, because the path may name another file by then.
static int openRegular(const char* path, const OpenMode& mode)
{
    struct stat status;
    if (stat(path, &status) == 0 && !isRegular(status)) {
        return -1;
    }
    const bool writes = (mode.flags & O_ACCMODE) != O_RDONLY;
    const int descriptor = writes ? openToWrite(path, mode.flags) : openDescriptor(path, mode.flags);
    if (descriptor < 0) {
        return -1;
    }
    if (fstat(descriptor, &status) != 0 || !isRegular(status) ||
        fcntl(descriptor, F_SETFL, mode.flags & O_APPEND) != 0 || // O_NONBLOCK was for opening only
        (mode.empties && status.st_size > 0 && ftruncate(descriptor, 0) != 0)) {
        closeQuietly(descriptor);
        return -1;
    }
    return descriptor;
}

static FILE* openStream(const char* path, const char* mode)
{
    OpenMode asked;
    char* host = path && mode && parseMode(mode, &asked) ? hostPath(path) : nullptr;
    if (!host) {
        return nullptr;
    }
    const int descriptor = openRegular(host, asked);
    free(host);
    FILE* stream = descriptor >= 0 ? fdopen(descriptor, asked.stream) : nullptr;
    if (!stream && descriptor >= 0) {
        closeQuietly(descriptor);
    }
    return stream;
}

_BkzFileType_s* File::open(const char* name, const char* mode)
{
    // The handle is allocated first: without memory for it, mode "w" must not empty the file.
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
    fflush(file->stream); // bytes in the stream's buffer count as well
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
        return 0; // fread does not check this product for overflow: it would read fewer bytes and report all items
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

// stricmp for two texts whose first letters are equal. It is a separate function that is not inlined: otherwise each
// call of stricmp would save registers for the work here.
static __attribute__((noinline)) int compareFromSecond(const char* left, const char* right)
{
    // For speed: most texts that are equal have equal bytes.
    if (strcmp(left, right) == 0) {
        return 0;
    }
    while (*left && lower(*left) == lower(*right)) {
        ++left;
        ++right;
    }
    return lower(*left) - lower(*right);
}

int stricmp(const char* left, const char* right)
{
    if (!left || !right) {
        return (left ? 1 : 0) - (right ? 1 : 0);
    }
    // For speed: most texts that differ have different first letters.
    const int difference = lower(*left) - lower(*right);
    return difference != 0 ? difference : compareFromSecond(left, right);
}

// The address of this library's own stricmp, for core/equalnames.h. `&stricmp` is the function that the process uses,
// which may be a function of the program. Only ELF linkers can give a function a second name. On other hosts the address
// is null, and core calls stricmp for each comparison.
//
// If you copy this file and change stricmp, remove this pointer: when core finds this address, it compares names by the
// rules of the stricmp above, and does not call it.
namespace fileLibrary {
#ifdef __ELF__
static int ownStricmp(const char* left, const char* right) __attribute__((alias("_Z7stricmpPKcS0_")));
#else
static int (*const ownStricmp)(const char*, const char*) = nullptr;
#endif
extern __attribute__((visibility("default"))) int (*const _stricmp)(const char*, const char*);
int (*const _stricmp)(const char*, const char*) = ownStricmp;
} // namespace fileLibrary
