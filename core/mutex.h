// The lock of one bank: a recursive mutex, so that a location callback may come back to the manager on its thread.
//
// It is locked and unlocked with pthread_mutex_lock and pthread_mutex_unlock on its first member. One that is made
// with `new` lies in bank 0 and goes back there.
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
    pthread_mutexattr_t attr; // what mutex was made with, kept for as long as it lives
};

#pragma GCC visibility pop
