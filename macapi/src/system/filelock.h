// A lock between processes.
#pragma once

#include "macapi/src/system/descriptor.h"

#include <chrono>
#include <string>
#include <sys/types.h>

namespace macapi {

// Locks a file that exists only to be locked, and makes it if it is missing. One process at a time holds the lock;
// two threads of one process must not ask for it at the same time. The lock ends with its process, however that ends.
// A child process does not inherit it. Processes that wait for less than two seconds get the lock in the order in
// which they came.
//
// Another user may own the file and keep it locked for ever. So waiting has a time limit, and the file is never read
// or written. A symbolic link, a file that is not regular, and a file with a second name are not used.
class FileLock {
public:
    // Waits at most timeout, which may be 0. A new file gets this mode; if root makes it, it belongs to the owner of
    // the folder.
    FileLock(int folder, const std::string& name, mode_t mode, std::chrono::milliseconds timeout);
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    bool isHeld() const { return m_isHeld; }
    bool isTaken() const { return m_isTaken; } // another process holds the lock, or is earlier in the queue
    pid_t holder() const { return m_holder; }  // the process that holds the lock; 0 if the system does not tell

private:
    int tryLock(off_t* ticket, bool inTurn);
    void findHolder(off_t ticket);

    Descriptor m_file;
    bool m_isHeld = false;
    bool m_isTaken = false;
    pid_t m_holder = 0;
};

} // namespace macapi
