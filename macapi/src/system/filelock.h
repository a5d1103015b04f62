// A lock between processes.
#pragma once

#include "macapi/src/system/descriptor.h"

#include <chrono>
#include <string>
#include <sys/types.h>

namespace macapi {

// Locks a file that exists for this purpose, and makes it where it is missing. One process at a time holds the lock; two
// threads of a process must not ask for it at the same time. The lock ends with its process, however that ends, and no
// child has it. Processes that wait for less than two seconds get it in the order in which they came.
//
// Another user may own the file and hold it locked for ever. So waiting has an end, and the file is neither read nor
// written. Where it is a link, is no regular file or has a second name elsewhere, it is not used.
class FileLock {
public:
    // Waits no longer than patience, which may be 0. A file that this makes has that mode; made by root, it belongs to
    // the folder's owner.
    FileLock(int folder, const std::string& name, mode_t mode, std::chrono::milliseconds timeout);
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    bool isHeld() const { return m_isHeld; }
    bool isTaken() const { return m_isTaken; } // another process has it, or is in front
    pid_t holder() const { return m_holder; }  // that process; 0 when the system does not tell

private:
    int tryLock(off_t* ticket, bool inTurn);
    void findHolder(off_t ticket);

    Descriptor m_file;
    bool m_isHeld = false;
    bool m_isTaken = false;
    pid_t m_holder = 0;
};

} // namespace macapi
