// Locks of fcntl on single bytes of the file.
//
// 1. The process that has locked byte 0 holds the lock.
// 2. A waiting process has locked one other byte, its ticket. The number of that byte is the time at which the
//    process came. During the first two seconds the process asks for byte 0 only if no lower ticket is locked. After
//    that it always asks: a process with a lower ticket may have been stopped.
// 3. No system call waits for a lock with a time limit. So a waiting process asks again every half millisecond.
//
// flock is not used: its locks belong to the open file, so a forked child of a killed process would still hold the
// lock.
#include "macapi/src/system/filelock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <thread>
#include <time.h>

namespace macapi {

static const std::chrono::microseconds sc_pause(500); // between two attempts
static const std::chrono::seconds sc_turnPeriod(2);   // during which lower tickets go first
static const off_t sc_lockByte = 0;

static struct flock bytes(short type, off_t start, off_t length)
{
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = start;
    lock.l_len = length;
    return lock;
}

// Returns 0 or an errno value.
static int setLock(int file, short type, off_t byte)
{
    struct flock lock = bytes(type, byte, 1);
    return again([&] { return fcntl(file, F_SETLK, &lock); }) == 0 ? 0 : errno;
}

static bool isConflict(int error)
{
    return error == EAGAIN || error == EACCES;
}

// Returns nanoseconds of a clock that all processes share.
static off_t now()
{
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<off_t>(time.tv_sec) * 1000000000 + time.tv_nsec;
}

// Returns the folder's owner, who gets a file that root makes; user 0 if fstat fails.
static struct stat ownerOf(int folder)
{
    struct stat status = {};
    fstat(folder, &status);
    return status;
}

// fchmod: the umask of the process must not keep other users out.
static void setRights(int file, int folder, mode_t mode)
{
    const struct stat owner = ownerOf(folder);
    if (geteuid() == 0 && owner.st_uid != 0 && fchown(file, owner.st_uid, owner.st_gid) != 0) {
        // This file system has no owners: the file is used as it is.
    }
    fchmod(file, mode);
}

static bool isLockFile(int file, int folder, mode_t mode)
{
    struct stat status;
    if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || status.st_nlink != 1) {
        return false;
    }
    const bool isOurs = status.st_uid == geteuid() && status.st_size == 0;
    const bool isRight = (status.st_mode & 07777) == mode && (geteuid() != 0 || ownerOf(folder).st_uid == 0);
    if (isOurs && !isRight) {
        setRights(file, folder, mode); // the process that made the file was killed before it set them
    }
    return true;
}

static Descriptor openLock(int folder, const std::string& name, mode_t mode)
{
    // At most 10 turns: another process may make or remove the file between the two calls.
    for (int turn = 0; turn < 10; turn++) {
        Descriptor file = openAt(folder, name, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
        if (file >= 0) {
            return isLockFile(file, folder, mode) ? std::move(file) : Descriptor();
        }
        if (errno != ENOENT) {
            break;
        }
        file = openAt(folder, name, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
        if (file >= 0) {
            setRights(file, folder, mode);
            return file;
        }
        if (errno != EEXIST) {
            break;
        }
    }
    return Descriptor();
}

FileLock::FileLock(int folder, const std::string& name, mode_t mode, std::chrono::milliseconds timeout)
    : m_file(openLock(folder, name, mode))
{
    if (m_file < 0) {
        return;
    }
    const auto begin = std::chrono::steady_clock::now();
    off_t ticket = 0; // none yet
    int error = tryLock(&ticket, true);
    for (auto time = begin; isConflict(error) && time - begin < timeout; time = std::chrono::steady_clock::now()) {
        std::this_thread::sleep_for(sc_pause);
        error = tryLock(&ticket, time - begin < sc_turnPeriod);
    }
    m_isHeld = error == 0;
    m_isTaken = isConflict(error);
    if (m_isTaken) {
        findHolder(ticket);
    }
    if (ticket != 0) {
        setLock(m_file, F_UNLCK, ticket);
    }
    if (!m_isHeld) {
        m_file = Descriptor(); // closing drops all locks of this process on the file
    }
}

// Asks for the lock once, without waiting. Takes a ticket first if *ticket is 0. With inTurn, fails while another
// process has a lower ticket. Returns 0 if this process now holds the lock, else an errno value: EAGAIN if another
// process holds it or is earlier.
int FileLock::tryLock(off_t* ticket, bool inTurn)
{
    if (*ticket == 0) {
        const off_t moment = now();
        const int error = setLock(m_file, F_WRLCK, moment);
        if (error != 0) {
            return error; // EAGAIN: another process has the same ticket, or has locked all bytes
        }
        *ticket = moment;
    }
    if (!inTurn) {
        return setLock(m_file, F_WRLCK, sc_lockByte);
    }
    struct flock first = bytes(F_WRLCK, sc_lockByte + 1, *ticket - sc_lockByte - 1);
    if (again([&] { return fcntl(m_file, F_GETLK, &first); }) != 0) {
        return errno;
    }
    return first.l_type == F_UNLCK ? setLock(m_file, F_WRLCK, sc_lockByte) : EAGAIN;
}

void FileLock::findHolder(off_t ticket)
{
    struct flock lock = bytes(F_WRLCK, sc_lockByte, ticket); // ticket 0 gives a length of 0, which means all bytes
    if (again([&] { return fcntl(m_file, F_GETLK, &lock); }) == 0 && lock.l_type != F_UNLCK && lock.l_pid > 0) {
        m_holder = lock.l_pid;
    }
}

} // namespace macapi
