#include "core/mutex.h"

// If pthread_mutex_init fails, the mutex is an ordinary mutex, which a thread can lock once.
Mutex::Mutex() : mutex PTHREAD_MUTEX_INITIALIZER, attr()
{
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&mutex, &attr);
}

Mutex::~Mutex()
{
    pthread_mutex_destroy(&mutex);
    pthread_mutexattr_destroy(&attr);
}
