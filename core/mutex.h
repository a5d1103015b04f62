// The lock of one bank: a recursive mutex, so that a location callback may call the memory manager on its own thread.
//
// Lock it with pthread_mutex_lock(&lock.mutex) and unlock it with pthread_mutex_unlock(&lock.mutex). `new Mutex`
// allocates from bank 0.
#pragma once

#include "core/allocator.h"

#include <pthread.h>

#pragma GCC visibility push(default)

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
