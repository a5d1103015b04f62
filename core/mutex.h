// A recursive mutex: a thread that holds the mutex may lock it again, and must unlock it as many times as it has
// locked it. The memory manager has one for each bank. It is recursive because a location callback runs under the
// bank's lock and may call the manager again.
//
// Lock and unlock it with the system's calls:
//
//     Mutex lock;
//     pthread_mutex_lock(&lock.mutex);
//     pthread_mutex_unlock(&lock.mutex);
//
// `new Mutex` allocates from bank 0, and `delete` frees to bank 0. A static or automatic Mutex needs no memory
// manager. If a system call in the constructor fails, the mutex is an ordinary one, which a thread can lock once; no
// error is reported. Destroy a Mutex only while no thread holds it.
#pragma once

#include "core/allocator.h"

#include <pthread.h>

#pragma GCC visibility push(default)

// The layout is frozen; see docs/architecture.md ("Record layouts and virtual tables").
class Mutex : public Allocator<0> {
public:
    Mutex();
    virtual ~Mutex();

    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    pthread_mutex_t mutex;
    pthread_mutexattr_t attr; // the attribute that mutex was made with
};

#pragma GCC visibility pop
