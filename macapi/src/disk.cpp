// Reading, replacing and locking files.
//
// A call that a signal interrupts is made again, and one that did less than it was asked to goes on.
#include "macapi/src/disk.h"

#include <algorithm>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <unistd.h>

namespace macapi {

template <class Call>
static auto again(Call call)
{
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

static int openFile(const std::string& path, int flags, mode_t mode = 0)
{
    return again([&] { return open(path.c_str(), flags | O_CLOEXEC, mode); });
}

namespace {

class Descriptor {
public:
    explicit Descriptor(int file) : m_file(file) {}
    ~Descriptor()
    {
        if (m_file >= 0) {
            close(m_file);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    operator int() const { return m_file; }

private:
    const int m_file;
};

} // namespace

std::string folderOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string followLinks(const std::string& path)
{
    std::string file = path;
    for (int links = 0; links < 40; links++) { // as many as the system follows
        char link[PATH_MAX];
        const ssize_t length = readlink(file.c_str(), link, sizeof(link));
        if (length <= 0) {
            return file;
        }
        const std::string target(link, length);
        file = target[0] == '/' ? target : folderOf(file) + "/" + target;
    }
    return path;
}

int readFile(const std::string& path, std::string* contents, struct stat* status)
{
    // Without waiting for the other end of a pipe of that name.
    const Descriptor file(openFile(path, O_RDONLY | O_NONBLOCK | O_NOCTTY));
    struct stat found;
    if (file < 0 || fstat(file, &found) != 0) {
        return errno;
    }
    if (!S_ISREG(found.st_mode)) {
        return EINVAL;
    }
    std::string text;
    for (ssize_t got = 1; got > 0;) {
        const size_t length = text.size();
        text.resize(length + (length == 0 ? static_cast<size_t>(std::min(found.st_size, sc_mostBytes)) + 1 : 65536));
        got = again([&] { return read(file, &text[length], text.size() - length); });
        if (got < 0) {
            return errno;
        }
        text.resize(length + got);
        if (text.size() > static_cast<size_t>(sc_mostBytes)) {
            return EFBIG;
        }
    }
    *contents = std::move(text);
    if (status) {
        *status = found;
    }
    return 0;
}

static bool writeAll(int file, std::string_view contents)
{
    while (!contents.empty()) {
        const ssize_t written = again([&] { return write(file, contents.data(), contents.size()); });
        if (written <= 0) {
            return false;
        }
        contents.remove_prefix(written);
    }
    return true;
}

static bool sync(int file)
{
    // EINVAL: a file system that has nothing to wait for.
    return again([&] { return fsync(file); }) == 0 || errno == EINVAL;
}

static bool setRights(int file, const FileRights& rights)
{
    if (rights.user != geteuid() && fchown(file, rights.user, rights.group) != 0) {
        // Only the system's own user can give a file away; anybody else's is the writer's from then on.
    }
    return fchmod(file, rights.mode & 07777) == 0;
}

bool writeNewFile(const std::string& path, std::string_view contents, const FileRights& rights, bool onDisk)
{
    unlink(path.c_str());
    const Descriptor file(openFile(path, O_WRONLY | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR));
    if (file < 0) {
        return false;
    }
    if (setRights(file, rights) && writeAll(file, contents) && (!onDisk || sync(file))) {
        return true;
    }
    unlink(path.c_str());
    return false;
}

bool replaceFile(const std::string& path, std::string_view contents, const FileRights& rights)
{
    const Descriptor folder(openFile(folderOf(path), O_RDONLY | O_DIRECTORY)); // while there is a way back
    const std::string fresh = path + ".new";
    if (folder < 0 || !writeNewFile(fresh, contents, rights, true)) {
        return false;
    }
    if (rename(fresh.c_str(), path.c_str()) != 0) {
        unlink(fresh.c_str());
        return false;
    }
    return sync(folder);
}

bool syncFolder(const std::string& path)
{
    const Descriptor folder(openFile(path, O_RDONLY | O_DIRECTORY));
    return folder >= 0 && sync(folder);
}

// Not flock, whose lock a child would hold on to when this process is killed.
FileLock::FileLock(const std::string& path, mode_t mode)
    : m_file(openFile(path, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK, mode))
{
    if (m_file < 0) {
        return;
    }
    struct stat status;
    if (fstat(m_file, &status) == 0 && (status.st_mode & 07777) != mode) {
        fchmod(m_file, mode); // the process's mask is not to keep other users out
    }
    struct flock whole = {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    if (again([&] { return fcntl(m_file, F_SETLKW, &whole); }) != 0) {
        close(m_file);
        m_file = -1;
    }
}

FileLock::~FileLock()
{
    if (held()) {
        close(m_file);
    }
}

} // namespace macapi
