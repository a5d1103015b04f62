// Files and paths, over the standard streams.
//
// 1. Converting a path never changes its length, so any stretch of it can be converted where it stands.
// 2. Only a regular file is opened. A folder, a pipe, a socket and a device count as not there: opening one of them can
//    wait for ever, or make the device act.
// 3. A file's descriptor is above 2 and closes on exec. At 2, the log's lines would be written into the file.
// 4. No file is written through a symbolic link of another user's. A file is emptied only once all of this is known.
#include "file/file.h"

#include <algorithm>
#include <errno.h>
#include <fcntl.h>
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

// What a mode of fopen's asks for.
struct OpenMode {
    int flags;      // of open, without O_TRUNC
    bool empties;   // the file that is there
    char stream[3]; // the mode for fdopen
};

// False for a mode that is none. What is behind a comma is left out, as are letters that mean nothing here.
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

// Keeps the descriptors 0 to 2 taken while it lives. In a process without standard streams they would go to the next file
// that is opened.
class StandardStreams {
public:
    StandardStreams()
    {
        for (int stream = 0; stream <= STDERR_FILENO; ++stream) {
            const bool closed = fcntl(stream, F_GETFD) == -1;
            const int fill = closed ? open("/dev/null", O_RDWR | O_CLOEXEC) : -1;
            if (fill > STDERR_FILENO) {
                close(fill); // another thread was quicker
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

// Closes a descriptor, and leaves errno as it is.
static void closeQuietly(int descriptor)
{
    const int error = errno;
    close(descriptor);
    errno = error;
}

// Opens path above descriptor 2; -1 and errno. Never waits for the other end of a pipe.
static int openDescriptor(const char* path, int flags)
{
    const StandardStreams streams;
    const int descriptor = open(path, flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666);
    if (descriptor < 0 || descriptor > STDERR_FILENO) {
        return descriptor;
    }
    const int above = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1); // another thread closed one meanwhile
    closeQuietly(descriptor);
    return above;
}

// Root, this process's user, and the owner of the root folder: to a process in a user namespace root's files belong to
// another number.
static bool isTrusted(uid_t user)
{
    struct stat root;
    return user == 0 || user == geteuid() || (stat("/", &root) == 0 && user == root.st_uid);
}

// Opens a file that is to be written, where another user may put a link at any moment: only a link that was found to be
// trusted is followed.
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
    return -1; // path has changed all the time
}

// Sets errno where it answers false.
static bool isRegular(const struct stat& status)
{
    if (!S_ISREG(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    }
    return S_ISREG(status.st_mode);
}

// A regular file's descriptor; -1 and errno. The second look is at the very file that was opened.
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
        fcntl(descriptor, F_SETFL, mode.flags & O_APPEND) != 0 || // it waits again
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
